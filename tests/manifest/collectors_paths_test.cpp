#include <filesystem>
#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "collectors_fixture.h"
#include "support/captured_log.h"
#include "support/directory_seams.h"
#include "support/test_folder.h"
#include "support/test_registry.h"
#include "support/text.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

namespace {

class PathCollectors : public CollectorsTest {
 protected:
  PathCollectors() { removeKey(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems"); }
  ~PathCollectors() override { forgetDirectorySeams(); }

  TestFolder folder;
};

using DirectoryCollector = PathCollectors;
using FileCollector = PathCollectors;

TEST_F(DirectoryCollector, TakesGenericThenApplicationThenDriverRowsEachOnce) {
  data.Directories = {L"ORV\\generic", L"", L"INSTALL_DIR\\generic", L"ORV\\generic"};
  data.TrackerDirectories = {L"ORV\\tracker", L"C:\\ORV\\generic", L"ORV\\tracker"};
  addDriver().Directories = {L"ORV\\driver", L"ORV\\generic"};
  addApplication().Directories = {L"ORV\\application 1"};
  addApplication().Directories = {L"C:\\ORV\\application 1", L"ORV\\application 2", L"ORV\\Application 2"};
  const CapturedLog log;
  handleDirectories();
  EXPECT_THAT(work.directories,
              ElementsAre(L"C:\\ORV\\generic", L"C:\\Program Files\\ORV\\generic", L"C:\\ORV\\application 1",
                          L"C:\\ORV\\application 2", L"C:\\ORV\\Application 2", L"C:\\ORV\\driver"));
  EXPECT_THAT(work.directoriesForce, ElementsAre(L"C:\\ORV\\tracker", L"C:\\ORV\\generic"));
  EXPECT_THAT(work.files, IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG -----------HandleDirectories Getting all data-------------"));
}

TEST_F(DirectoryCollector, SpellsOutWhatLiesInExistingDirectories) {
  const std::wstring inner = folder.makeDirectory(L"one\\inner");
  const std::wstring file = folder.makeFile(L"one\\a.txt");
  const std::wstring deepFile = folder.makeFile(L"one\\inner\\b.txt");
  data.Directories = {folder / L"one", folder / L"missing"};
  work.files = {L"C:\\before"};
  handleDirectories();
  EXPECT_THAT(work.directories, ElementsAre(folder / L"one", folder / L"missing", inner));
  EXPECT_THAT(work.files, UnorderedElementsAre(L"C:\\before", file, deepFile));
  EXPECT_EQ(L"C:\\before", work.files.front());
}

TEST_F(DirectoryCollector, DirectoriesToRemoveWhenEmptyAreNotWalked) {
  folder.makeFile(L"tracker\\inner\\a.txt");
  data.TrackerDirectories = {folder / L"tracker"};
  handleDirectories();
  EXPECT_THAT(work.directoriesForce, ElementsAre(folder / L"tracker"));
  EXPECT_THAT(work.directories, IsEmpty());
  EXPECT_THAT(work.files, IsEmpty());
}

TEST_F(DirectoryCollector, FileInThePlaceOfADirectoryStaysARow) {
  const std::wstring file = folder.makeFile(L"file");
  data.Directories = {file};
  handleDirectories();
  EXPECT_THAT(work.directories, ElementsAre(file));
  EXPECT_THAT(work.files, IsEmpty());
}

TEST_F(DirectoryCollector, LinkIsARowAndNeverAWay) {
  folder.makeFile(L"elsewhere\\precious.txt");
  folder.makeDirectory(L"listed");
  const std::wstring link = folder.makeDirectoryLink(L"listed\\link", folder / L"elsewhere");
  const std::wstring linkedRow = folder.makeDirectoryLink(L"row", folder / L"elsewhere");
  data.Directories = {folder / L"listed", linkedRow};
  handleDirectories();
  EXPECT_THAT(work.directories, ElementsAre(folder / L"listed", linkedRow, link));
  EXPECT_THAT(work.files, IsEmpty()) << "nothing behind a link is ever touched";
}

TEST_F(DirectoryCollector, ExcludedDirectoryTakesItsContentsOut) {
  const std::wstring keep = folder.makeDirectory(L"listed\\keep");
  const std::wstring keepInner = folder.makeDirectory(L"listed\\keep\\inner");
  const std::wstring keepFile = folder.makeFile(L"listed\\keep\\inner\\a.txt");
  const std::wstring other = folder.makeDirectory(L"listed\\other");
  const std::wstring otherFile = folder.makeFile(L"listed\\other\\b.txt");
  data.Directories = {folder / L"listed"};
  data.ExcludedDirectories = {keep};
  EXPECT_EQ(handleDirectories(), (ProtectedRows{{keep, keep}, {keepInner, keep}}));
  EXPECT_THAT(work.directories, ElementsAre(folder / L"listed", other)) << "a parent stays on the list";
  EXPECT_THAT(exclusions.excludedDirectories, ElementsAre(keep, keepInner));
  EXPECT_THAT(exclusions.excludedFiles, ElementsAre(keepFile));
  EXPECT_THAT(work.files, UnorderedElementsAre(keepFile, otherFile)) << "the file collector takes it away";
  EXPECT_EQ(handleFiles(), (ProtectedRows{{keepFile, keep}}));
  EXPECT_THAT(work.files, ElementsAre(otherFile));
}

TEST_F(DirectoryCollector, ExcludedDirectoryThatIsALinkTakesWhatLiesBehindItOut) {
  folder.makeFile(L"moved\\inner\\a.txt");
  folder.makeFile(L"moved\\b.txt");
  folder.makeFile(L"elsewhere\\c.txt");
  folder.makeDirectoryLink(L"moved\\further", folder / L"elsewhere");
  const std::wstring keep = folder.makeDirectoryLink(L"keep", folder / L"moved");
  data.ExcludedDirectories = {keep};
  data.Directories = {keep + L"\\inner", keep + L"\\go"};
  data.Files = {keep + L"\\b.txt", keep + L"\\go.txt"};
  handleDirectories();
  handleFiles();
  EXPECT_THAT(exclusions.excludedDirectories, UnorderedElementsAre(keep, keep + L"\\inner", keep + L"\\further"))
      << "a link met below is a row alone";
  EXPECT_THAT(exclusions.excludedFiles, UnorderedElementsAre(keep + L"\\b.txt", keep + L"\\inner\\a.txt"));
  EXPECT_THAT(work.directories, ElementsAre(keep + L"\\go"));
  EXPECT_THAT(work.files, ElementsAre(keep + L"\\go.txt"));
}

TEST_F(FileCollector, PatternBehindALinkIsRefusedAndAnExcludedOneIsNot) {
  folder.makeFile(L"elsewhere\\a.txt");
  folder.makeFile(L"elsewhere\\b.txt");
  const std::wstring link = folder.makeDirectoryLink(L"link", folder / L"elsewhere");
  data.Files = {link + L"\\*.txt", link + L"\\a.txt", link + L"\\c.txt"};
  data.ExcludedFiles = {link + L"\\a*"};
  const CapturedLog log;
  handleFiles();
  EXPECT_THAT(work.files, ElementsAre(link + L"\\c.txt")) << "which is looked at when its turn comes";
  EXPECT_THAT(exclusions.excludedFiles, ElementsAre(link + L"\\a.txt"));
  EXPECT_THAT(failedFiles, ElementsAre(link + L"\\*.txt"));
  EXPECT_THAT(log.lines(), Contains("ERROR Row[" + narrow(link) +
                                    "\\*.txt] leads to another place through a link and is not carried out"));
}

TEST_F(DirectoryCollector, BothDirectoryListsLoseExcludedRows) {
  data.Directories = {L"ORV\\keep", L"ORV\\go"};
  data.TrackerDirectories = {L"ORV\\keep", L"ORV\\tracker"};
  data.ExcludedDirectories = {L"ORV\\keep"};
  handleDirectories();
  EXPECT_THAT(work.directories, ElementsAre(L"C:\\ORV\\go"));
  EXPECT_THAT(work.directoriesForce, ElementsAre(L"C:\\ORV\\tracker"));
}

TEST_F(DirectoryCollector, ExcludedDirectoryThatIsMissingTakesTheEqualRowAway) {
  data.Directories = {L"ORV\\missing", L"ORV\\Missing"};
  data.ExcludedDirectories = {L"C:\\ORV\\missing"};
  handleDirectories();
  EXPECT_THAT(exclusions.excludedDirectories, ElementsAre(L"C:\\ORV\\missing"));
  EXPECT_THAT(work.directories, ElementsAre(L"C:\\ORV\\Missing"));
  EXPECT_THAT(exclusions.excludedFiles, IsEmpty());
}

TEST_F(DirectoryCollector, ExclusionsThatStandAlreadyCount) {
  const std::wstring file = folder.makeFile(L"manager\\bin\\a.exe");
  exclusions.excludedDirectories = {folder / L"manager"};
  data.Directories = {folder / L"manager"};
  data.ExcludedDirectories = {L"ORV\\other"};
  handleDirectories();
  EXPECT_THAT(work.directories, IsEmpty());
  EXPECT_THAT(exclusions.excludedDirectories,
              ElementsAre(folder / L"manager", L"C:\\ORV\\other", folder / L"manager\\bin"));
  EXPECT_THAT(exclusions.excludedFiles, ElementsAre(file));
}

TEST_F(DirectoryCollector, RowsThatNameAPlaceOfTheSystemAreRefused) {
  data.Directories = {L"Program Files", L"ORV\\go", L"INSTALL_DIR\\.."};
  data.TrackerDirectories = {L"Windows", L"ORV\\tracker"};
  const CapturedLog log;
  handleDirectories();
  EXPECT_THAT(work.directories, ElementsAre(L"C:\\ORV\\go"));
  EXPECT_THAT(work.directoriesForce, ElementsAre(L"C:\\ORV\\tracker"));
  EXPECT_THAT(work.files, IsEmpty());
  EXPECT_THAT(log.lines(),
              ElementsAre("DEBUG -----------HandleDirectories Getting all data-------------",
                          "ERROR Row[C:\\Program Files] names a place of the system and is not carried out",
                          "ERROR Row[C:\\Program Files\\ORV\\..] names a place of the system and is not carried out",
                          "ERROR Row[C:\\Windows] names a place of the system and is not carried out"));
}

TEST_F(DirectoryCollector, FailureOfTheWalkLeaves) {
  folder.makeFile(L"listed\\inner\\a.txt");
  unreadableFolder = folder / L"listed\\inner";
  data.Directories = {folder / L"listed"};
  EXPECT_THROW(handleDirectories(), std::filesystem::filesystem_error);
}

TEST_F(DirectoryCollector, EmptyListsGiveEmptyLists) {
  handleDirectories();
  handleFiles();
  EXPECT_THAT(work.directories, IsEmpty());
  EXPECT_THAT(work.directoriesForce, IsEmpty());
  EXPECT_THAT(work.files, IsEmpty());
  EXPECT_THAT(exclusions.excludedDirectories, IsEmpty());
  EXPECT_THAT(exclusions.excludedFiles, IsEmpty());
}

TEST_F(FileCollector, TakesGenericThenApplicationRowsEachOnce) {
  data.Files = {L"ORV\\generic.dll", L"", L"INSTALL_DIR\\a.dll"};
  addApplication().Files = {L"ORV\\generic.dll", L"ORV\\application.dll", L"ORV\\APPLICATION.dll"};
  addApplication().Files = {L"C:\\ORV\\application.dll"};
  data.ApplicationPackages.emplace_back().Files = {L"ORV\\not eligible.dll"};
  work.files = {L"C:\\before"};
  const CapturedLog log;
  handleFiles();
  EXPECT_THAT(work.files, ElementsAre(L"C:\\before", L"C:\\ORV\\generic.dll", L"C:\\Program Files\\ORV\\a.dll",
                                      L"C:\\ORV\\application.dll", L"C:\\ORV\\APPLICATION.dll"));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG -----------HandleFiles Getting all data-------------"));
}

TEST_F(FileCollector, ExclusionInOtherCaseProtectsNothing) {
  data.Files = {L"ORV\\keep.dll", L"ORV\\a.dll"};
  data.ExcludedFiles = {L"ORV\\Keep.dll", L"ORV\\a.dll", L"ORV\\\\keep.dll"};
  handleFiles();
  EXPECT_THAT(work.files, ElementsAre(L"C:\\ORV\\keep.dll"));
}

TEST_F(FileCollector, WildcardsInBothListsMeanWhatExistsNow) {
  const std::wstring keep = folder.makeFile(L"keep-1.log");
  const std::wstring go = folder.makeFile(L"go-1.log");
  data.Files = {folder / L"*.log", folder / L"keep-2.log"};
  data.ExcludedFiles = {folder / L"keep-*.log"};
  exclusions.excludedFiles = {L"C:\\before"};
  handleFiles();
  EXPECT_THAT(work.files, ElementsAre(go, folder / L"keep-2.log")) << "a pattern protects only what is on the disk";
  EXPECT_THAT(exclusions.excludedFiles, ElementsAre(L"C:\\before", keep));
}

TEST_F(FileCollector, PatternsThatTakeAllOfAPlaceOfTheSystemAreRefused) {
  const std::wstring file = L"C:\\orv-test-of-the-root.log";
  ASSERT_TRUE(::CopyFileW(folder.makeFile(L"file").c_str(), file.c_str(), FALSE));
  data.Files = {L"%ORVTESTUNSET%\\*", L"Windows\\System32\\*", L"Program Files\\*.dll", L"ORV\\go.dll"};
  addApplication().Files = {L"C:\\*.*", L"C:\\Users\\.", L"C:\\Windows\\?*", L"C:*", L"C:/Windows/*"};
  const CapturedLog log;
  handleFiles();
  ::DeleteFileW(file.c_str());
  EXPECT_THAT(work.files, ElementsAre(L"C:\\ORV\\go.dll"));
  const auto refused = [](const std::string& row) {
    return "ERROR Row[" + row + "] names a place of the system and is not carried out";
  };
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG -----------HandleFiles Getting all data-------------", refused("\\*"),
                                       refused("C:\\Windows\\System32\\*"), refused("C:\\Program Files\\*.dll"),
                                       refused("C:\\*.*"), refused("C:\\Users\\."), refused("C:\\Windows\\?*"),
                                       refused("C:*"), refused("C:/Windows/*")));
}

TEST_F(FileCollector, NarrowPatternInAPlaceOfTheSystemIsCarriedOut) {
  const std::wstring driver = L"C:\\windows\\System32\\orvtestdriver.dll";
  ASSERT_TRUE(::CopyFileW(folder.makeFile(L"file").c_str(), driver.c_str(), FALSE));
  folder.makeFile(L"any.txt");
  data.Files = {L"windows\\System32\\*orvtestd*.dll", folder / L"*"};
  const CapturedLog log;
  handleFiles();
  ::DeleteFileW(driver.c_str());
  EXPECT_THAT(work.files, ::testing::IsSupersetOf({driver, folder / L"any.txt"}));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG -----------HandleFiles Getting all data-------------"));
}

TEST_F(FileCollector, PatternOfTooFewCharactersInAPlaceOfTheSystemIsRefused) {
  data.Files = {L"windows\\System32\\or*.dll", L"windows\\System32\\drivers\\*.sys", folder / L"or*.dll"};
  const std::wstring elsewhere = folder.makeFile(L"or1.dll");
  const CapturedLog log;
  handleFiles();
  EXPECT_THAT(work.files, ElementsAre(elsewhere));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          "DEBUG -----------HandleFiles Getting all data-------------",
          "ERROR Row[C:\\windows\\System32\\or*.dll] names a place of the system and is not carried out",
          "ERROR Row[C:\\windows\\System32\\drivers\\*.sys] names a place of the system and is not carried out"));
}

TEST_F(FileCollector, ExclusionMayTakeAllOfAPlaceOfTheSystem) {
  const std::wstring kept = L"C:\\windows\\System32\\orvtestdriver.dll";
  ASSERT_TRUE(::CopyFileW(folder.makeFile(L"file").c_str(), kept.c_str(), FALSE));
  data.Files = {kept, L"ORV\\go.dll"};
  data.ExcludedFiles = {L"windows\\System32\\*"};
  const CapturedLog log;
  handleFiles();
  ::DeleteFileW(kept.c_str());
  EXPECT_THAT(work.files, ElementsAre(L"C:\\ORV\\go.dll"));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG -----------HandleFiles Getting all data-------------"));
}

TEST_F(FileCollector, ExclusionOfAFileInTheRootMeetsItsPattern) {
  const std::wstring source = folder.makeFile(L"file");
  for (const wchar_t* name : {L"C:\\orvtest-1.log", L"C:\\orvtest-2.log"}) {
    ASSERT_TRUE(::CopyFileW(source.c_str(), name, FALSE));
  }
  data.Files = {L"orvtest-*.log"};
  data.ExcludedFiles = {L"orvtest-1.log"};
  handleFiles();
  ::DeleteFileW(L"C:\\orvtest-1.log");
  ::DeleteFileW(L"C:\\orvtest-2.log");
  EXPECT_THAT(work.files, ElementsAre(L"C:\\orvtest-2.log"));
}

TEST_F(FileCollector, ManyRowsAreCollectedWhole) {
  constexpr std::size_t kRows = 50'000;
  ApplicationPackage& application = addApplication();
  for (std::size_t i = 0; i < kRows; ++i) {
    data.Files.push_back(L"C:\\ORV\\row " + std::to_wstring(i));
    data.ExcludedFiles.push_back(L"C:\\ORV\\row " + std::to_wstring(2 * i));
    application.Files.push_back(L"C:\\ORV\\row " + std::to_wstring(i));
  }
  handleFiles();
  EXPECT_THAT(work.files, SizeIs(kRows / 2));
  EXPECT_THAT(work.files, Not(Contains(L"C:\\ORV\\row 100")));
  EXPECT_THAT(work.files, Contains(L"C:\\ORV\\row 101"));
}

}  // namespace
