// cleanup_sequence - the one pass over the machine, from the user's consent to the end of the run. It removes nothing
// itself: it fixes the order of the stages, the list that each one works on, and the log lines around it. The order
// matters: processes go before services, applications before drivers, drivers before their files, files before
// directories, registry values before keys.

#include <memory>
#include <utility>

#include <windows.h>

#include "app/cleanup_session.h"
#include "app/install_manager.h"
#include "app/package_selection.h"
#include "app/restore_point.h"
#include "app/tracker_commands.h"
#include "app/vulkan_entries.h"
#include "applications/store_apps.h"
#include "applications/support_type_task.h"
#include "applications/uninstall_runner.h"
#include "manifest/collectors.h"
#include "resources/resource_ids.h"
#include "system/action_dispatcher.h"
#include "system/depth_order.h"
#include "system/log.h"
#include "system/previous_installers_removal.h"
#include "system/registry_walk.h"
#include "system/safe_boot.h"
#include "system/services.h"
#include "system/update_cache_removal.h"
#include "ui/localised_strings.h"
#include "ui/splash_window.h"

namespace {

constexpr wchar_t kCarveoutValue[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\QBX\\UmaCarveoutModePreserved";
constexpr wchar_t kCarveoutKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\QBX";
constexpr wchar_t kAudioKey[] = L"HKEY_CURRENT_USER\\SOFTWARE\\ORV\\LM\\Audio";
// The installer still needs this key for the graphics devices that are kept.
constexpr wchar_t kInstalledPackagesKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Install\\Packages";

bool askForConsent() {
  return ::MessageBoxW(nullptr,
                       userText(kCaptionConsent,
                                L"This process will remove ORV drivers and applications such as graphics "
                                L"drivers, audio drivers, and ORV Software. This process will not remove or "
                                L"modify ORV chipset drivers.")
                           .c_str(),
                       userText(kCaptionTitle, kDefaultTitle).c_str(), MB_OKCANCEL | MB_ICONINFORMATION) == IDOK;
}

CollectorSources sourcesOf(const CleanupSession& session) {
  return {*session.scrubListData, session.packages};
}

// The stages, in the order of the main pass.

void preUninstallRegistryStage(CleanupSession& session) {
  LogDebug(L"-----------Deletion of Preuninstall Registries Values Started-------------");
  ExecuteActions(ActionKind::RegistryValueDelete, {kCarveoutValue}, session.failures.failedPreUninstallRegistryValues,
                 false);

  // This key goes only when nothing is left in it.
  std::vector<std::wstring> keys = {kCarveoutKey};
  std::vector<std::wstring> values;
  getRegistryKeysValuesRecursively(keys, values);
  if (keys.size() == 1 && values.empty()) {
    ExecuteActions(ActionKind::RegistryKeyDelete, keys, session.failures.failedPreUninstallRegistryKeys, false);
  }

  // This one goes with everything in it, so the keys below it go first.
  keys = {kAudioKey};
  getRegistryKeysValuesRecursively(keys, values);
  SortByDepth(keys);
  ExecuteActions(ActionKind::RegistryKeyDelete, keys, session.failures.failedPreUninstallRegistryKeys, false);
  LogDebug(L"-----------Deletion of Preuninstall Registries Values Ended-------------");
}

void commandStage(CleanupSession& session) {
  LogDebug(L"-----------Execution of Commands Started-------------");
  HandleCommands(sourcesOf(session), session.work);
  handlePKMTrackerBinaries(session.work.commands);
  LogDebug(L"-----------Execution of Commands Ended-------------");
}

void processStage(CleanupSession& session) {
  LogDebug(L"-----------Termination of Processes Started-------------");
  HandleProcesses(sourcesOf(session), session.work, session.exclusions);
  ExecuteActions(ActionKind::ProcessKill, session.work.processes, session.failures.failedProcesses, false);
  LogDebug(L"-----------Termination of Processes Ended-------------");
}

void serviceStage(CleanupSession& session) {
  LogDebug(L"-----------Stopping of Services Started-------------");
  HandleServices(sourcesOf(session), session.work, session.exclusions);
  if (!session.switches.factoryReset) {
    DeleteStaleDisplayServiceKeys(PlanStaleDisplayServices(FindDisplayServices()));
  }
  ExecuteActions(ActionKind::ServiceStop, session.work.services, session.failures.failedServices, false);
  LogDebug(L"-----------Stopping of Services Ended-------------");
}

void cachedDriverStage() {
  LogDebug(L"-----------Deleting cached Windows Update Drivers-------------");
  DeleteCachedWindowsUpdateDrivers();
  LogDebug(L"-----------Deleting cached Windows Update Drivers Ended-------------");
}

void shortcutStage(CleanupSession& session) {
  LogDebug(L"-----------Deletion of Shortcuts Started-------------");
  HandleShortcuts(sourcesOf(session), session.work);
  ExecuteActions(ActionKind::ShortcutDelete, session.work.shortcuts, session.failures.failedShortcuts, false);
  LogDebug(L"-----------Deletion of Shortcuts Ended-------------");
}

void applicationStage(CleanupSession& session) {
  LogDebug(L"-----------Uninstalling Applications Started-------------");
  StartMsiServerInSafeMode();
  StartAppXSvcInSafeMode();
  StartCamSvcInSafeMode();
  UninstallApplications(session.packages.eligibleApplications, session.results.failedApplications,
                        session.results.removedApplications);
  for (const std::wstring& pattern : session.scrubListData->InclusionUWP) {
    RemoveStoreApp(pattern);
  }
  LogDebug(L"-----------Uninstalling Applications Ended-------------");
}

void driverStage(CleanupSession& session) {
  LogDebug(L"-----------Uninstalling Drivers Started-------------");
  const GpuExclusion& gpuExclusion = session.switches.gpuExclusion;
  if (gpuExclusion.excludeGpus) {
    LogDebug(L"-----------Excluding GPU's-------------");
    for (const GraphicsDevice& gpu : gpuExclusion.gpus) {
      LogDebug(L"%s-%s", gpu.vendor.c_str(), gpu.device.c_str());
    }
    session.exclusions.excludedRegistryKeys.emplace_back(kInstalledPackagesKey);
  }
  std::vector<DriverPackage>& drivers = session.packages.eligibleDrivers;
  PackageResults& results = session.results;
  session.deviceUninstaller.RemoveDrivers(drivers, results.failedDrivers, results.removedDrivers, gpuExclusion,
                                          session.switches.factoryReset);
  // From here on the list holds only the drivers that were dealt with: the collectors take files and keys from those
  // alone.
  drivers = results.removedDrivers;
  drivers.insert(drivers.end(), results.failedDrivers.begin(), results.failedDrivers.end());
  LogDebug(L"-----------Deletion of Services Started-------------");
  SystemOperation::delORVServices(session.work.services);
  LogDebug(L"-----------Deletion of Services Ended-------------");
  LogDebug(L"-----------Uninstalling Drivers Ended-------------");
}

void protectInstallManager(CleanupSession& session) {
  if (session.switches.removeInstallManager) {
    return;
  }
  for (std::wstring& row : PlanProtectedFolder(FindInstallManagerFolder())) {
    session.exclusions.excludedDirectories.push_back(std::move(row));
  }
}

void collectDirectoriesFilesAndTasks(CleanupSession& session) {
  HandleDirectories(sourcesOf(session), session.work, session.exclusions);
  HandleFiles(sourcesOf(session), session.work, session.exclusions, session.failures.failedFiles);
  HandleScheduledTasks(sourcesOf(session), session.work, session.exclusions);
}

void scheduledTaskStage(CleanupSession& session) {
  RunSupportTypeUpdateTask();
  LogDebug(L"-----------Deletions of Scheduled Tasks Started-------------");
  ExecuteActions(ActionKind::ScheduledTask, session.work.scheduledTasks, session.failures.failedScheduledTasks, false);
  LogDebug(L"-----------Deletions of Scheduled Tasks Ended-------------");
}

void fileStage(CleanupSession& session) {
  LogDebug(L"-----------Deletion of Files Started-------------");
  SortByDepth(session.work.files);
  ExecuteActions(ActionKind::FileDelete, session.work.files, session.failures.failedFiles,
                 session.switches.factoryReset);
  removeVulkanEntries(session.vulkan.vulkanRegistryValues, session.vulkan.vulkanFiles);
  LogDebug(L"-----------Deletion of Files Ended-------------");
}

void driverFileStage(CleanupSession& session) {
  LogDebug(L"-----------Deletion of Driver Files Started-------------");
  SortByDepth(driverFiles);
  ExecuteActions(ActionKind::FileDelete, driverFiles, session.failures.failedDriverFiles, false,
                 AskWindows::AboutEachFile);
  // A second time: the first pass skips the value that follows each deleted one.
  removeVulkanEntries(session.vulkan.vulkanRegistryValues, session.vulkan.vulkanFiles);
  LogDebug(L"-----------Deletion of Driver Files Ended-------------");
}

void directoryStage(CleanupSession& session) {
  LogDebug(L"-----------Deletion of Directories Started-------------");
  SortByDepth(session.work.directories);
  SortByDepth(session.work.directoriesForce);
  ExecuteActions(ActionKind::DirectoryDelete, session.work.directories, session.failures.failedDirectories, false);
  ExecuteActions(ActionKind::DirectoryDelete, session.work.directoriesForce, session.failures.failedDirectories, false);
  LogDebug(L"-----------Deletion of Directories Ended-------------");
}

void registryValueStage(CleanupSession& session) {
  LogDebug(L"-----------Deletion of Registries Values Started-------------");
  SortByDepth(session.work.registryValues);
  ExecuteActions(ActionKind::RegistryValueDelete, session.work.registryValues, session.failures.failedRegistryValues,
                 false);
  LogDebug(L"-----------Deletion of Registries Values Ended-------------");
}

void registryKeyStage(CleanupSession& session) {
  LogDebug(L"-----------Deletion of Registries Keys Started-------------");
  SortByDepth(session.work.registryKeys);
  ExecuteActions(ActionKind::RegistryKeyDelete, session.work.registryKeys, session.failures.failedRegistryKeys, false);
  SortByDepth(session.work.registryKeysEmpty);
  SkipKeysWithChildren(session.work.registryKeysEmpty);
  ExecuteActions(ActionKind::RegistryKeyEmptyDelete, session.work.registryKeysEmpty,
                 session.failures.failedRegistryKeys, false);
  LogDebug(L"-----------Deletion of Registries Keys Ended-------------");
}

void previousInstallerStage() {
  LogDebug(L"-----------Deletion of Previous Versions of Installer Started--------");
  RemovePreviousInstallers(PlanPreviousInstallers(FindPreviousInstallers()));
  LogDebug(L"-----------Deletion of Previous Versions of Installer Ended----------");
}

void runMainPass(CleanupSession& session) {
  ScrubListData& data = *session.scrubListData;
  selectEligibleApplications(data, session.packages, session.exclusions);
  selectEligibleDrivers(data, session.packages, session.exclusions);
  preUninstallRegistryStage(session);
  filterInstalledApplications(data, session.packages);
  commandStage(session);
  processStage(session);
  serviceStage(session);
  cachedDriverStage();
  shortcutStage(session);
  applicationStage(session);
  driverStage(session);
  protectInstallManager(session);
  collectDirectoriesFilesAndTasks(session);
  scheduledTaskStage(session);
  fileStage(session);
  driverFileStage(session);
  directoryStage(session);
  HandleRegistries(sourcesOf(session), session.work, session.exclusions);
  registryValueStage(session);
  registryKeyStage(session);
  previousInstallerStage();
  session.finishRun();
}

}  // namespace

void CleanupSession::runCleanupSequence() {
  if (!switches.silent && !askForConsent()) {
    quitRequested = true;
    return;
  }
  // Closed when the sequence returns; the finish dialog is open by then.
  std::unique_ptr<SplashWindow> splash;
  if (!switches.silent) {
    splash = std::make_unique<SplashWindow>(IDD_SPLASH, &userText);
  }
  createRestorePoint();
  if (cleanupEnabled) {
    runMainPass(*this);
  }
}
