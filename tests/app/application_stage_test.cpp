// application_stage_test - what becomes of applications and store apps in the whole pass: chosen, removed, tried again,
// or protected.

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include <windows.h>

#include <msi.h>

#include "app/cleanup_session.h"
#include "app/package_selection_fixture.h"
#include "support/link_seam.h"
#include "support/test_folder.h"

namespace {

int cleanBoot = 0;
std::vector<std::wstring> launched;

// A text that the installer does not take for an upgrade code: the package counts as present and has no product.
constexpr wchar_t kNoCode[] = L"{not a code}";
// Every run ends with this command, which is no part of what is looked at here.
constexpr wchar_t kEndOfTheRun[] = L"/C \"bcdedit /deletevalue {current} safeboot\"";

}  // namespace

LINK_SEAM(UINT, MsiEnumRelatedProductsW, (LPCWSTR upgradeCode, DWORD reserved, DWORD index, LPWSTR productCode)) {
  return std::wstring(upgradeCode) == kNoCode
             ? ERROR_INVALID_PARAMETER
             : realFunction<decltype(&::MsiEnumRelatedProductsW)>(L"msi.dll", "MsiEnumRelatedProductsW")(
                   upgradeCode, reserved, index, productCode);
}

LINK_SEAM(int, GetSystemMetrics, (int index)) {
  return index == SM_CLEANBOOT ? cleanBoot
                               : realFunction<decltype(&::GetSystemMetrics)>(L"user32.dll", "GetSystemMetrics")(index);
}

// The order of the starts matters here, not what the programs do.
LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR,
           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process)) {
  if (!std::wstring_view(commandLine).ends_with(kEndOfTheRun)) {
    launched.push_back(commandLine);
  }
  std::wstring command = L"cmd.exe /C exit 1";
  return realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, command.data(), processSecurity, threadSecurity, inherit, flags, environment, nullptr, startup,
      process);
}

namespace {

constexpr char kPreUninstallStart[] =
    "DEBUG -----------Deletion of Preuninstall Registries Values Started-------------";
constexpr char kPreUninstallEnd[] = "DEBUG -----------Deletion of Preuninstall Registries Values Ended-------------";
constexpr char kStageStart[] = "DEBUG -----------Uninstalling Applications Started-------------";
constexpr char kStageEnd[] = "DEBUG -----------Uninstalling Applications Ended-------------";
constexpr wchar_t kControlPanel[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\LM";

class ApplicationStage : public testing::Test {
 protected:
  ApplicationStage() : session(::GetModuleHandleW(nullptr), arguments, SW_SHOW), data(*session.scrubListData) {
    session.switches.silent = true;
    cleanBoot = 0;
    launched.clear();
    removeKey(kControlPanel);
    plantKey(L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum\\PCI\\VEN_1234&DEV_0001");
  }

  void run() {
    const CapturedLog log;
    session.runCleanupSequence();
    lines = log.lines();
  }

  // The lines from one to another, both included.
  Lines between(const std::string& first, const std::string& last) const {
    const auto start = std::find(lines.begin(), lines.end(), first);
    const auto end = std::find(start, lines.end(), last);
    return end == lines.end() ? Lines() : Lines(start, end + 1);
  }

  void choose(const std::wstring& name, const std::wstring& upgradeCode) {
    data.InclusionApplications.push_back(name);
    data.ApplicationPackages.push_back(applicationWithRows(name));
    data.ApplicationPackages.back().UpgradeID = upgradeCode;
  }

  wchar_t arguments[1] = L"";
  CleanupSession session;
  ScrubListData& data;
  Lines lines;
};

}  // namespace

TEST_F(ApplicationStage, SelectionStandsBeforeTheEarlyRegistryStepAndTheListsBehindIt) {
  choose(L"Going", kNoCode);
  choose(L"Not installed", L"{30000000-0000-0000-0000-000000000001}");
  data.ApplicationPackages.push_back(applicationWithRows(L"Kept"));
  data.InclusionDrivers = {L"Driver"};
  data.DriverPackages = {driverWithRows(L"Driver")};
  data.InclusionUWP = {L"Maker.App*"};
  run();
  const auto early = std::find(lines.begin(), lines.end(), kPreUninstallStart);
  EXPECT_EQ(
      Lines(lines.begin(), early),
      (Lines{"DEBUG -----------Applications Eligible to Unistall-------------", "DEBUG Going", "DEBUG Not installed",
             "DEBUG Excluding:\tKept", "DEBUG -----------Drivers Eligible to Unistall-------------", "DEBUG Driver"}));
  const std::string commands = "DEBUG -----------Execution of Commands Started-------------";
  EXPECT_EQ(between(kPreUninstallEnd, commands),
            (Lines{kPreUninstallEnd, "DEBUG Application List to Uninstall:-------------", "DEBUG Going - {not a code}",
                   "DEBUG UWP Apps to Uninstall:-------------", "DEBUG Maker.App*", commands}));
}

TEST_F(ApplicationStage, StoreAppsFollowTheInstallerProductsInManifestOrder) {
  choose(L"Going", kNoCode);
  data.InclusionUWP = {L"Maker.Second*", L"Maker.First*"};
  run();
  EXPECT_EQ(between(kStageStart, kStageEnd),
            (Lines{kStageStart, "DEBUG Failed to uninstall\t:\tGoing\t:\t-1",
                   "DEBUG Attempting to uninstall ORV UWP Application",
                   "DEBUG Finished uninstalling ORV UWP Application: Maker.Second*",
                   "DEBUG Attempting to uninstall ORV UWP Application",
                   "DEBUG Finished uninstalling ORV UWP Application: Maker.First*", kStageEnd}));
  ASSERT_EQ(launched.size(), 3u);
  EXPECT_NE(launched[0].find(L"Maker.Second*"), std::wstring::npos);
  EXPECT_NE(launched[1].find(L"Maker.First*"), std::wstring::npos);
  EXPECT_EQ(launched[2], L"cmd.exe /C \"schtasks /Run /TN \"ORVScoSupportTypeUpdate\"\"");
}

TEST_F(ApplicationStage, SafeModeHasItsThreeServicesStartedBeforeTheFirstApplication) {
  cleanBoot = 1;
  choose(L"Going", kNoCode);
  run();
  EXPECT_EQ(between(kStageStart, kStageEnd),
            (Lines{kStageStart, "DEBUG ------------In Safe Mode, Starting MSI Server--------------",
                   "DEBUG ------------Starting msiservice successful--------------",
                   "DEBUG ------------In Safe Mode, Starting AppXSVC--------------",
                   "DEBUG ------------Starting AppXSVC successful--------------",
                   "DEBUG ------------In Safe Mode, Starting camsvc--------------",
                   "DEBUG ------------Starting camsvc successful--------------",
                   "DEBUG Failed to uninstall\t:\tGoing\t:\t-1", kStageEnd}));
  ASSERT_GE(launched.size(), 3u);
  EXPECT_TRUE(launched[0].ends_with(L"/C \"net start msiserver\""));
  EXPECT_TRUE(launched[1].ends_with(L"/C \"net start AppXSVC\""));
  EXPECT_TRUE(launched[2].ends_with(L"/C \"net start camsvc\""));
}

TEST_F(ApplicationStage, WithoutStoreAppsPowerShellIsNotStarted) {
  run();
  EXPECT_EQ(between(kStageStart, kStageEnd), (Lines{kStageStart, kStageEnd}));
  EXPECT_EQ(launched, (Names{L"cmd.exe /C \"schtasks /Run /TN \"ORVScoSupportTypeUpdate\"\""}));
}

TEST_F(ApplicationStage, TaskIsRunBetweenTheCollectorsAndTheRemovalOfTasks) {
  run();
  const std::string collected = "DEBUG -----------HandleScheduledTasks Getting all data-------------";
  const std::string stage = "DEBUG -----------Deletions of Scheduled Tasks Started-------------";
  EXPECT_EQ(between(collected, stage), (Lines{collected,
                                              "DEBUG Able to run ORVScoSupportTypeUpdate  : schtasks /Run /TN "
                                              "\"ORVScoSupportTypeUpdate\" ",
                                              stage}));
}

TEST_F(ApplicationStage, ApplicationThatStaysGivesWarningsAndIsTriedAgainAtTheEnd) {
  choose(L"Going", kNoCode);
  run();
  EXPECT_EQ(session.outcome, 0);
  EXPECT_EQ(namesOf(session.results.failedApplications), (Names{L"Going"}));
  EXPECT_EQ(namesOf(session.packages.eligibleApplications), (Names{L"Going"}));
  EXPECT_TRUE(session.results.removedApplications.empty());
  const std::string retry = "DEBUG -----------Retry of Failed of Applications---------------";
  const std::string retried = "DEBUG Uninstalled failed application\t:\tGoing\t:\t-1";
  EXPECT_EQ(between(retry, retried), (Lines{retry, retried}));
}

TEST_F(ApplicationStage, ApplicationThatIsNotInstalledIsNoFailure) {
  choose(L"Not installed", L"{30000000-0000-0000-0000-000000000001}");
  run();
  EXPECT_EQ(session.outcome, 1);
  EXPECT_TRUE(session.results.failedApplications.empty());
}

TEST_F(ApplicationStage, ProtectedApplicationKeepsItsRowsAlthoughOthersNameThem) {
  const TestFolder folder;
  const std::wstring keptFile = folder.makeFile(L"kept.dll");
  const std::wstring goneFile = folder.makeFile(L"gone.dll");
  const std::wstring inKeptDirectory = folder.makeFile(L"kept\\file.dll");
  const std::wstring keptKey = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Kept";
  const std::wstring goneKey = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Gone";
  plantDword(keptKey, L"Number", 7);
  plantKey(goneKey);
  ApplicationPackage kept;
  kept.Name = L"Kept";
  kept.Files = {keptFile};
  kept.Directories = {folder / L"kept"};
  kept.RegistryKeys = {keptKey};
  kept.Process = {L"kept.exe"};
  data.ApplicationPackages = {kept};
  data.Files = {keptFile, goneFile};
  data.Directories = {folder / L"kept"};
  data.RegistryKeys = {keptKey, goneKey};
  data.Process = {L"kept.exe", L"gone.exe"};
  run();
  EXPECT_TRUE(pathExists(keptFile));
  EXPECT_FALSE(pathExists(goneFile));
  EXPECT_TRUE(pathExists(inKeptDirectory));
  EXPECT_TRUE(valueExists(keptKey, L"Number"));
  EXPECT_FALSE(keyExists(goneKey));
  EXPECT_EQ(std::count(session.work.processes.begin(), session.work.processes.end(), L"kept.exe"), 0);
  EXPECT_EQ(std::count(session.work.processes.begin(), session.work.processes.end(), L"gone.exe"), 1);
  removeKey(keptKey);
}

TEST_F(ApplicationStage, ControlPanelVersionThatIsTooShortEndsTheSequence) {
  plantString(kControlPanel, L"LMVersion", L"21");
  const CapturedLog log;
  EXPECT_THROW(session.runCleanupSequence(), std::out_of_range);
  EXPECT_EQ(log.lines().back(), kPreUninstallEnd);
  EXPECT_TRUE(launched.empty());
  removeKey(kControlPanel);
}
