// held_file_test - nobody can change a held file or put another in its place, and nothing that lies in its place before
// is taken for it or followed.
#include "system/held_file.h"

#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <windows.h>

#include <gtest/gtest.h>

#include "support/test_child.h"
#include "support/test_folder.h"
#include "system/file_content.h"

namespace {

// What another program gets done with a file: 1 for writing to it, 2 for putting another in its place, 4 for deleting
// it.
int attack(const std::string& path) {
  int done = 0;
  const HANDLE writer =
      ::CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (writer != INVALID_HANDLE_VALUE) {
    done |= 1;
    ::CloseHandle(writer);
  }
  const std::string other = path + ".other";
  std::ofstream(other) << "theirs";
  done |= ::MoveFileExA(other.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING) ? 2 : 0;
  return done | (::DeleteFileA(path.c_str()) ? 4 : 0);
}

int attackFromASecondProcess(const std::wstring& path) {
  const ChildProcess attacker(L"\"" + ownProgram() + L"\" --attack " + path);
  return attacker.waitForEnd() ? static_cast<int>(attacker.exitCode()) : -1;
}

std::string whatAReaderSees(const std::wstring& path) {
  std::ifstream file(std::string(path.begin(), path.end()), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

constexpr int kEverything = 7;

}  // namespace

TEST(HeldFile, SecondProcessCanOnlyReadItUntilItIsReleased) {
  const TestFolder folder;
  const std::wstring path = folder / L"held";
  FileHandle held = writeHeldFile(path, "ours");
  ASSERT_TRUE(held);
  EXPECT_EQ(attackFromASecondProcess(path), 0);
  EXPECT_EQ(whatAReaderSees(path), "ours");
  EXPECT_EQ(readWhole(held.get()), "ours");
  held.reset();
  EXPECT_EQ(attackFromASecondProcess(path), kEverything) << "the attack is one";
}

// The strictest reader there is: it shares nothing but reading, as the handle itself does.
TEST(HeldFile, ReaderNeedsToShareNoWriting) {
  const TestFolder folder;
  const FileHandle held = writeHeldFile(folder / L"held", "ours");
  const FileHandle reader(::CreateFileW((folder / L"held").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  EXPECT_TRUE(reader);
}

TEST(HeldFile, TakesThePlaceOfAnOlderFile) {
  const TestFolder folder;
  const std::wstring path = folder.makeFile(L"held", std::string(10'000, 'o'));
  const FileHandle held = writeHeldFile(path, "ours");
  ASSERT_TRUE(held);
  EXPECT_EQ(readFile(path), "ours");
}

TEST(HeldFile, EmptyFileIsHeldToo) {
  const TestFolder folder;
  const FileHandle held = writeHeldFile(folder / L"held", {});
  EXPECT_TRUE(held);
  EXPECT_EQ(readWhole(held.get()), "");
}

// The bench machine shows no links to files but these; the whole-machine runs have one that leads elsewhere.
TEST(HeldFile, LinkInItsPlaceIsNotWrittenThrough) {
  const TestFolder folder;
  const std::wstring target = folder.makeFile(L"target", "precious");
  const std::wstring path = folder / L"held";
  ASSERT_TRUE(::CreateHardLinkW(path.c_str(), target.c_str(), nullptr));
  const FileHandle held = writeHeldFile(path, "ours");
  EXPECT_EQ(readFile(target), "precious");
  ASSERT_TRUE(held);
  EXPECT_EQ(readFile(path), "ours");
}

TEST(HeldFile, FileThatAnotherDoesNotLetGoIsNotTakenForOurs) {
  const TestFolder folder;
  const std::wstring path = folder.makeFile(L"held", "ours");
  const FileHandle other(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
  EXPECT_FALSE(writeHeldFile(path, "ours")) << "even with the same bytes: its owner could change them later";
  EXPECT_EQ(readFile(path), "ours");
}

TEST(HeldFile, FileThatAnotherRunHoldsIsWaitedFor) {
  const TestFolder folder;
  const std::wstring path = folder / L"held";
  FileHandle first = writeHeldFile(path, "first");
  std::thread second([&path] {
    const FileHandle held = writeHeldFile(path, "second");
    EXPECT_TRUE(held);
    EXPECT_EQ(readFile(path), "second");
  });
  ::Sleep(50);  // the second is waiting by now, or comes later: both have to work
  first.reset();
  second.join();
}

TEST(HeldFile, FolderInItsPlaceAndMissingFolderAreFailures) {
  const TestFolder folder;
  folder.makeDirectory(L"held");
  EXPECT_FALSE(writeHeldFile(folder / L"held", "ours"));
  EXPECT_FALSE(writeHeldFile(folder / L"missing\\held", "ours"));
  EXPECT_FALSE(pathExists(folder / L"missing"));
}

TEST(HeldFolder, StaysInItsPlace) {
  const TestFolder folder;
  const std::wstring path = folder.makeDirectory(L"held");
  FileHandle held = holdFolder(path);
  ASSERT_TRUE(held);
  EXPECT_FALSE(::MoveFileExW(path.c_str(), (folder / L"away").c_str(), 0));
  EXPECT_TRUE(writeHeldFile(path + L"\\file", "ours")) << "files in it are written as ever";
  held.reset();
  EXPECT_TRUE(::MoveFileExW(path.c_str(), (folder / L"away").c_str(), 0));
}

TEST(HeldFolder, IsNeitherALinkNorAFile) {
  const TestFolder folder;
  folder.makeDirectory(L"target");
  EXPECT_FALSE(holdFolder(folder.makeDirectoryLink(L"link", folder / L"target")));
  EXPECT_FALSE(holdFolder(folder.makeFile(L"file")));
  EXPECT_FALSE(holdFolder(folder / L"missing"));
}

int main(int argumentCount, char** arguments) {
  if (argumentCount > 2 && std::string(arguments[1]) == "--attack") {
    return attack(arguments[2]);
  }
  testing::InitGoogleTest(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
