#include "system/temporary_folder.h"

#include <optional>
#include <string>

#include <windows.h>

#include <gtest/gtest.h>

#include "support/link_seam.h"

namespace {

// The path that the system reports instead of the real one.
std::optional<std::wstring> named;

}  // namespace

// As in Windows: a path that does not fit leaves the buffer unchanged, and the returned length includes the terminator.
LINK_SEAM(DWORD, GetTempPathW, (DWORD size, LPWSTR buffer)) {
  if (!named) {
    return realFunction<decltype(&::GetTempPathW)>(L"kernel32.dll", "GetTempPathW")(size, buffer);
  }
  const DWORD length = static_cast<DWORD>(named->size());
  if (length >= size) {
    return length + 1;
  }
  named->copy(buffer, length);
  buffer[length] = L'\0';
  return length;
}

namespace {

std::wstring pathOfLength(std::size_t length) {
  return L"C:\\" + std::wstring(length - 4, L'x') + L"\\";
}

class TemporaryFolder : public testing::Test {
 protected:
  void TearDown() override { named.reset(); }
};

TEST_F(TemporaryFolder, IsThatOfTheUserWithABackslashAtItsEnd) {
  wchar_t folder[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, folder);
  EXPECT_EQ(temporaryFolder(), folder);
  EXPECT_TRUE(temporaryFolder().ends_with(L'\\'));
}

TEST_F(TemporaryFolder, OfTheLargestSizeIsWhole) {
  named = pathOfLength(MAX_PATH - 1);
  EXPECT_EQ(temporaryFolder(), *named);
}

TEST_F(TemporaryFolder, ThatDoesNotFitIsNone) {
  for (const std::size_t length : {MAX_PATH, MAX_PATH + 1, 1000}) {
    named = pathOfLength(length);
    EXPECT_EQ(temporaryFolder(), L"") << length;
  }
}

TEST_F(TemporaryFolder, ThatTheSystemCannotNameIsNone) {
  named = L"";
  EXPECT_EQ(temporaryFolder(), L"");
}

}  // namespace
