// update_cache_test - which files of Windows Update's download cache are looked into, and which of them go.

#include <filesystem>
#include <map>
#include <string>
#include <system_error>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/directory_seams.h"
#include "support/link_seam.h"
#include "support/status_seams.h"
#include "support/test_child.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/directory_walk.h"
#include "system/tree_removal.h"
#include "system/update_cache_removal.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

constexpr LONGLONG kBound = 250'000'000;
const std::wstring kDistribution = L"C:\\windows\\SoftwareDistribution";
const std::wstring kCache = kDistribution + L"\\Download\\";

std::map<std::wstring, std::wstring> listings;  // by package: the file that holds what `expand` prints for it
std::vector<std::wstring> listed;               // the packages that were asked for, as the commands name them
bool sizeUnknown = false;

}  // namespace

// The bench machine's `expand` cannot list. Its place is taken by this program, which prints a prepared listing through
// the same pipe and stays until it is read, as the run looks no more for what comes with the end of the process.
LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR directory,
           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process)) {
  std::wstring command = commandLine;
  const std::wstring before = L"cmd.exe /C \"expand ";
  const std::wstring behind = L" -d\"";
  if (command.starts_with(before) && command.ends_with(behind)) {
    const std::wstring package = command.substr(before.size(), command.size() - before.size() - behind.size());
    listed.push_back(package);
    command =
        ownProgram() + (listings.contains(package) ? L" --print-file \"" + listings[package] + L"\"" : L" --exit 1");
    application = nullptr;
  }
  return realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, command.data(), processSecurity, threadSecurity, inherit, flags, environment, directory, startup,
      process);
}

LINK_SEAM(BOOL, GetFileSizeEx, (HANDLE file, PLARGE_INTEGER size)) {
  if (sizeUnknown) {
    ::SetLastError(ERROR_INVALID_FUNCTION);
    return FALSE;
  }
  return realFunction<decltype(&::GetFileSizeEx)>(L"kernel32.dll", "GetFileSizeEx")(file, size);
}

namespace {

class UpdateCache : public testing::Test {
 protected:
  void SetUp() override {
    listings.clear();
    listed.clear();
    forgetDirectorySeams();
    forgetStatusSeams();
    sizeUnknown = false;
    removeTree(kDistribution);
    std::filesystem::create_directories(kCache);
  }

  // A file of that size, of which nothing is written. `listing` is what `expand` prints for it.
  std::wstring package(const std::wstring& name, LONGLONG bytes, const std::string& listing) {
    const std::wstring path = kCache + name;
    const FileHandle file(
        ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER end;
    end.QuadPart = bytes;
    if (!::SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) || !::SetEndOfFile(file.get())) {
      throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), "a large file");
    }
    listings[path] = folder_.makeFile(L"listing-" + std::to_wstring(listings.size()) + L".txt", listing);
    return path;
  }
  std::wstring largePackage(const std::wstring& name, const std::string& listing) {
    return package(name, kBound + 1, listing);
  }

  // Runs the sweep and returns its own log lines; those of the listing command are another module's.
  std::vector<std::string> sweep() {
    const CapturedLog log;
    DeleteCachedWindowsUpdateDrivers();
    std::vector<std::string> lines;
    for (const std::string& line : log.lines()) {
      if (!line.starts_with("DEBUG Launching command ") && !line.starts_with("DEBUG Reading output buffer. ") &&
          !line.starts_with("DEBUG Output from launched command: ")) {
        lines.push_back(line);
      }
    }
    return lines;
  }

  static std::string foundLine(const std::wstring& path) {
    return "DEBUG Found an ORV driver in the Windows Update Cache: " + narrow(path);
  }

  static std::vector<std::wstring> left() {
    std::vector<std::wstring> paths;
    walkDirectory(kCache, [&paths](const DirectoryEntry& entry) { paths.push_back(entry.path); });
    return paths;
  }

  TestFolder folder_;
};

constexpr char kDriverListing[] = "package.cab: ktlgpukg.inf\r\npackage.cab: other.sys\r\n";

}  // namespace

TEST_F(UpdateCache, FileAtTheBoundIsNotInspectedAndOneByteMoreIs) {
  const std::wstring small = package(L"at-the-bound.cab", kBound, kDriverListing);
  const std::wstring large = package(L"beyond.cab", kBound + 1, kDriverListing);
  EXPECT_THAT(sweep(), ElementsAre(foundLine(large)));
  EXPECT_THAT(listed, ElementsAre(large));
  EXPECT_THAT(left(), ElementsAre(small));
}

TEST_F(UpdateCache, FileWhoseNameTheListingCommandWouldReadAsAnotherStays) {
  const std::wstring odd = LR"(\\?\)" + largePackage(L"package.cab", kDriverListing) + L".";
  ASSERT_TRUE(::MoveFileW((kCache + L"package.cab").c_str(), odd.c_str()));
  EXPECT_THAT(sweep(), IsEmpty());
  EXPECT_THAT(listed, IsEmpty());
  EXPECT_THAT(left(), ElementsAre(kCache + L"package.cab."));
}

TEST_F(UpdateCache, EitherDriverNameIsEnough) {
  const std::wstring first = largePackage(L"1.cab", "x: ktlgpukg.sys\r\n");
  const std::wstring second = largePackage(L"2.cab", "x: orvgpukg.sys\r\n");
  const std::wstring both = largePackage(L"3.cab", "x: orvgpukg.sys\r\nx: ktlgpukg.sys\r\n");
  const std::wstring inside = largePackage(L"4.cab", "x: u0orvgpukg64_e1.inf_amd64\\display.sys");
  EXPECT_THAT(sweep(), UnorderedElementsAre(foundLine(first), foundLine(second), foundLine(both), foundLine(inside)));
  EXPECT_THAT(left(), IsEmpty());
  EXPECT_EQ(listed.size(), 4u) << "each is listed once";
}

TEST_F(UpdateCache, LargePackageWithoutADriverNameStays) {
  const std::wstring other = largePackage(L"other.cab", "other.cab: otherdisp.inf\r\n");
  const std::wstring nearly = largePackage(L"near.cab", "near.cab: ktlgpuk.inf\r\nnear.cab: orvgpuk g.sys\r\n");
  const std::wstring capitals = largePackage(L"capitals.cab", "KTLGPUKG.INF\r\nOrvGpuKg.sys\r\n");
  const std::wstring silent = largePackage(L"silent.cab", "");
  const std::wstring noCabinet = largePackage(L"no-cabinet.bin", kDriverListing);
  listings.erase(noCabinet);  // the tool fails and prints nothing
  EXPECT_THAT(sweep(), IsEmpty());
  EXPECT_THAT(left(), UnorderedElementsAre(other, nearly, capitals, silent, noCabinet));
  EXPECT_THAT(listed, UnorderedElementsAre(other, nearly, capitals, silent, noCabinet));
}

TEST_F(UpdateCache, TypeOfTheFileIsNoMatter) {
  const std::wstring file = largePackage(L"0f3c1a77", kDriverListing);
  EXPECT_THAT(sweep(), ElementsAre(foundLine(file)));
  EXPECT_THAT(left(), IsEmpty());
}

TEST_F(UpdateCache, FoldersAreNotLookedInto) {
  std::filesystem::create_directories(kCache + L"ktlgpukg.cab");
  const std::wstring below = largePackage(L"ktlgpukg.cab\\package.cab", kDriverListing);
  EXPECT_THAT(sweep(), IsEmpty());
  EXPECT_THAT(listed, IsEmpty());
  EXPECT_THAT(left(), UnorderedElementsAre(kCache + L"ktlgpukg.cab", below));
}

TEST_F(UpdateCache, CacheThatWasMovedIsReadThroughItsLink) {
  TestFolder moved;
  removeTree(kDistribution);
  moved.makeDirectory(L"SoftwareDistribution");
  const std::wstring behind = moved.makeDirectory(L"cache");
  moved.makeDirectory(L"elsewhere");
  const std::wstring below = moved.makeFile(L"elsewhere\\package.cab");
  moved.makeDirectoryLink(L"cache\\link", moved / L"elsewhere");
  moved.makeDirectoryLink(L"SoftwareDistribution\\Download", behind);
  ASSERT_TRUE(::MoveFileW((moved / L"SoftwareDistribution").c_str(), kDistribution.c_str()));
  const std::wstring package = largePackage(L"package.cab", kDriverListing);
  EXPECT_THAT(sweep(), ElementsAre(foundLine(package)));
  EXPECT_FALSE(pathExists(behind + L"\\package.cab"));
  EXPECT_TRUE(pathExists(below)) << "a link in the cache is no file of it";
  EXPECT_TRUE(pathExists(kCache));
  removeDirectoryLink(kDistribution + L"\\Download");
}

TEST_F(UpdateCache, FileThatCannotBeOpenedIsNotInspected) {
  const std::wstring held = largePackage(L"held.cab", kDriverListing);
  const std::wstring free = largePackage(L"next.cab", kDriverListing);
  const FileHandle lock = lockFile(held);
  EXPECT_THAT(sweep(), ElementsAre(foundLine(free)));
  EXPECT_THAT(left(), ElementsAre(held));
}

TEST_F(UpdateCache, FileWhoseSizeIsUnknownIsNotInspected) {
  const std::wstring file = largePackage(L"package.cab", kDriverListing);
  sizeUnknown = true;
  EXPECT_THAT(sweep(), IsEmpty());
  EXPECT_THAT(left(), ElementsAre(file));
}

TEST_F(UpdateCache, FileThatCannotBeDeletedStaysWithoutAWord) {
  const std::wstring held = largePackage(L"held.cab", kDriverListing);
  const std::wstring next = largePackage(L"next.cab", kDriverListing);
  const FileHandle user(::CreateFileW(held.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  EXPECT_THAT(sweep(), ElementsAre(foundLine(held), foundLine(next)));
  EXPECT_THAT(left(), ElementsAre(held));
}

TEST_F(UpdateCache, MissingFolderIsNoFailure) {
  removeTree(kDistribution);
  EXPECT_THAT(sweep(), IsEmpty());
  EXPECT_FALSE(pathExists(kDistribution));
}

TEST_F(UpdateCache, UndecidedFolderRaisesExists) {
  undecided = {kDistribution + L"\\Download", ERROR_ACCESS_DENIED};
  try {
    sweep();
    ADD_FAILURE() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("exists"));
    EXPECT_EQ(failure.code().value(), ERROR_ACCESS_DENIED);
  }
}

TEST_F(UpdateCache, UnreadableFolderRaises) {
  unreadableFolder = kDistribution + L"\\Download";
  try {
    sweep();
    ADD_FAILURE() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("directory_iterator::directory_iterator"));
    EXPECT_EQ(failure.code().value(), ERROR_ACCESS_DENIED);
  }
}

TEST_F(UpdateCache, ReadingThatBreaksOffRaises) {
  largePackage(L"1.cab", "");
  largePackage(L"2.cab", "");
  readsUntilFailure = 2;  // behind `.`, `..` and the first package
  try {
    sweep();
    ADD_FAILURE() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("directory_iterator::operator++"));
    EXPECT_EQ(failure.code().value(), ERROR_CRC);
  }
  EXPECT_EQ(listed.size(), 1u);
}

TEST_F(UpdateCache, FileThatOthersHaveOpenForAllThatTheyShareIsInspected) {
  const std::wstring file = largePackage(L"package.cab", "");
  const FileHandle user(::CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(user);
  EXPECT_THAT(sweep(), IsEmpty());
  EXPECT_THAT(listed, ElementsAre(file));
}

int main(int argumentCount, char** arguments) {
  if (const auto exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
