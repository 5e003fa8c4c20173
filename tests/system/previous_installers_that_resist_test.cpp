// previous_installers_that_resist_test - what of an old installer's folder cannot be removed or read, and links among
// them, behind which nothing is touched.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <windows.h>

#include "support/link_seam.h"
#include "system/previous_installers_fixture.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

std::wstring unreadableFolder;  // opening it fails with ERROR_ACCESS_DENIED
int readsUntilFailure = -1;     // then reading on fails with ERROR_CRC
std::wstring undecided;         // the system cannot say whether it is there
std::wstring shownAsLink;       // a folder that the machine shows as a link

}  // namespace

LINK_SEAM(HANDLE, FindFirstFileExW,
          (LPCWSTR name, FINDEX_INFO_LEVELS level, LPVOID data, FINDEX_SEARCH_OPS operation, LPVOID filter,
           DWORD flags)) {
  if (!unreadableFolder.empty() && name == unreadableFolder + L"\\*") {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  return realFunction<decltype(&::FindFirstFileExW)>(L"kernel32.dll", "FindFirstFileExW")(name, level, data, operation,
                                                                                          filter, flags);
}

LINK_SEAM(BOOL, FindNextFileW, (HANDLE find, LPWIN32_FIND_DATAW data)) {
  if (readsUntilFailure >= 0 && readsUntilFailure-- == 0) {
    ::SetLastError(ERROR_CRC);
    return FALSE;
  }
  return realFunction<decltype(&::FindNextFileW)>(L"kernel32.dll", "FindNextFileW")(find, data);
}

LINK_SEAM(DWORD, GetFileAttributesW, (LPCWSTR path)) {
  if (!undecided.empty() && undecided == path) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_FILE_ATTRIBUTES;
  }
  const DWORD attributes = realFunction<decltype(&::GetFileAttributesW)>(L"kernel32.dll", "GetFileAttributesW")(path);
  const bool link = !shownAsLink.empty() && (shownAsLink == path || shownAsLink + L"\\" == path);
  return link ? attributes | FILE_ATTRIBUTE_REPARSE_POINT : attributes;
}

// The bench machine's own call reaches through a link to the directory behind it. Windows removes the link.
LINK_SEAM(BOOL, RemoveDirectoryW, (LPCWSTR path)) {
  const DWORD attributes = ::GetFileAttributesW(path);
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    removeDirectoryLink(path);
    return TRUE;
  }
  return realFunction<decltype(&::RemoveDirectoryW)>(L"kernel32.dll", "RemoveDirectoryW")(path);
}

namespace {

// What links lead to. Not below the folder of the test program, which is spared for its own sake.
const std::wstring kOutside = L"C:\\outside";

class ResistingInstallers : public PreviousInstallers {
 protected:
  void SetUp() override {
    PreviousInstallers::SetUp();
    removeTree(kOutside);
    makeFolderAt(kOutside + L"\\empty");
    makeFolderAt(kOutside + L"\\Packages\\of another product");
    makeFolderAt(kOutside + L"\\WU-TCC2\\kept");
  }
  void TearDown() override {
    letGo();
    PreviousInstallers::TearDown();
    removeTree(kOutside);
  }

  static void letGo() {
    unreadableFolder.clear();
    readsUntilFailure = -1;
    undecided.clear();
    shownAsLink.clear();
  }

  // The root, with what has been put into `stage_`: a link can be made in a folder of a test's own, and moved with it.
  void moveStageToRoot() { ASSERT_TRUE(::MoveFileW((stage_ / L"ORV").c_str(), kRoot.c_str())) << ::GetLastError(); }

  TestFolder stage_;
};

}  // namespace

TEST_F(ResistingInstallers, LockedFileIsReportedAndLeftAlone) {
  const std::wstring folder = makeFolder(L"ORV-Brimwood");
  const std::wstring first = makeFile(L"ORV-Brimwood\\a.bin");
  const std::wstring held = makeFile(L"ORV-Brimwood\\b.bin");
  const std::wstring last = makeFile(L"ORV-Brimwood\\c.bin");
  const std::wstring next = makeFolder(L"WU-TCC2");
  const FileHandle lock = lockFile(held);
  EXPECT_THAT(run(), ElementsAre(kDriveLine, fileLine(first), fileLine(held), fileLine(last), folderLine(folder),
                                 unableLine(folder, ERROR_SHARING_VIOLATION), folderLine(next)));
  EXPECT_THAT(left(), ElementsAre(L"ORV-Brimwood", L"ORV-Brimwood\\b.bin"));
}

TEST_F(ResistingInstallers, NothingIsMarkedForTheNextRestart) {
  const std::wstring held = makeFile(L"ORV-Brimwood\\b.bin");
  const FileHandle lock = lockFile(held);
  run();
  EXPECT_THAT(pendingDeletions(), IsEmpty());
}

TEST_F(ResistingInstallers, NextRunTakesWhatStayed) {
  const std::wstring held = makeFile(L"Packages\\a\\b.bin");
  {
    const FileHandle lock = lockFile(held);
    run();
    EXPECT_TRUE(pathExists(held));
  }
  run();
  EXPECT_FALSE(pathExists(kRoot));
}

TEST_F(ResistingInstallers, LockedPlainFileIsReported) {
  const std::wstring held = makeFile(L"Packages\\b.zip");
  const FileHandle lock = lockFile(held);
  EXPECT_THAT(run(), ElementsAre(kDriveLine, folderLine(held), unableLine(held, ERROR_SHARING_VIOLATION)));
  EXPECT_TRUE(pathExists(held));
}

TEST_F(ResistingInstallers, ReadOnlyFilesGo) {
  const std::wstring file = makeFile(L"ORV-Brimwood\\read only.txt");
  const std::wstring plain = makeFile(L"Packages\\read only.zip");
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  ::SetFileAttributesW(plain.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_THAT(run(), ElementsAre(kDriveLine, fileLine(file), folderLine(kRoot + L"\\ORV-Brimwood"), folderLine(plain)));
  EXPECT_FALSE(pathExists(kRoot));
}

TEST_F(ResistingInstallers, UnreadableFolderInACandidateIsPassedOver) {
  const std::wstring folder = makeFolder(L"ORV-Brimwood");
  const std::wstring first = makeFile(L"ORV-Brimwood\\a\\1.bin");
  unreadableFolder = makeFolder(L"ORV-Brimwood\\b");
  const std::wstring last = makeFile(L"ORV-Brimwood\\c\\3.bin");
  EXPECT_THAT(run(), ElementsAre(kDriveLine, fileLine(first), iteratingLine(folder, ERROR_ACCESS_DENIED),
                                 fileLine(last), folderLine(folder), unableLine(folder, ERROR_ACCESS_DENIED)));
  EXPECT_TRUE(pathExists(unreadableFolder));
  EXPECT_FALSE(pathExists(first));
  EXPECT_FALSE(pathExists(last));
}

TEST_F(ResistingInstallers, UnreadableRootHasNoEntries) {
  makeFile(L"ORV-Brimwood\\setup.exe");
  unreadableFolder = kRoot;
  EXPECT_THAT(run(), ElementsAre(kDriveLine));
  unreadableFolder.clear();
  EXPECT_THAT(left(), ElementsAre(L"ORV-Brimwood", L"ORV-Brimwood\\setup.exe"));
}

TEST_F(ResistingInstallers, RootWhoseReadingBreaksOffEndsThere) {
  const std::wstring first = makeFolder(L"Bastil-1");
  makeFolder(L"Bastil-2");
  readsUntilFailure = 2;  // behind `.`, `..` and the first folder
  EXPECT_THAT(run(), ElementsAre(kDriveLine, iteratingLine(kRoot + L"\\", ERROR_CRC), folderLine(first)));
  EXPECT_THAT(left(), ElementsAre(L"Bastil-2"));
}

TEST_F(ResistingInstallers, UndecidedPackageFolderRaisesExists) {
  makeFile(L"ORV-Brimwood\\setup.exe");
  undecided = kRoot + L"\\Packages";
  try {
    RemovePreviousInstallers();
    ADD_FAILURE() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("exists"));
  }
  EXPECT_FALSE(pathExists(kRoot + L"\\ORV-Brimwood")) << "the candidates come first";
}

TEST_F(ResistingInstallers, UndecidedPackageIsPassedOver) {
  const std::wstring folder = makeFolder(L"Packages\\a");
  undecided = folder + L"\\setup.exe";
  registerPackage(L"one", undecided);
  run();
  undecided.clear();
  EXPECT_FALSE(pathExists(folder));
}

TEST_F(ResistingInstallers, LinkAsACandidateGoesAlone) {
  stage_.makeDirectory(L"ORV\\Packages");
  stage_.makeDirectory(L"ORV\\stays");
  stage_.makeDirectoryLink(L"ORV\\ORV-Brimwood", kOutside + L"\\WU-TCC2");
  stage_.makeDirectoryLink(L"ORV\\Packages\\link", kOutside + L"\\empty");
  moveStageToRoot();
  const std::vector<std::string> before = snapshot(kOutside);
  EXPECT_THAT(run(),
              ElementsAre(kDriveLine, folderLine(kRoot + L"\\ORV-Brimwood"), folderLine(kRoot + L"\\Packages\\link")));
  EXPECT_THAT(left(), ElementsAre(L"stays"));
  EXPECT_EQ(snapshot(kOutside), before);
}

TEST_F(ResistingInstallers, LinkInACandidateGoesWithItAndNothingBehindIt) {
  stage_.makeFile(L"ORV\\ORV-Brimwood\\a.bin");
  stage_.makeDirectoryLink(L"ORV\\ORV-Brimwood\\link", kOutside);
  moveStageToRoot();
  const std::vector<std::string> before = snapshot(kOutside);
  run();
  EXPECT_FALSE(pathExists(kRoot));
  EXPECT_EQ(snapshot(kOutside), before);
}

TEST_F(ResistingInstallers, LinkThatLeadsToAKeptPackageIsExcluded) {
  stage_.makeDirectory(L"ORV\\Packages");
  stage_.makeDirectoryLink(L"ORV\\Packages\\link", kOutside + L"\\WU-TCC2");
  moveStageToRoot();
  registerPackage(L"one", kOutside + L"\\WU-TCC2\\kept");
  run();
  EXPECT_THAT(left(), ElementsAre(L"Packages", L"Packages\\link"));
}

TEST_F(ResistingInstallers, NothingBehindALinkInThePlaceOfAPackageFolderIsTouched) {
  stage_.makeFile(L"ORV\\ORV-Brimwood\\a.bin");
  stage_.makeDirectoryLink(L"ORV\\Packages", kOutside + L"\\Packages");
  stage_.makeDirectoryLink(L"ORV\\HalcyraInstaller", kOutside + L"\\empty");
  moveStageToRoot();
  const std::vector<std::string> before = snapshot(kOutside);
  run();
  EXPECT_THAT(left(), ElementsAre(L"HalcyraInstaller", L"Packages"));
  EXPECT_EQ(snapshot(kOutside), before);
}

TEST_F(ResistingInstallers, NothingBehindALinkInThePlaceOfTheRootIsTouched) {
  makeFile(L"ORV-Brimwood\\setup.exe");
  makeFile(L"Packages\\of another product\\setup.exe");
  makeFolder(L"HalcyraInstaller");
  const std::vector<std::string> before = snapshot(kRoot);
  shownAsLink = kRoot;
  EXPECT_THAT(run(), ElementsAre(kDriveLine));
  shownAsLink.clear();
  EXPECT_EQ(snapshot(kRoot), before);
}
