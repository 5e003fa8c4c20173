// previous_installers_that_resist_test - what of an old installer's folder cannot be removed or read, and links among
// them, behind which nothing is touched.

#include <algorithm>
#include <cwctype>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <windows.h>

#include "support/directory_seams.h"
#include "support/status_seams.h"
#include "system/file_operations.h"
#include "system/previous_installers_fixture.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

std::wstring messageOfTheSystem;  // what the system says of every error; empty lets the machine say it
wint_t unmatchable = L'\0';       // no expression can be matched against a name that holds this character

}  // namespace

LINK_SEAM(DWORD, FormatMessageW,
          (DWORD flags, LPCVOID source, DWORD message, DWORD language, LPWSTR buffer, DWORD size, va_list* arguments)) {
  if (messageOfTheSystem.empty() || !(flags & FORMAT_MESSAGE_ALLOCATE_BUFFER)) {
    return realFunction<decltype(&::FormatMessageW)>(L"kernel32.dll", "FormatMessageW")(
        flags, source, message, language, buffer, size, arguments);
  }
  const std::size_t bytes = (messageOfTheSystem.size() + 1) * sizeof(wchar_t);
  auto* const text = static_cast<wchar_t*>(::LocalAlloc(LMEM_FIXED, bytes));
  *reinterpret_cast<wchar_t**>(buffer) = text;
  std::copy_n(messageOfTheSystem.c_str(), messageOfTheSystem.size() + 1, text);
  return static_cast<DWORD>(messageOfTheSystem.size());
}

// Every expression compares without case, and asks for each character of a name.
LINK_SEAM(wint_t, towlower, (wint_t character)) {
  if (unmatchable != L'\0' && character == unmatchable) {
    throw std::runtime_error("The name cannot be matched");
  }
  return realFunction<decltype(&::towlower)>(L"msvcrt.dll", "towlower")(character);
}

namespace {

// What links lead to. Not below the folder of the test program, which is spared for its own sake.
const std::wstring kOutside = L"C:\\outside";

class ResistingInstallers : public PreviousInstallersMachine {
 protected:
  void SetUp() override {
    PreviousInstallersMachine::SetUp();
    removeTree(kOutside);
    makeFolderAt(kOutside + L"\\empty");
    makeFolderAt(kOutside + L"\\Packages\\of another product");
    makeFolderAt(kOutside + L"\\WU-TCC2\\kept");
  }
  void TearDown() override {
    letGo();
    PreviousInstallersMachine::TearDown();
    removeTree(kOutside);
  }

  static void letGo() {
    forgetDirectorySeams();
    forgetStatusSeams();
    messageOfTheSystem.clear();
    unmatchable = L'\0';
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
  fileRebootPending = false;
  run();
  EXPECT_TRUE(pathExists(held));
  EXPECT_THAT(pendingDeletions(), IsEmpty());
  EXPECT_FALSE(fileRebootPending) << "what stays asks for no restart";
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

TEST_F(ResistingInstallers, MessageOfTheSystemKeepsItsLetters) {
  const std::wstring held = makeFile(L"Packages\\b.zip");
  const FileHandle lock = lockFile(held);
  messageOfTheSystem = L"Zugriffsverletzung f\u00fcr ge\u00f6ffnete Dateien.\r\n";
  EXPECT_THAT(run(), ElementsAre(kDriveLine, folderLine(held),
                                 "DEBUG Unable to delete " + narrow(held) +
                                     ". Zugriffsverletzung f\xFCr ge\xF6"
                                     "ffnete Dateien."))
      << "in the log's own code page";
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
  undecided = {kRoot + L"\\Packages", ERROR_ACCESS_DENIED};
  try {
    RemovePreviousInstallers(PlanPreviousInstallers(FindPreviousInstallers()));
    ADD_FAILURE() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("exists"));
  }
  EXPECT_FALSE(pathExists(kRoot + L"\\ORV-Brimwood")) << "the candidates come first";
}

TEST_F(ResistingInstallers, UndecidedRootRaisesExists) {
  makeFile(L"ORV-Brimwood\\setup.exe");
  undecided = {kRoot, ERROR_ACCESS_DENIED};
  try {
    RemovePreviousInstallers(PlanPreviousInstallers(FindPreviousInstallers()));
    ADD_FAILURE() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("exists"));
    EXPECT_EQ(failure.code().value(), ERROR_ACCESS_DENIED);
  }
  forgetStatusSeams();
  EXPECT_THAT(left(), ElementsAre(L"ORV-Brimwood", L"ORV-Brimwood\\setup.exe")) << "it cannot be read either";
}

TEST_F(ResistingInstallers, NameThatCannotBeMatchedIsLoggedForEachPatternAndStays) {
  const std::wstring stays = makeFolder(L"~ORV-Brimwood");
  const std::wstring goes = makeFolder(L"Bastil-1");
  unmatchable = L'~';
  std::vector<std::string> expected = {kDriveLine};
  for (const char* pattern :
       {".*ORV_Software_Installer.*", ".*ORV-Software-Installer.*", ".*ORV_Halcyra_Installer.*",
        ".*ORV-Software-Fervane.*", ".*Halcyra-Software-Fervane.*", ".*Halcyra-Fervane.*", ".*ORV-Brimwood.*",
        ".*ORV_Brimwood.*", "WU-TCC2", ".*Halcyra-Pro-Software.*", ".*Halcyra_Pro_Software.*", ".*ORV_Software_Pro.*",
        ".*ORV-Software-Pro.*", "Bastil-.*"}) {
    expected.push_back("DEBUG Exception occured when attempting to regex " + narrow(stays) + " with " + pattern +
                       ". The name cannot be matched");
  }
  expected.push_back(folderLine(goes));
  EXPECT_THAT(run(), testing::UnorderedElementsAreArray(expected));
  EXPECT_THAT(left(), ElementsAre(L"~ORV-Brimwood"));
}

TEST_F(ResistingInstallers, FileInThePlaceOfTheRootStays) {
  ASSERT_TRUE(::CopyFileW(stage_.makeFile(L"file").c_str(), kRoot.c_str(), TRUE));
  EXPECT_THAT(run(), ElementsAre(kDriveLine));
  EXPECT_TRUE(pathExists(kRoot));
}

TEST_F(ResistingInstallers, FileInThePlaceOfAPackageFolderStays) {
  for (const wchar_t* name : {L"Packages", L"HalcyraInstaller", L"ORVSoftwareInstaller"}) {
    makeFile(name);
  }
  EXPECT_THAT(run(), ElementsAre(kDriveLine));
  EXPECT_THAT(left(), ElementsAre(L"HalcyraInstaller", L"ORVSoftwareInstaller", L"Packages"));
}

TEST_F(ResistingInstallers, LinkOfAFileThatLeadsToNothingIsNoPackage) {
  const std::wstring link = makeFile(L"Packages\\broken.zip");
  const std::wstring other = makeFile(L"Packages\\other.zip");
  entryShownAsLink = L"broken.zip";
  showAsBrokenLink(link, ERROR_PATH_NOT_FOUND);
  EXPECT_THAT(run(), ElementsAre(kDriveLine, folderLine(other)));
  forgetStatusSeams();
  EXPECT_THAT(left(), ElementsAre(L"Packages", L"Packages\\broken.zip"));
}

TEST_F(ResistingInstallers, LinkToAFileIsAPackage) {
  const std::wstring link = makeFile(L"Packages\\link.zip");
  entryShownAsLink = L"link.zip";
  EXPECT_THAT(run(), ElementsAre(kDriveLine, folderLine(link)));
  EXPECT_FALSE(pathExists(kRoot));
}

TEST_F(ResistingInstallers, LinkOfAFileThatLeadsToNothingGoesWithItsFolderAlone) {
  const std::wstring link = makeFile(L"ORV-Brimwood\\broken.bin");
  const std::wstring file = makeFile(L"ORV-Brimwood\\plain.bin");
  entryShownAsLink = L"broken.bin";
  showAsBrokenLink(link, ERROR_FILE_NOT_FOUND);
  EXPECT_THAT(run(), ElementsAre(kDriveLine, fileLine(file), folderLine(kRoot + L"\\ORV-Brimwood")))
      << "only regular files are deleted one by one";
  forgetStatusSeams();
  EXPECT_FALSE(pathExists(kRoot));
}

TEST_F(ResistingInstallers, UndecidedPackageIsPassedOver) {
  const std::wstring folder = makeFolder(L"Packages\\a");
  undecided = {folder + L"\\setup.exe", ERROR_ACCESS_DENIED};
  registerPackage(L"one", undecided.path);
  run();
  forgetStatusSeams();
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

TEST_F(ResistingInstallers, NamesThatAPlainPathCannotMeanGoAndNothingBehindTheLinksBesideThem) {
  stage_.makeFile(L"ORV\\Packages\\setup\\sub.\\file");
  stage_.makeFile(L"ORV\\Packages\\setup\\NUL");
  stage_.makeFile(L"ORV\\Packages\\package.\\file ");
  stage_.makeFile(L"ORV\\ORV-Brimwood .\\kept\\file");
  stage_.makeDirectoryLink(L"ORV\\Packages\\setup\\sub", kOutside + L"\\Packages");
  stage_.makeDirectoryLink(L"ORV\\Packages\\package", kOutside + L"\\Packages");
  stage_.makeDirectoryLink(L"ORV\\ORV-Brimwood", kOutside + L"\\WU-TCC2");
  moveStageToRoot();
  makeFolderAt(kOutside + L"\\Packages\\of another product");
  const std::vector<std::string> before = snapshot(kOutside);
  run();
  EXPECT_THAT(left(), IsEmpty());
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
