// directory_walk_fixture - two folders to walk and to remove, and what tests expect of both.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/directory_seams.h"
#include "support/status_seams.h"
#include "support/test_folder.h"
#include "system/directory_walk.h"

inline std::vector<std::wstring> walked(const std::wstring& directory) {
  std::vector<std::wstring> paths;
  walkDirectory(directory, [&paths](const DirectoryEntry& entry) { paths.push_back(entry.path); });
  return paths;
}

inline std::wstring repeated(const std::wstring& text, int count) {
  std::wstring result;
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

// Runs `call`, which must raise a file-system error with this text, this code and this path.
template <class Call>
void expectError(Call call, const std::string& text, DWORD code, const std::wstring& path) {
  try {
    call();
    ADD_FAILURE() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr(text + ": "));
    EXPECT_EQ(error.code(), std::error_code(static_cast<int>(code), std::system_category()));
    EXPECT_EQ(error.path1().wstring(), path);
  }
}

// Names that a shell, a format or a narrow locale would trip over.
inline const std::vector<std::wstring> kOddNames = {L"two  blanks",
                                                    L" leading",
                                                    L".hidden",
                                                    L"%TEMP%",
                                                    L"100%s %d",
                                                    L"\u00e4\u00f6\u00fc\u00df",
                                                    L"\u4e2d\u6587",
                                                    L"\u65e5\u672c\u8a9e.txt",
                                                    L"\U0001F600 smile",
                                                    L"a'b`c",
                                                    L"[x]{y}(z)^&$!#@~",
                                                    L"CAPS.TXT",
                                                    L"a.b.c",
                                                    L"it;em,=+",
                                                    std::wstring(255, L'n')};

class TwoFolders : public testing::Test {
 protected:
  ~TwoFolders() override {
    forgetDirectorySeams();
    forgetStatusSeams();
  }

  TestFolder outside_;
  TestFolder folder_;
};
