// cleanup_sequence - the one ordered pass over the machine, from the user's consent to the end of the run. It holds no
// removal of its own: it fixes the order, the list that each stage is given, and the lines between them. The order is
// the design: processes before services, applications before drivers, drivers before their files, files before
// directories, registry values before keys.

#include <memory>

#include <windows.h>

#include "app/cleanup_session.h"
#include "app/restore_point.h"
#include "app/vulkan_entries.h"
#include "applications/store_apps.h"
#include "applications/uninstall_runner.h"
#include "manifest/collectors.h"
#include "manifest/path_expansion.h"
#include "manifest/tracker_commands.h"
#include "resources/resource_ids.h"
#include "system/action_dispatcher.h"
#include "system/depth_order.h"
#include "system/log.h"
#include "system/previous_installers.h"
#include "system/registry_walk.h"
#include "system/safe_boot.h"
#include "system/services.h"
#include "system/windows_update.h"
#include "ui/localised_strings.h"
#include "ui/splash_window.h"

namespace {

constexpr wchar_t kCarveoutValue[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\QBX\\UmaCarveoutModePreserved";
constexpr wchar_t kCarveoutKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\QBX";
constexpr wchar_t kAudioKey[] = L"HKEY_CURRENT_USER\\SOFTWARE\\ORV\\LM\\Audio";
// What the installer must find again for the graphics devices that are kept.
constexpr wchar_t kInstalledPackagesKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Install\\Packages";
constexpr wchar_t kInstallManagerFolder[] = L"C:\\Program Files\\ORV\\PKM";

}  // namespace

void CleanupSession::runCleanupSequence() {
  if (!confirmWithUser()) {
    quitRequested = 1;
    return;
  }
  // Closed at the end of the sequence, when the finish dialog is there already.
  std::unique_ptr<SplashWindow> splash;
  if (!silent) {
    splash = std::make_unique<SplashWindow>(IDD_SPLASH, this);
  }
  createRestorePoint();
  if (cleanupEnabled) {
    runMainPass();
  }
}

bool CleanupSession::confirmWithUser() {
  return silent ||
         ::MessageBoxW(nullptr,
                       userText(kCaptionConsent,
                                L"This process will remove ORV drivers and applications such as graphics "
                                L"drivers, audio drivers, and ORV Software. This process will not remove or "
                                L"modify ORV chipset drivers.")
                           .c_str(),
                       userText(kCaptionTitle, kDefaultTitle).c_str(), MB_OKCANCEL | MB_ICONINFORMATION) == IDOK;
}

void CleanupSession::runMainPass() {
  selectEligibleApplications();
  selectEligibleDrivers();
  preUninstallRegistryStage();
  filterInstalledApplications();
  commandStage();
  processStage();
  serviceStage();
  cachedDriverStage();
  shortcutStage();
  applicationStage();
  driverStage();
  protectInstallManager();
  collectDirectoriesFilesAndTasks();
  scheduledTaskStage();
  fileStage();
  driverFileStage();
  directoryStage();
  HandleRegistries(*this);
  registryValueStage();
  registryKeyStage();
  previousInstallerStage();
  finishRun();
}

void CleanupSession::preUninstallRegistryStage() {
  LogDebug(L"-----------Deletion of Preuninstall Registries Values Started-------------");
  ExecuteActions(ActionKind::RegistryValueDelete, {kCarveoutValue}, failedPreUninstallRegistryValues, false);

  // This key goes only when nothing is left in it.
  std::vector<std::wstring> keys = {kCarveoutKey};
  std::vector<std::wstring> values;
  getRegistryKeysValuesRecursively(keys, values);
  if (keys.size() == 1 && values.empty()) {
    ExecuteActions(ActionKind::RegistryKeyDelete, keys, failedPreUninstallRegistryKeys, false);
  }

  // This one goes with whatever it holds, so the keys below it go first.
  keys = {kAudioKey};
  getRegistryKeysValuesRecursively(keys, values);
  SortByDepth(keys);
  ExecuteActions(ActionKind::RegistryKeyDelete, keys, failedPreUninstallRegistryKeys, false);
  LogDebug(L"-----------Deletion of Preuninstall Registries Values Ended-------------");
}

void CleanupSession::commandStage() {
  LogDebug(L"-----------Execution of Commands Started-------------");
  HandleCommands(*this);
  handlePKMTrackerBinaries(commands);
  LogDebug(L"-----------Execution of Commands Ended-------------");
}

void CleanupSession::processStage() {
  LogDebug(L"-----------Termination of Processes Started-------------");
  HandleProcesses(*this);
  ExecuteActions(ActionKind::ProcessKill, processes, failedProcesses, false);
  LogDebug(L"-----------Termination of Processes Ended-------------");
}

void CleanupSession::serviceStage() {
  LogDebug(L"-----------Stopping of Services Started-------------");
  HandleServices(*this);
  if (!factoryReset) {
    DeleteStaleDisplayServiceKeys();
  }
  ExecuteActions(ActionKind::ServiceStop, services, failedServices, false);
  LogDebug(L"-----------Stopping of Services Ended-------------");
}

void CleanupSession::cachedDriverStage() {
  LogDebug(L"-----------Deleting cached Windows Update Drivers-------------");
  DeleteCachedWindowsUpdateDrivers();
  LogDebug(L"-----------Deleting cached Windows Update Drivers Ended-------------");
}

void CleanupSession::shortcutStage() {
  LogDebug(L"-----------Deletion of Shortcuts Started-------------");
  HandleShortcuts(*this);
  ExecuteActions(ActionKind::ShortcutDelete, shortcuts, failedShortcuts, false);
  LogDebug(L"-----------Deletion of Shortcuts Ended-------------");
}

void CleanupSession::applicationStage() {
  LogDebug(L"-----------Uninstalling Applications Started-------------");
  StartMsiServerInSafeMode();
  StartAppXSvcInSafeMode();
  StartCamSvcInSafeMode();
  UninstallApplications(eligibleApplications, failedApplications, removedApplications);
  for (const std::wstring& pattern : scrubListData->InclusionUWP) {
    RemoveStoreApp(pattern);
  }
  LogDebug(L"-----------Uninstalling Applications Ended-------------");
}

void CleanupSession::driverStage() {
  LogDebug(L"-----------Uninstalling Drivers Started-------------");
  if (gpuExclusion.excludeGpus) {
    LogDebug(L"-----------Excluding GPU's-------------");
    for (const GraphicsDevice& gpu : gpuExclusion.gpus) {
      LogDebug(L"%s-%s", gpu.vendor.c_str(), gpu.device.c_str());
    }
    excludedRegistryKeys.emplace_back(kInstalledPackagesKey);
  }
  deviceUninstaller.RemoveDrivers(eligibleDrivers, failedDrivers, removedDrivers, gpuExclusion, factoryReset);
  // From here on the list holds every driver that was acted on, and only those leave files and keys to collect.
  eligibleDrivers = removedDrivers;
  eligibleDrivers.insert(eligibleDrivers.end(), failedDrivers.begin(), failedDrivers.end());
  LogDebug(L"-----------Deletion of Services Started-------------");
  SystemOperation::delORVServices(services);
  LogDebug(L"-----------Deletion of Services Ended-------------");
  LogDebug(L"-----------Uninstalling Drivers Ended-------------");
}

void CleanupSession::protectInstallManager() {
  if (removeInstallManager) {
    return;
  }
  std::wstring folder;
  if (!getInstallDirValue(folder) || folder.empty()) {
    folder = kInstallManagerFolder;
  }
  excludedDirectories.push_back(folder);
  // Rows are compared as they are spelled, and the work rows have no backslash at their end.
  if (const std::size_t end = folder.find_last_not_of(L'\\'); end + 1 < folder.size()) {
    excludedDirectories.push_back(folder.substr(0, end + 1));
  }
}

void CleanupSession::collectDirectoriesFilesAndTasks() {
  HandleDirectories(*this);
  HandleFiles(*this);
  HandleScheduledTasks(*this);
}

void CleanupSession::scheduledTaskStage() {
  RunSupportTypeUpdateTask();
  LogDebug(L"-----------Deletions of Scheduled Tasks Started-------------");
  ExecuteActions(ActionKind::ScheduledTask, scheduledTasks, failedScheduledTasks, false);
  LogDebug(L"-----------Deletions of Scheduled Tasks Ended-------------");
}

void CleanupSession::fileStage() {
  LogDebug(L"-----------Deletion of Files Started-------------");
  SortByDepth(files);
  ExecuteActions(ActionKind::FileDelete, files, failedFiles, factoryReset);
  removeVulkanEntries(vulkanRegistryValues, vulkanFiles);
  LogDebug(L"-----------Deletion of Files Ended-------------");
}

void CleanupSession::driverFileStage() {
  LogDebug(L"-----------Deletion of Driver Files Started-------------");
  SortByDepth(driverFiles);
  ExecuteActions(ActionKind::FileDelete, driverFiles, failedDriverFiles, false, AskWindows::AboutEachFile);
  // The second time: the first one passes over every value behind a deleted one.
  removeVulkanEntries(vulkanRegistryValues, vulkanFiles);
  LogDebug(L"-----------Deletion of Driver Files Ended-------------");
}

void CleanupSession::directoryStage() {
  LogDebug(L"-----------Deletion of Directories Started-------------");
  SortByDepth(directories);
  SortByDepth(directoriesForce);
  ExecuteActions(ActionKind::DirectoryDelete, directories, failedDirectories, false);
  ExecuteActions(ActionKind::DirectoryDelete, directoriesForce, failedDirectories, false);
  LogDebug(L"-----------Deletion of Directories Ended-------------");
}

void CleanupSession::registryValueStage() {
  LogDebug(L"-----------Deletion of Registries Values Started-------------");
  SortByDepth(registryValues);
  ExecuteActions(ActionKind::RegistryValueDelete, registryValues, failedRegistryValues, false);
  LogDebug(L"-----------Deletion of Registries Values Ended-------------");
}

void CleanupSession::registryKeyStage() {
  LogDebug(L"-----------Deletion of Registries Keys Started-------------");
  SortByDepth(registryKeys);
  ExecuteActions(ActionKind::RegistryKeyDelete, registryKeys, failedRegistryKeys, false);
  SortByDepth(registryKeysEmpty);
  SkipKeysWithChildren(registryKeysEmpty);
  ExecuteActions(ActionKind::RegistryKeyEmptyDelete, registryKeysEmpty, failedRegistryKeys, false);
  LogDebug(L"-----------Deletion of Registries Keys Ended-------------");
}

void CleanupSession::previousInstallerStage() {
  LogDebug(L"-----------Deletion of Previous Versions of Installer Started--------");
  RemovePreviousInstallers();
  LogDebug(L"-----------Deletion of Previous Versions of Installer Ended----------");
}
