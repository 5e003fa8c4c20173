// file_status_test - what counts as existing, as missing, and as impossible to determine.

#include "system/file_status.h"

#include <filesystem>
#include <string>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/status_seams.h"
#include "support/test_folder.h"

using ::testing::HasSubstr;

namespace {

class FileStatus : public testing::Test {
 protected:
  ~FileStatus() override { forgetStatusSeams(); }

  static void expectRaised(const std::wstring& path, DWORD error) {
    try {
      fileExists(path);
      ADD_FAILURE() << "nothing was raised";
    } catch (const std::filesystem::filesystem_error& failure) {
      EXPECT_THAT(failure.what(), HasSubstr("exists"));
      EXPECT_EQ(failure.code().value(), static_cast<int>(error));
      EXPECT_EQ(failure.path1().wstring(), path);
    }
  }

  TestFolder folder_;
};

// The system's errors for a path where nothing exists.
constexpr DWORD kNotThere[] = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND,    ERROR_INVALID_NAME, ERROR_INVALID_DRIVE,
                               ERROR_NOT_READY,      ERROR_INVALID_PARAMETER, ERROR_BAD_PATHNAME, ERROR_BAD_NETPATH,
                               ERROR_BAD_NET_NAME,   ERROR_DIRECTORY};

}  // namespace

TEST_F(FileStatus, FilesFoldersAndLinksToThemAreThere) {
  EXPECT_TRUE(fileExists(folder_.path()));
  EXPECT_TRUE(fileExists(folder_.makeFile(L"file")));
  EXPECT_TRUE(fileExists(folder_.makeDirectoryLink(L"link", folder_.makeDirectory(L"target"))));
  EXPECT_TRUE(fileExists(folder_ / L"link\\"));
  EXPECT_TRUE(fileExists(folder_.makeFile(std::wstring(200, L'n') + L"\\" + std::wstring(200, L'n'))));
}

TEST_F(FileStatus, NothingIsThere) {
  EXPECT_FALSE(fileExists(folder_ / L"missing"));
  EXPECT_FALSE(fileExists(folder_ / L"missing\\too"));
  EXPECT_FALSE(fileExists(L""));
  const std::wstring path = folder_.makeFile(L"file");
  for (const DWORD error : kNotThere) {
    undecided = {path, error};
    EXPECT_FALSE(fileExists(path)) << error;
  }
}

TEST_F(FileStatus, UnansweredQuestionIsRaised) {
  const std::wstring path = folder_.makeFile(L"file");
  for (const DWORD error : {DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_CRC}, DWORD{ERROR_SHARING_VIOLATION}}) {
    undecided = {path, error};
    expectRaised(path, error);
  }
}

TEST_F(FileStatus, LinkThatLeadsToNothingIsNotThere) {
  for (const std::wstring& path : {folder_.makeFile(L"file"), folder_.makeDirectory(L"directory")}) {
    for (const DWORD error : kNotThere) {
      showAsBrokenLink(path, error);
      EXPECT_FALSE(fileExists(path)) << error;
    }
  }
}

TEST_F(FileStatus, LinkWhoseTargetCannotBeAskedForIsRaised) {
  const std::wstring path = folder_.makeDirectory(L"directory");
  showAsBrokenLink(path, ERROR_ACCESS_DENIED);
  expectRaised(path, ERROR_ACCESS_DENIED);
}

TEST_F(FileStatus, WhatIsNoLinkIsNotOpened) {
  const std::wstring path = folder_.makeFile(L"file");
  failingTarget = {path, ERROR_SHARING_VIOLATION};
  EXPECT_TRUE(fileExists(path));
}
