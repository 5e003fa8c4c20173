// previous_installers_test - which folders of old driver installers go, what of them is spared, and on which drives
// they are looked for. What resists, and links: previous_installers_that_resist_test.

#include <algorithm>
#include <string>
#include <vector>

#include <windows.h>

#include "support/current_directory.h"
#include "support/link_seam.h"
#include "support/test_child.h"
#include "system/long_path.h"
#include "system/previous_installers_fixture.h"

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

// What the machine says of itself; empty lets the real call answer.
std::wstring programPath;
std::wstring temporaryFolder;
std::wstring systemFolder;
bool systemFolderIsUnknown = false;
UINT driveType = DRIVE_FIXED;                  // of drive Q:
std::vector<std::wstring> askedOfSecondDrive;  // paths of drive Q:, in order

// The root, then its package folders; at the end whatever is there to be removed when it is empty.
const std::vector<std::wstring> kAllOfSecondDrive = {
    L"Q:\\ORV",  // is it a link?
    L"Q:\\ORV",  // what is in it?
    L"Q:\\ORV\\Packages",
    L"Q:\\ORV\\HalcyraInstaller",
    L"Q:\\ORV\\ORVSoftwareInstaller",
    L"Q:\\ORV\\Packages",  // are they empty now?
    L"Q:\\ORV\\HalcyraInstaller",
    L"Q:\\ORV\\ORVSoftwareInstaller",
    L"Q:\\ORV",
};

DWORD answer(const std::wstring& text, wchar_t* buffer) {
  std::copy_n(text.c_str(), text.size() + 1, buffer);
  return static_cast<DWORD>(text.size());
}

}  // namespace

LINK_SEAM(DWORD, GetModuleFileNameW, (HMODULE module, LPWSTR buffer, DWORD size)) {
  return !module && !programPath.empty() ? answer(programPath, buffer)
                                         : realFunction<decltype(&::GetModuleFileNameW)>(
                                               L"kernel32.dll", "GetModuleFileNameW")(module, buffer, size);
}

LINK_SEAM(DWORD, GetTempPathW, (DWORD size, LPWSTR buffer)) {
  return !temporaryFolder.empty()
             ? answer(temporaryFolder, buffer)
             : realFunction<decltype(&::GetTempPathW)>(L"kernel32.dll", "GetTempPathW")(size, buffer);
}

LINK_SEAM(UINT, GetSystemDirectoryW, (LPWSTR buffer, UINT size)) {
  if (systemFolderIsUnknown) {
    return 0;
  }
  return !systemFolder.empty()
             ? answer(systemFolder, buffer)
             : realFunction<decltype(&::GetSystemDirectoryW)>(L"kernel32.dll", "GetSystemDirectoryW")(buffer, size);
}

LINK_SEAM(UINT, GetDriveTypeW, (LPCWSTR root)) {
  return std::wstring(root) == L"Q:\\"
             ? driveType
             : realFunction<decltype(&::GetDriveTypeW)>(L"kernel32.dll", "GetDriveTypeW")(root);
}

LINK_SEAM(DWORD, GetFileAttributesW, (LPCWSTR path)) {
  const std::wstring plain = withoutExtendedPrefix(path);
  if (plain.starts_with(L"Q:")) {
    askedOfSecondDrive.push_back(plain);
  }
  return realFunction<decltype(&::GetFileAttributesW)>(L"kernel32.dll", "GetFileAttributesW")(path);
}

namespace {

class Installers : public PreviousInstallersMachine {
 protected:
  ~Installers() override {
    programPath.clear();
    temporaryFolder.clear();
    systemFolder.clear();
    systemFolderIsUnknown = false;
    driveType = DRIVE_FIXED;
    askedOfSecondDrive.clear();
  }
};

}  // namespace

TEST_F(Installers, NothingThereLogsNothing) {
  EXPECT_THAT(run(), ElementsAre(kDriveLine));
  EXPECT_FALSE(pathExists(kRoot));
}

TEST_F(Installers, EveryPatternTakesItsFolders) {
  const wchar_t* const names[] = {
      L"ORV_Software_Installer",
      L"x ORV_Software_Installer-24.1",
      L"orv_software_installer",
      L"ORV-Software-Installer",
      L"win10-ORV-Software-Installer_2",
      L"ORV-SOFTWARE-INSTALLER",
      L"ORV_Halcyra_Installer",
      L"aORV_Halcyra_Installerb",
      L"ORV-Software-Fervane",
      L"orv-software-fervane",
      L"1 ORV-Software-Fervane 2",
      L"Halcyra-Software-Fervane",
      L"new Halcyra-Software-Fervane",
      L"Halcyra-Fervane",
      L"xHalcyra-FervaneX",
      L"ORV-Brimwood",
      L"the-orv-brimwood-24",
      L"ORV_Brimwood",
      L"ORV_Brimwood.old",
      L"WU-TCC2",
      L"wu-tcc2",
      L"Halcyra-Pro-Software",
      L"24.Q1-Halcyra-Pro-Software",
      L"Halcyra_Pro_Software",
      L"Halcyra_Pro_Software_x",
      L"ORV_Software_Pro",
      L"x-ORV_Software_Pro",
      L"ORV-Software-Pro",
      L"ORV-Software-Pro-24",
      L"Bastil-",
      L"Bastil-24.1",
      L"bastil-x",
  };
  for (const wchar_t* name : names) {
    // Windows takes no two names that differ in case alone, so each has the root to itself.
    const std::wstring file = makeFile(std::wstring(name) + L"\\sub\\setup.exe");
    const std::wstring folder = kRoot + L"\\" + name;
    EXPECT_THAT(run(), ElementsAre(kDriveLine, fileLine(file), folderLine(folder)));
    EXPECT_FALSE(pathExists(kRoot)) << narrow(name) << ": the emptied root goes too";
  }
}

TEST_F(Installers, NearlyTheNameStays) {
  std::vector<std::wstring> names = {
      L"Bastil",
      L"WU-TCC",
      L"WU-TCC2 (1)",
      L"WU-TCC22",
      L"WU_TCC2",
      L"xBastil-1",
      L"xWU-TCC2",
      L"Halcyra Fervane",
      L"Halcyra_Fervane",
      L"Halcyra-Pro_Software",
      L"Halcyra_Pro-Software",
      L"Halcyra-Software",
      L"HalcyraFervane",
      L"ORV Software Installer",
      L"ORV-Brimwoo",
      L"ORV-Halcyra-Installer",
      L"ORV-Software_Installer",
      L"ORV.Brimwood",
      L"ORV-Software",
      L"ORV_Software_Fervane",
      L"ORVBrimwood",
      L"ORV_Halcyra-Installer",
      L"Package",
      L"Packages2",
      L"ORVSoftwareInstallers",
      L"HalcyraInstaller.old",
  };
  std::vector<std::wstring> expected;
  for (const std::wstring& name : names) {
    makeFile(name + L"\\setup.exe");
    expected.push_back(name);
    expected.push_back(name + L"\\setup.exe");
  }
  std::sort(expected.begin(), expected.end());
  const std::vector<std::string> before = snapshot(kRoot);
  EXPECT_THAT(run(), ElementsAre(kDriveLine));
  EXPECT_THAT(left(), ElementsAreArray(expected));
  EXPECT_EQ(snapshot(kRoot), before);
}

TEST_F(Installers, FilesInTheRootArePassedOver) {
  makeFile(L"ORV-Software-Installer.exe");
  makeFile(L"WU-TCC2");
  makeFile(L"deeper\\ORV-Brimwood\\setup.exe");
  EXPECT_THAT(run(), ElementsAre(kDriveLine));
  EXPECT_THAT(left(), ElementsAre(L"ORV-Software-Installer.exe", L"WU-TCC2", L"deeper", L"deeper\\ORV-Brimwood",
                                  L"deeper\\ORV-Brimwood\\setup.exe"));
}

TEST_F(Installers, EverythingInThePackageFoldersGoes) {
  for (const wchar_t* name : {L"Packages", L"HalcyraInstaller", L"ORVSoftwareInstaller"}) {
    const std::wstring folder = kRoot + L"\\" + name + L"\\any name";
    const std::wstring file = makeFile(std::wstring(name) + L"\\any name\\sub\\data.bin");
    makeFolder(std::wstring(name) + L"\\any name\\sub\\empty");
    const std::wstring plain = makeFile(std::wstring(name) + L"\\plain file.zip");
    EXPECT_THAT(run(), ElementsAre(kDriveLine, fileLine(file), folderLine(folder), folderLine(plain)));
    EXPECT_FALSE(pathExists(kRoot)) << narrow(name);
  }
}

TEST_F(Installers, CandidatesComeInTheOrderOfTheirPlaces) {
  const std::wstring third = makeFolder(L"ORVSoftwareInstaller\\a");
  const std::wstring second = makeFolder(L"HalcyraInstaller\\a");
  const std::wstring first = makeFolder(L"Packages\\a");
  const std::wstring named = makeFolder(L"WU-TCC2");
  EXPECT_THAT(run(),
              ElementsAre(kDriveLine, folderLine(named), folderLine(first), folderLine(second), folderLine(third)));
}

TEST_F(Installers, RootAndPackageFoldersStayWhileSomethingIsInThem) {
  makeFolder(L"Packages");
  makeFile(L"ORV-Brimwood\\setup.exe");
  makeFile(L"notes.txt");
  run();
  EXPECT_THAT(left(), ElementsAre(L"notes.txt")) << "an empty package folder goes, a root with a file stays";
}

TEST_F(Installers, RegisteredPackageSparesWhatItLiesIn) {
  const std::wstring setup = makeFile(L"Packages\\kept\\deep\\setup.exe");
  makeFile(L"Packages\\kept\\data.bin");
  const std::wstring sibling = makeFile(L"Packages\\kept2\\setup.exe");
  registerPackage(L"one", setup);
  EXPECT_THAT(run(),
              ElementsAre("DEBUG Min installer regkey has value", "DEBUG Min installer sub key one",
                          "DEBUG Package path " + narrow(setup), kDriveLine, excludingLine(kRoot + L"\\Packages\\kept"),
                          fileLine(sibling), folderLine(kRoot + L"\\Packages\\kept2")));
  EXPECT_THAT(left(), ElementsAre(L"Packages", L"Packages\\kept", L"Packages\\kept\\data.bin", L"Packages\\kept\\deep",
                                  L"Packages\\kept\\deep\\setup.exe"));
}

TEST_F(Installers, RegisteredPackageIsMetInAnySpelling) {
  for (const wchar_t* spelling : {L"C:\\ORV\\ORV-Brimwood", L"c:\\orv\\ORV-BRIMWOOD", L"C:\\ORV\\ORV-Brimwood\\",
                                  L"C:/ORV/ORV-Brimwood", L"C:\\ORV\\.\\x\\..\\ORV-Brimwood\\setup.exe"}) {
    makeFile(L"ORV-Brimwood\\setup.exe");
    makeFile(L"Bastil-1\\setup.exe");
    registerPackage(L"one", spelling);
    run();
    EXPECT_THAT(left(), ElementsAre(L"ORV-Brimwood", L"ORV-Brimwood\\setup.exe")) << narrow(spelling);
  }
}

TEST_F(Installers, PackageAroundTheRootSparesAll) {
  makeFile(L"ORV-Brimwood\\setup.exe");
  makeFile(L"Packages\\a\\setup.exe");
  registerPackage(L"one", kRoot);
  const std::vector<std::string> before = snapshot(kRoot);
  run();
  EXPECT_EQ(snapshot(kRoot), before);
}

TEST_F(Installers, FolderThatFitsSeveralPatternsIsExcludedOnceForEach) {
  const std::wstring folder = makeFolder(L"Bastil-ORV-Brimwood-ORV_Brimwood");
  registerPackage(L"one", folder);
  EXPECT_THAT(run(), ElementsAre("DEBUG Min installer regkey has value", "DEBUG Min installer sub key one",
                                 "DEBUG Package path " + narrow(folder), kDriveLine, excludingLine(folder),
                                 excludingLine(folder), excludingLine(folder)));
  EXPECT_TRUE(pathExists(folder));
}

TEST_F(Installers, FolderThatFitsSeveralPatternsIsRemovedOnce) {
  const std::wstring folder = makeFolder(L"Bastil-ORV-Brimwood-ORV_Brimwood");
  EXPECT_THAT(run(), ElementsAre(kDriveLine, folderLine(folder)));
}

TEST_F(Installers, PackageThatIsNotThereExcludesNothing) {
  const std::wstring file = makeFile(L"Packages\\a\\setup.exe");
  registerPackage(L"one", L"C:\\ORV\\Packages\\a\\missing.exe");
  EXPECT_THAT(run(), ElementsAre("DEBUG Min installer regkey has value", "DEBUG Min installer sub key one",
                                 "DEBUG Package path C:\\ORV\\Packages\\a\\missing.exe", kDriveLine, fileLine(file),
                                 folderLine(kRoot + L"\\Packages\\a")));
  EXPECT_FALSE(pathExists(kRoot));
}

TEST_F(Installers, PackagePathBeyond129CharactersExcludesNothing) {
  const std::wstring front = L"Packages\\";
  const std::wstring fits(129 - kRoot.size() - 1 - front.size(), L'f');
  const std::wstring kept = makeFolder(front + fits);
  ASSERT_EQ(kept.size(), 129u);
  const std::wstring lost = makeFolder(front + fits + L"g");
  registerPackage(L"1", lost);
  registerPackage(L"2", kept);
  EXPECT_THAT(run(), ElementsAre("DEBUG Min installer regkey has value", "DEBUG Min installer sub key 1",
                                 "DEBUG Min installer sub key 2", "DEBUG Package path " + narrow(kept), kDriveLine,
                                 excludingLine(kept), folderLine(lost)));
  EXPECT_THAT(left(), ElementsAre(L"Packages", front + fits));
}

TEST_F(Installers, ValueThatCannotBeReadIsPassedOver) {
  const std::wstring kept = makeFolder(L"Packages\\kept");
  plantKey(kMinimalInstaller + L"\\1 without a value");
  plantDword(kMinimalInstaller + L"\\2 number", L"Package Path", 1);
  registerPackage(L"3", kept);
  EXPECT_THAT(run(),
              ElementsAre("DEBUG Min installer regkey has value", "DEBUG Min installer sub key 1 without a value",
                          "DEBUG Min installer sub key 2 number", "DEBUG Min installer sub key 3",
                          "DEBUG Package path " + narrow(kept), kDriveLine, excludingLine(kept)));
}

TEST_F(Installers, KeyWithoutPackagesIsLogged) {
  plantKey(kMinimalInstaller);
  EXPECT_THAT(run(), ElementsAre("DEBUG Min installer regkey has value", kDriveLine));
}

TEST_F(Installers, FolderOfTheRunningProgramStays) {
  const std::wstring own = makeFolder(L"ORV-Software-Installer-24\\bin");
  const std::wstring program = own + L"\\tool.exe";
  ASSERT_TRUE(::CopyFileW(ownProgram().c_str(), program.c_str(), TRUE));
  makeFile(L"ORV-Software-Installer-24\\data.bin");
  makeFile(L"ORV-Software-Installer-23\\data.bin");
  const ChildProcess child(L"\"" + program + L"\" --remove-installers");
  ASSERT_TRUE(child.waitForEnd());
  EXPECT_THAT(left(), ElementsAre(L"ORV-Software-Installer-24", L"ORV-Software-Installer-24\\bin",
                                  L"ORV-Software-Installer-24\\bin\\tool.exe", L"ORV-Software-Installer-24\\data.bin"));
}

TEST_F(Installers, FolderOfTheRunningProgramIsLogged) {
  const std::wstring folder = makeFolder(L"ORV-Brimwood");
  programPath = makeFile(L"ORV-Brimwood\\tool.exe");
  EXPECT_THAT(run(), ElementsAre(kDriveLine, excludingLine(folder)));
  EXPECT_TRUE(pathExists(programPath));
}

TEST_F(Installers, ProgramInTheInstallersRootSparesAll) {
  programPath = makeFile(L"tool.exe");
  makeFile(L"ORV-Brimwood\\setup.exe");
  const std::vector<std::string> before = snapshot(kRoot);
  run();
  EXPECT_EQ(snapshot(kRoot), before);
}

TEST_F(Installers, ProgramInTheRootOfADriveProtectsNothing) {
  programPath = L"C:\\tool.exe";
  makeFile(L"ORV-Brimwood\\setup.exe");
  run();
  EXPECT_FALSE(pathExists(kRoot));
}

// The bench machine has no second drive; what is asked of one shows that it is looked at like the first.
TEST_F(Installers, SecondDriveIsLookedAtForTheSakeOfTheTemporaryFolder) {
  makeFile(L"ORV-Brimwood\\setup.exe");
  run();
  EXPECT_THAT(askedOfSecondDrive, IsEmpty()) << "neither the system nor the temporary folder is there";

  temporaryFolder = L"Q:\\Temp\\";
  for (const UINT type :
       {DRIVE_UNKNOWN, DRIVE_NO_ROOT_DIR, DRIVE_REMOVABLE, DRIVE_REMOTE, DRIVE_CDROM, DRIVE_RAMDISK}) {
    driveType = type;
    run();
    EXPECT_THAT(askedOfSecondDrive, IsEmpty()) << type;
  }
  driveType = DRIVE_FIXED;
  makeFile(L"ORV-Brimwood\\setup.exe");
  run();
  EXPECT_EQ(askedOfSecondDrive, kAllOfSecondDrive);
  EXPECT_FALSE(pathExists(kRoot)) << "drive C: is looked at in any case";
}

TEST_F(Installers, SecondDriveIsLookedAtForTheSakeOfTheSystem) {
  makeFile(L"ORV-Brimwood\\setup.exe");
  systemFolder = L"Q:\\windows\\system32";
  driveType = DRIVE_NO_ROOT_DIR;
  run();
  EXPECT_EQ(askedOfSecondDrive, kAllOfSecondDrive) << "the system's drive is not asked for its kind";
  EXPECT_FALSE(pathExists(kRoot));
}

TEST_F(Installers, SystemWithoutADriveAddsNoRoot) {
  const TestFolder folder;
  const std::vector<std::wstring> stays = {folder.makeFile(L"ORV\\ORV-Brimwood\\setup.exe"),
                                           folder.makeFile(L"ORV\\Packages\\a\\setup.exe")};
  const CurrentDirectory current(folder.path());
  makeFile(L"ORV-Brimwood\\setup.exe");
  systemFolderIsUnknown = true;
  programPath = L"C:\\tool.exe";
  run();
  for (const std::wstring& path : stays) {
    EXPECT_TRUE(pathExists(path)) << "a folder of the current directory is nobody's root";
  }
  EXPECT_FALSE(pathExists(kRoot)) << "drive C: is looked at in any case";
}

TEST_F(Installers, TemporaryFolderWithoutADriveMeansDriveC) {
  makeFile(L"ORV-Brimwood\\setup.exe");
  temporaryFolder = L"\\Temp\\";
  run();
  EXPECT_FALSE(pathExists(kRoot));
}

int main(int argumentCount, char** arguments) {
  if (argumentCount > 1 && std::string(arguments[1]) == "--remove-installers") {
    RemovePreviousInstallers(PlanPreviousInstallers(FindPreviousInstallers()));
    return 0;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
