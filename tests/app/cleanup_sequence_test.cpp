// cleanup_sequence_test - the fixed order of the stages, and what the switches change in it.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <system_error>
#include <vector>

#include <windows.h>

#include "app/cleanup_session.h"
#include "support/captured_log.h"
#include "support/test_folder.h"
#include "support/test_registry.h"

namespace {

constexpr wchar_t kQbx[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\QBX";
constexpr wchar_t kAudio[] = L"HKEY_CURRENT_USER\\SOFTWARE\\ORV\\LM\\Audio";
constexpr wchar_t kInstall[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Install";
constexpr wchar_t kPackages[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Install\\Packages";
constexpr wchar_t kPciTree[] = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum\\PCI";
constexpr wchar_t kStaleService[] = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\orvstalg";
constexpr wchar_t kVulkanDrivers[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Khronos\\Vulkan\\Drivers";

class CleanupSequence : public testing::Test {
 protected:
  CleanupSequence() : session(::GetModuleHandleW(nullptr), arguments, SW_SHOW) { session.switches.silent = true; }

  void SetUp() override {
    session.quitRequested = false;
    driverFiles.clear();
    for (const wchar_t* key : {kQbx, kAudio, kInstall, kStaleService}) {
      removeKey(key);
    }
    plantKey(std::wstring(kPciTree) + L"\\VEN_1234&DEV_0001");
  }

  void run() {
    const CapturedLog log;
    session.runCleanupSequence();
    lines = log.lines();
  }

  // The lines that open and close stages, without the collectors' own.
  std::vector<std::string> stageLines() const {
    std::vector<std::string> result;
    for (const std::string& line : lines) {
      if (line.starts_with("DEBUG ------") && line.find("Getting") == std::string::npos) {
        result.push_back(line.substr(6));
      }
    }
    return result;
  }

  bool logged(const std::string& line) const { return std::find(lines.begin(), lines.end(), line) != lines.end(); }

  std::size_t positionOf(const std::string& line) const {
    return static_cast<std::size_t>(std::find(lines.begin(), lines.end(), line) - lines.begin());
  }

  wchar_t arguments[1] = L"";
  CleanupSession session;
  std::vector<std::string> lines;
};

}  // namespace

TEST_F(CleanupSequence, StagesStandInTheFixedOrder) {
  run();
  EXPECT_EQ(stageLines(), (std::vector<std::string>{
                              "-----------Applications Eligible to Unistall-------------",
                              "-----------Drivers Eligible to Unistall-------------",
                              "-----------Deletion of Preuninstall Registries Values Started-------------",
                              "-----------Deletion of Preuninstall Registries Values Ended-------------",
                              "-----------Execution of Commands Started-------------",
                              "-----------Execution of Commands Ended-------------",
                              "-----------Termination of Processes Started-------------",
                              "-----------Termination of Processes Ended-------------",
                              "-----------Stopping of Services Started-------------",
                              "-----------Stopping of Services Ended-------------",
                              "-----------Deleting cached Windows Update Drivers-------------",
                              "-----------Deleting cached Windows Update Drivers Ended-------------",
                              "-----------Deletion of Shortcuts Started-------------",
                              "-----------Deletion of Shortcuts Ended-------------",
                              "-----------Uninstalling Applications Started-------------",
                              "-----------Uninstalling Applications Ended-------------",
                              "-----------Uninstalling Drivers Started-------------",
                              "----------CleanDriverStore::Started-------------",
                              "----------CleanDriverStore::Ended-------------",
                              "-----------Deletion of Services Started-------------",
                              "-----------Deletion of Services Ended-------------",
                              "-----------Uninstalling Drivers Ended-------------",
                              "-----------Deletions of Scheduled Tasks Started-------------",
                              "-----------Deletions of Scheduled Tasks Ended-------------",
                              "-----------Deletion of Files Started-------------",
                              "-----------Deletion of Files Ended-------------",
                              "-----------Deletion of Driver Files Started-------------",
                              "-----------Deletion of Driver Files Ended-------------",
                              "-----------Deletion of Directories Started-------------",
                              "-----------Deletion of Directories Ended-------------",
                              "-----------Deletion of Registries Values Started-------------",
                              "-----------Deletion of Registries Values Ended-------------",
                              "-----------Deletion of Registries Keys Started-------------",
                              "-----------Deletion of Registries Keys Ended-------------",
                              "-----------Deletion of Previous Versions of Installer Started--------",
                              "-----------Deletion of Previous Versions of Installer Ended----------",
                              "-----------Failed Deletion of Driver Files ---------------",
                              "-----------Failed Deletion of Registry Keys---------------",  // of the user profiles
                              "-----------Failed Deletion of PreUninstall Registry Values---------------",
                              "-----------Failed Deletion of PreUninstall Registry Values---------------",
                          }));
}

TEST_F(CleanupSequence, EveryCollectorRunsJustBeforeItsStage) {
  run();
  const struct {
    const char* collector;
    const char* stage;
  } rows[] = {
      {"HandleCommands", "Execution of Commands Ended-------------"},
      {"HandleProcesses", "Termination of Processes Ended-------------"},
      {"HandleServices", "Stopping of Services Ended-------------"},
      {"HandleDirectories", "Deletions of Scheduled Tasks Started-------------"},
      {"HandleFiles", "Deletions of Scheduled Tasks Started-------------"},
      {"HandleScheduledTasks", "Deletions of Scheduled Tasks Started-------------"},
      {"HandleRegistries", "Deletion of Registries Values Started-------------"},
  };
  std::size_t last = 0;
  for (const auto& row : rows) {
    const std::size_t collected =
        positionOf(std::string("DEBUG -----------") + row.collector + " Getting all data-------------");
    const std::size_t staged = positionOf(std::string("DEBUG -----------") + row.stage);
    EXPECT_LT(last, collected) << row.collector;
    EXPECT_LT(collected, staged) << row.collector;
    last = collected;
  }
}

TEST_F(CleanupSequence, EmptyQbxKeyGoes) {
  plantDword(kQbx, L"UmaCarveoutModePreserved", 1);
  run();
  EXPECT_FALSE(keyExists(kQbx));
  EXPECT_TRUE(session.failures.failedPreUninstallRegistryValues.empty());
}

TEST_F(CleanupSequence, QbxKeyWithAnotherValueStaysWithoutTheCarveoutValue) {
  plantDword(kQbx, L"UmaCarveoutModePreserved", 1);
  plantDword(kQbx, L"Other", 2);
  run();
  EXPECT_FALSE(valueExists(kQbx, L"UmaCarveoutModePreserved"));
  EXPECT_EQ(readDword(kQbx, L"Other"), 2u);
}

TEST_F(CleanupSequence, QbxKeyWithASubkeyStays) {
  plantKey(std::wstring(kQbx) + L"\\Other");
  run();
  EXPECT_TRUE(keyExists(std::wstring(kQbx) + L"\\Other"));
}

TEST_F(CleanupSequence, AudioKeyAlwaysGoesWithWhateverItHolds) {
  plantDword(kAudio, L"Volume", 11);
  plantDword(std::wstring(kAudio) + L"\\Profiles\\Night", L"Volume", 2);
  run();
  EXPECT_FALSE(keyExists(kAudio));
}

TEST_F(CleanupSequence, MissingEarlyKeysAreListedAsFailed) {
  run();
  EXPECT_EQ(session.failures.failedPreUninstallRegistryValues,
            (std::vector<std::wstring>{L"HKEY_LOCAL_MACHINE\\SOFTWARE\\QBX\\UmaCarveoutModePreserved"}));
  EXPECT_EQ(session.failures.failedPreUninstallRegistryKeys, (std::vector<std::wstring>{kQbx, kAudio}));
}

TEST_F(CleanupSequence, FactoryResetLeavesStaleDisplayServiceKeysAlone) {
  plantKey(kStaleService);
  session.switches.factoryReset = true;
  run();
  EXPECT_TRUE(keyExists(kStaleService));

  session.switches.factoryReset = false;
  run();
  EXPECT_FALSE(keyExists(kStaleService));
}

TEST_F(CleanupSequence, GpuKeepsTheInstalledPackagesKeyAndLogsThePairs) {
  plantDword(std::wstring(kPackages) + L"\\Card", L"Version", 1);
  plantKey(std::wstring(kInstall) + L"\\Other");
  session.scrubListData->RegistryKeys = {kInstall};
  session.switches.gpuExclusion.excludeGpus = true;
  session.switches.gpuExclusion.gpus = {{L"A", L"B"}, {L"C", L"D"}};
  run();
  EXPECT_EQ(readDword(std::wstring(kPackages) + L"\\Card", L"Version"), 1u);
  EXPECT_FALSE(keyExists(std::wstring(kInstall) + L"\\Other"));
  const std::size_t header = positionOf("DEBUG -----------Excluding GPU's-------------");
  ASSERT_LT(header + 2, lines.size());
  EXPECT_EQ(lines[header + 1], "DEBUG A-B");
  EXPECT_EQ(lines[header + 2], "DEBUG C-D");
}

TEST_F(CleanupSequence, WithoutGpuThePackagesKeyGoes) {
  plantDword(std::wstring(kPackages) + L"\\Card", L"Version", 1);
  session.scrubListData->RegistryKeys = {kInstall};
  run();
  EXPECT_FALSE(keyExists(kInstall));
}

TEST_F(CleanupSequence, SaveOrvKeepsTheInstallManagersFolderWithAllItHolds) {
  for (const wchar_t* end : {L"", L"\\"}) {
    const TestFolder folder;
    const std::wstring kept = folder.makeFile(L"ORV\\PKM\\Config\\manager.json");
    const std::wstring gone = folder.makeFile(L"ORV\\Other\\tool.exe");
    plantString(kInstall, L"InstallDir", folder / L"ORV\\PKM" + end);
    CleanupSession run(::GetModuleHandleW(nullptr), arguments, SW_SHOW);
    run.switches.silent = true;
    run.switches.removeInstallManager = false;
    run.scrubListData->Directories = {folder / L"ORV"};
    run.runCleanupSequence();
    EXPECT_TRUE(pathExists(kept)) << end;
    EXPECT_FALSE(pathExists(gone)) << end;
    EXPECT_EQ(std::count(run.work.directories.begin(), run.work.directories.end(), folder / L"ORV\\PKM"), 0);
  }
}

TEST_F(CleanupSequence, SaveOrvWithoutAnInstallFolderProtectsTheUsualOne) {
  session.switches.removeInstallManager = false;
  run();
  EXPECT_EQ(session.exclusions.excludedDirectories, (std::vector<std::wstring>{L"C:\\Program Files\\ORV\\PKM"}));
}

TEST_F(CleanupSequence, VulkanEntriesThatTheFirstPassSkipsGoInTheSecond) {
  removeKey(kVulkanDrivers);
  for (const wchar_t* name : {L"C:\\a\\orv-vulkan64.json", L"C:\\b\\orv-vulkan64.json", L"C:\\c\\other.json"}) {
    plantDword(kVulkanDrivers, name, 0);
  }
  run();
  EXPECT_FALSE(valueExists(kVulkanDrivers, L"C:\\a\\orv-vulkan64.json"));
  EXPECT_FALSE(valueExists(kVulkanDrivers, L"C:\\b\\orv-vulkan64.json"));
  EXPECT_TRUE(valueExists(kVulkanDrivers, L"C:\\c\\other.json"));
}

TEST_F(CleanupSequence, FactoryResetFailsFilesInUseAndStillMarksDriverFiles) {
  const TestFolder folder;
  const std::wstring file = folder.makeFile(L"library.dll");
  const std::wstring driverFile = folder.makeFile(L"driver.sys");
  session.scrubListData->Files = {file};
  driverFiles = {driverFile};
  session.switches.factoryReset = true;
  {
    const FileHandle lock = lockFile(file);
    const FileHandle driverLock = lockFile(driverFile);
    run();
  }
  EXPECT_EQ(session.failures.failedFiles, (std::vector<std::wstring>{file}));
  EXPECT_TRUE(session.failures.failedDriverFiles.empty());
  const std::vector<std::wstring> pending = pendingDeletions();
  EXPECT_EQ(std::count(pending.begin(), pending.end(), file), 0);
  EXPECT_EQ(std::count(pending.begin(), pending.end(), driverFile), 1);
}

TEST_F(CleanupSequence, TopKeyGoesOnlyWhenNoKeyIsLeftInIt) {
  const std::wstring top = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV";
  removeKey(top);
  plantDword(top, L"Left", 1);
  plantKey(top + L"\\Listed");
  plantKey(top + L"\\Other");
  session.scrubListData->RegistryKeys = {top + L"\\Listed"};
  session.scrubListData->RegistryKeysEmpty = {top};
  run();
  EXPECT_TRUE(keyExists(top + L"\\Other"));
  EXPECT_FALSE(keyExists(top + L"\\Listed"));
  EXPECT_TRUE(logged("DEBUG -----------Skipping Registry key -- " + std::string("HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV") +
                     " -- as it contains other registries-------------"));

  removeKey(top + L"\\Other");
  run();
  EXPECT_FALSE(keyExists(top));
}

TEST_F(CleanupSequence, ExceptionOfAStageLeavesTheRestUndone) {
  const TestFolder folder;
  const std::wstring file = folder.makeFile(L"library.dll");
  const std::wstring driverFile = folder.makeFile(L"driver.sys");
  const std::wstring inDirectory = folder.makeFile(L"ORV\\tool.exe");
  plantDword(kQbx, L"UmaCarveoutModePreserved", 1);
  plantDword(kInstall, L"Version", 1);
  plantKey(std::wstring(kInstall) + L"\\Other");
  plantDword(kVulkanDrivers, L"C:\\a\\orv-vulkan64.json", 0);
  plantKey(kStaleService);
  session.scrubListData->Files = {file};
  session.scrubListData->Directories = {folder / L"ORV"};
  session.scrubListData->RegistryValues = {std::wstring(kInstall) + L"\\Version"};
  session.scrubListData->RegistryKeys = {std::wstring(kInstall) + L"\\Other"};
  driverFiles = {driverFile};
  removeKey(kPciTree);

  const CapturedLog log;
  EXPECT_THROW(session.runCleanupSequence(), std::system_error);
  lines = log.lines();

  // What came before it is done.
  EXPECT_FALSE(keyExists(kQbx));
  ASSERT_FALSE(stageLines().empty());
  EXPECT_EQ(stageLines().back(), "-----------Stopping of Services Started-------------");
  // Nothing behind it is, up to the end of the run.
  EXPECT_TRUE(keyExists(kStaleService));
  EXPECT_TRUE(pathExists(file));
  EXPECT_TRUE(pathExists(driverFile));
  EXPECT_TRUE(pathExists(inDirectory));
  EXPECT_EQ(readDword(kInstall, L"Version"), 1u);
  EXPECT_TRUE(keyExists(std::wstring(kInstall) + L"\\Other"));
  EXPECT_TRUE(valueExists(kVulkanDrivers, L"C:\\a\\orv-vulkan64.json"));
  EXPECT_FALSE(logged("DEBUG -----------Failed Deletion of Driver Files ---------------"));
  EXPECT_FALSE(session.quitRequested);

  // Without the exception all of it goes.
  plantKey(std::wstring(kPciTree) + L"\\VEN_1234&DEV_0001");
  run();
  EXPECT_FALSE(keyExists(kStaleService));
  EXPECT_FALSE(pathExists(file));
  EXPECT_FALSE(pathExists(driverFile));
  EXPECT_FALSE(pathExists(inDirectory));
  EXPECT_FALSE(valueExists(kInstall, L"Version"));
  EXPECT_FALSE(keyExists(std::wstring(kInstall) + L"\\Other"));
  EXPECT_FALSE(valueExists(kVulkanDrivers, L"C:\\a\\orv-vulkan64.json"));
  EXPECT_TRUE(logged("DEBUG -----------Failed Deletion of Driver Files ---------------"));
}

TEST_F(CleanupSequence, WhatCannotBeDoneStandsOnTheListOfItsKind) {
  const std::wstring key = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\OrvTest missing";
  ScrubListData& data = *session.scrubListData;
  data.Services = {L"OrvMissingService"};
  data.Shortcuts = {L"OrvMissing\\Missing.lnk"};
  data.RegistryValues = {key + L"\\Value"};
  data.RegistryKeys = {key};
  run();
  EXPECT_EQ(session.failures.failedServices, data.Services);
  EXPECT_EQ(session.failures.failedShortcuts, data.Shortcuts);
  EXPECT_EQ(session.failures.failedRegistryValues, data.RegistryValues);
  ASSERT_FALSE(session.failures.failedRegistryKeys.empty());
  EXPECT_EQ(session.failures.failedRegistryKeys.back(), key) << "behind those of the user profiles";
}
