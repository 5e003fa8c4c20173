#include "system/binary_resource.h"

#include <string>

#include <windows.h>

#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/test_folder.h"

namespace {

TEST(ExtractBinaryResource, WritesTheBytesAsTheyAreAndReturnsFalse) {
  const TestFolder folder;
  EXPECT_FALSE(extractBinaryResource(nullptr, 200, folder / L"document"));
  EXPECT_EQ(std::string("first\r\nsecond\0third\x1A\xFF", 21), readFile(folder / L"document"));
}

TEST(ExtractBinaryResource, ReplacesALongerFileAndLeavesItClosed) {
  const TestFolder folder;
  const std::wstring path = folder.makeFile(L"document", std::string(10'000, 'o'));
  EXPECT_FALSE(extractBinaryResource(::GetModuleHandleW(nullptr), 201, path));
  EXPECT_EQ("x", readFile(path));
  EXPECT_TRUE(::DeleteFileW(path.c_str())) << ::GetLastError();
}

TEST(ExtractBinaryResource, FileThatCannotBeReplacedStays) {
  const TestFolder folder;
  const std::wstring path = folder.makeFile(L"document", "older");
  {
    const FileHandle lock = lockFile(path);
    EXPECT_FALSE(extractBinaryResource(nullptr, 201, path));
  }
  EXPECT_EQ("older", readFile(path));
}

TEST(ExtractBinaryResource, FileIsHeldForWhoeverReadsIt) {
  const TestFolder folder;
  FileHandle held;
  extractBinaryResource(nullptr, 201, folder / L"document", &held);
  ASSERT_TRUE(held);
  EXPECT_FALSE(::DeleteFileW((folder / L"document").c_str()));
  held.reset();
  EXPECT_TRUE(::DeleteFileW((folder / L"document").c_str()));
}

TEST(ExtractBinaryResource, FileThatIsNotOursIsNotHeld) {
  const TestFolder folder;
  const std::wstring path = folder.makeFile(L"document", "older");
  const FileHandle lock(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  FileHandle held;
  extractBinaryResource(nullptr, 201, path, &held);
  EXPECT_FALSE(held);
}

TEST(ExtractBinaryResource, LinkInThePlaceOfTheFolderIsNotFollowed) {
  const TestFolder folder;
  folder.makeDirectory(L"target");
  folder.makeDirectoryLink(L"CleanUp", folder / L"target");
  for (const wchar_t* relative : {L"CleanUp\\document", L"CleanUp\\\\document"}) {
    FileHandle held;
    extractBinaryResource(nullptr, 201, folder / relative, &held);
    EXPECT_FALSE(held);
  }
  EXPECT_FALSE(pathExists(folder / L"target\\document"));
}

TEST(ExtractBinaryResource, FailuresPassInSilence) {
  const TestFolder folder;
  const CapturedLog log;
  EXPECT_FALSE(extractBinaryResource(nullptr, 201, folder / L"missing\\document"));
  EXPECT_FALSE(pathExists(folder / L"missing"));
  EXPECT_FALSE(extractBinaryResource(nullptr, 999, folder / L"document"));
  EXPECT_EQ("", readFile(folder / L"document"));
  EXPECT_EQ("", log.bytes());
}

}  // namespace
