#include "system/tree_removal.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include <windows.h>

#include "system/directory_walk_fixture.h"

using testing::IsEmpty;

namespace {

using RemoveTree = TwoFolders;
using SingleEntry = TwoFolders;

}  // namespace

TEST_F(RemoveTree, LeavesWhatALinkAboveItLeadsTo) {
  outside_.makeFile(L"deep\\directory\\file");
  const std::vector<std::string> before = snapshot(outside_.path());
  const std::wstring directory = folder_.makeDirectoryLink(L"link", outside_.path()) + L"\\deep\\directory";
  expectError([&] { removeTree(directory); }, "remove_all", ERROR_CANT_ACCESS_FILE, directory);
  EXPECT_EQ(snapshot(outside_.path()), before);
}

TEST_F(SingleEntry, ThatIsAFileGoes) {
  const std::wstring file = folder_.makeFile(L"file");
  EXPECT_TRUE(removeSingleEntry(file));
  EXPECT_FALSE(pathExists(file));
}

TEST_F(SingleEntry, ThatIsAnEmptyDirectoryGoes) {
  const std::wstring directory = folder_.makeDirectory(L"directory");
  EXPECT_TRUE(removeSingleEntry(directory));
  EXPECT_FALSE(pathExists(directory));
}

TEST_F(SingleEntry, WithALongPathGoes) {
  const std::wstring file = folder_.makeFile(std::wstring(200, L'n') + L"\\" + std::wstring(200, L'n'));
  EXPECT_TRUE(removeSingleEntry(file));
  EXPECT_FALSE(pathExists(file));
}

TEST_F(SingleEntry, ThatIsADirectoryWithContentStays) {
  const std::wstring file = folder_.makeFile(L"directory\\file");
  EXPECT_FALSE(removeSingleEntry(folder_ / L"directory"));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_DIR_NOT_EMPTY));
  EXPECT_TRUE(pathExists(file));
}

TEST_F(SingleEntry, ThatIsReadOnlyStaysAsItIs) {
  const std::wstring file = folder_.makeFile(L"file");
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_FALSE(removeSingleEntry(file));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(::GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_READONLY);
}

TEST_F(SingleEntry, ThatIsInUseStays) {
  const std::wstring file = folder_.makeFile(L"file");
  const FileHandle lock = lockFile(file);
  EXPECT_FALSE(removeSingleEntry(file));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_TRUE(pathExists(file));
}

TEST_F(SingleEntry, ThatIsNotThereWasNotRemoved) {
  EXPECT_FALSE(removeSingleEntry(folder_ / L"missing"));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(SingleEntry, ThatIsALinkGoesAlone) {
  outside_.makeFile(L"kept\\file");
  const std::vector<std::string> before = snapshot(outside_.path());
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  EXPECT_TRUE(removeSingleEntry(link));
  EXPECT_FALSE(pathExists(link));
  EXPECT_EQ(snapshot(outside_.path()), before);
}

TEST_F(RemoveTree, TakesADirectoryWithAllThatLiesInIt) {
  folder_.makeFile(L"tree\\a\\b\\file");
  folder_.makeFile(L"tree\\file");
  folder_.makeDirectory(L"tree\\empty\\empty");
  const std::wstring neighbour = folder_.makeFile(L"tree2\\file");
  removeTree(folder_ / L"tree");
  EXPECT_FALSE(pathExists(folder_ / L"tree"));
  EXPECT_EQ(readFile(neighbour), "content");
}

TEST_F(RemoveTree, TakesNamesAsTheyAre) {
  for (const std::wstring& name : kOddNames) {
    folder_.makeFile(L"tree\\" + name + L"\\" + name);
  }
  removeTree(folder_ / L"tree");
  EXPECT_THAT(walked(folder_.path()), IsEmpty());
}

TEST_F(RemoveTree, TakesPathsBeyond260Characters) {
  const std::wstring name(200, L'n');
  folder_.makeFile(L"tree\\" + name + L"\\" + name + L"\\" + name + L"\\file");
  removeTree(folder_ / L"tree");
  EXPECT_THAT(walked(folder_.path()), IsEmpty());
}

TEST_F(RemoveTree, AndTheWalkReach250Levels) {
  folder_.makeFile(L"tree\\file");
  for (int level = 1; level < 250; ++level) {
    folder_.makeDirectory(L"above");
    ASSERT_TRUE(::MoveFileW((folder_ / L"tree").c_str(), (folder_ / L"above\\d").c_str()));
    ASSERT_TRUE(::MoveFileW((folder_ / L"above").c_str(), (folder_ / L"tree").c_str()));
  }
  const std::vector<std::wstring> paths = walked(folder_.path());
  ASSERT_EQ(paths.size(), 251u);
  EXPECT_EQ(paths.back(), folder_ / L"tree" + repeated(L"\\d", 249) + L"\\file");
  removeTree(folder_ / L"tree");
  EXPECT_THAT(walked(folder_.path()), IsEmpty());
}

TEST_F(RemoveTree, TakesReadOnlyAndHiddenFiles) {
  for (const DWORD attributes : {static_cast<DWORD>(FILE_ATTRIBUTE_READONLY),
                                 static_cast<DWORD>(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN)}) {
    ::SetFileAttributesW(folder_.makeFile(L"tree\\file").c_str(), attributes);
    removeTree(folder_ / L"tree");
    EXPECT_FALSE(pathExists(folder_ / L"tree"));
  }
}

TEST_F(RemoveTree, TakesASingleFile) {
  const std::wstring file = folder_.makeFile(L"file");
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  removeTree(file);
  EXPECT_FALSE(pathExists(file));
}

TEST_F(RemoveTree, HasNothingToDoForAPathThatIsNotThere) {
  EXPECT_NO_THROW(removeTree(folder_ / L"missing"));
  EXPECT_NO_THROW(removeTree(folder_ / L"missing\\too"));
}

TEST_F(RemoveTree, RemovesALinkAndLeavesWhatLiesBehindIt) {
  outside_.makeFile(L"kept\\file", "of another product");
  ::SetFileAttributesW(outside_.makeFile(L"kept\\read-only").c_str(), FILE_ATTRIBUTE_READONLY);
  outside_.makeDirectory(L"kept\\empty");
  const std::vector<std::string> before = snapshot(outside_.path());
  folder_.makeFile(L"tree\\before\\file");
  folder_.makeDirectoryLink(L"tree\\before\\link", outside_.path());
  folder_.makeDirectoryLink(L"tree\\link", outside_ / L"kept");
  folder_.makeDirectoryLink(L"tree\\loop", folder_.path());
  removeTree(folder_ / L"tree");
  EXPECT_THAT(walked(folder_.path()), IsEmpty());
  EXPECT_EQ(snapshot(outside_.path()), before);
}

TEST_F(RemoveTree, RemovesALinkInThePlaceOfTheDirectory) {
  outside_.makeFile(L"kept\\file");
  const std::vector<std::string> before = snapshot(outside_.path());
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  removeTree(link);
  EXPECT_FALSE(pathExists(link));
  EXPECT_EQ(snapshot(outside_.path()), before);
}

TEST_F(RemoveTree, RaisesWithThePathOfAFileThatStays) {
  const std::wstring file = folder_.makeFile(L"tree\\a\\file");
  const FileHandle lock = lockFile(file);
  expectError([&] { removeTree(folder_ / L"tree"); }, "remove_all", ERROR_SHARING_VIOLATION, file);
  EXPECT_TRUE(pathExists(file));
}

TEST_F(RemoveTree, RaisesWhenADirectoryCannotBeRead) {
  unreadableFolder = folder_.makeDirectory(L"tree\\closed");
  expectError([&] { removeTree(folder_ / L"tree"); }, "remove_all", ERROR_ACCESS_DENIED, unreadableFolder);
}
