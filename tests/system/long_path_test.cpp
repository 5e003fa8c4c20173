#include "system/long_path.h"

#include <gmock/gmock.h>

#include <string>

#include <windows.h>

#include "support/link_seam.h"
#include "support/test_folder.h"
#include "system/handles.h"

namespace {

// A path on drive C: with exactly that many characters, in names of 99.
std::wstring pathOfLength(std::size_t length) {
  std::wstring path = L"C:";
  while (path.size() < length) {
    path += path.size() % 100 == 0 || path.size() == 2 ? L'\\' : L'x';
  }
  return path;
}

}  // namespace

TEST(SystemPath, OfAShortPathIsThePathAsItStands) {
  for (const wchar_t* path : {L"", L"a.txt", L"C:\\a\\..\\b", L"C:/a/b", L"C:\\a\\\\b\\", L"\\\\server\\share\\a",
                              L"C:\\%TEMP%\\\u4e2d \U0001F600.txt"}) {
    EXPECT_EQ(toSystemPath(path), path);
  }
}

// Directory calls refuse a plain path of 248 characters or more, all calls one of 260 or more.
TEST(SystemPath, GetsThePrefixFromTheFirstLengthThatACallRefuses) {
  EXPECT_EQ(toSystemPath(pathOfLength(247)), pathOfLength(247));
  for (const std::size_t length : {std::size_t{248}, std::size_t{259}, std::size_t{260}, std::size_t{300}}) {
    EXPECT_EQ(toSystemPath(pathOfLength(length)), L"\\\\?\\" + pathOfLength(length)) << length;
  }
}

TEST(SystemPath, IsNeverCut) {
  const std::wstring path = pathOfLength(32'767);
  EXPECT_TRUE(toSystemPath(path).ends_with(path));
}

TEST(SystemPath, OfALongPathIsNormalised) {
  const std::wstring name(250, L'x');
  EXPECT_EQ(toSystemPath(L"C:/" + name + L"/a\\..\\\\b"), L"\\\\?\\C:\\" + name + L"\\b");
}

TEST(SystemPath, OfALongRelativePathIsFull) {
  const std::wstring name(250, L'x');
  const TestFolder folder;
  ASSERT_TRUE(::SetCurrentDirectoryW(folder.path().c_str()));
  EXPECT_EQ(toSystemPath(name), L"\\\\?\\" + folder.path() + L"\\" + name);
  ::SetCurrentDirectoryW(L"C:\\");
}

TEST(SystemPath, OfALongPathOnAServerHasItsOwnPrefix) {
  const std::wstring name(250, L'x');
  EXPECT_EQ(toSystemPath(L"\\\\server\\share\\" + name), L"\\\\?\\UNC\\server\\share\\" + name);
}

TEST(SystemPath, KeepsAPrefixThatIsThere) {
  const std::wstring name(250, L'x');
  EXPECT_EQ(toSystemPath(L"\\\\?\\C:\\" + name), L"\\\\?\\C:\\" + name);
  EXPECT_EQ(toSystemPath(L"\\\\.\\C:\\" + name), L"\\\\.\\C:\\" + name);
}

TEST(SystemPath, LetsALongPathThroughTheFileCalls) {
  const TestFolder folder;
  const std::wstring name(120, L'n');
  const std::wstring file = folder.makeFile(name + L"\\" + name + L"\\" + name + L"\\file");
  EXPECT_NE(::GetFileAttributesW(toSystemPath(file).c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_TRUE(::DeleteFileW(toSystemPath(file).c_str()));
  EXPECT_FALSE(pathExists(file));
}

namespace {

int answersUntilFailure = -1;  // of GetFullPathNameW; -1: it does not fail
DWORD failedAnswer = 0;

}  // namespace

LINK_SEAM(DWORD, GetFullPathNameW, (LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR* filePart)) {
  if (answersUntilFailure == 0) {
    return failedAnswer;
  }
  answersUntilFailure -= answersUntilFailure > 0 ? 1 : 0;
  return realFunction<decltype(&::GetFullPathNameW)>(L"kernel32.dll", "GetFullPathNameW")(path, size, buffer, filePart);
}

// The current folder may change between the two calls, so that the second result no longer fits.
TEST(SystemPath, ThatTheSystemCannotMakeFullIsThePathAsItStands) {
  const std::wstring path = pathOfLength(300);
  const struct {
    int answersUntilFailure;
    DWORD answer;
  } rows[] = {{0, 0}, {1, 0}, {1, 301}, {1, 1000}};
  for (const auto& row : rows) {
    answersUntilFailure = row.answersUntilFailure;
    failedAnswer = row.answer;
    EXPECT_EQ(toSystemPath(path), path) << row.answersUntilFailure << ", " << row.answer;
  }
  answersUntilFailure = -1;
}
