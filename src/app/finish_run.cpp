#include "app/finish_run.h"

#include <string>
#include <unordered_set>

#include <windows.h>

#include "app/cleanup_session.h"
#include "app/machine_restart.h"
#include "app/safe_mode_restart.h"
#include "applications/uninstall_runner.h"
#include "manifest/path_expansion.h"
#include "report/removal_report.h"
#include "system/file_operations.h"
#include "system/log.h"
#include "system/log_file.h"
#include "system/long_path.h"
#include "system/temporary_folder.h"
#include "ui/finish_dialog.h"
#include "ui/localised_strings.h"

namespace {

constexpr std::int32_t kSuccess = 1;
constexpr std::int32_t kWarnings = 0;
constexpr std::int32_t kFailure = -1;

// Applications that the retry removes move to the removed ones, in the order of the list.
void retryFailedApplications(PackageResults& results) {
  if (results.failedApplications.empty()) {
    return;
  }
  LogDebug(L"-----------Retry of Failed of Applications---------------");
  RetryFailedApplications(results.failedApplications);
  std::erase_if(results.failedApplications, [&results](const ApplicationPackage& application) {
    if (application.UninstallResult != ERROR_SUCCESS) {
      return false;
    }
    results.removedApplications.push_back(application);
    return true;
  });
}

void logFailedDrivers(const std::vector<DriverPackage>& drivers) {
  if (drivers.empty()) {
    return;
  }
  LogDebug(L"-----------Failed Deletions of Drivers---------------");
  for (const DriverPackage& package : drivers) {
    LogDebug(L"%s", package.Name.c_str());
  }
}

void deleteExtractedManifest(const std::wstring& path) {
  const std::wstring systemPath = toSystemPath(path);
  if (::DeleteFileW(systemPath.c_str())) {
    return;
  }
  if (clearReadOnly(systemPath) && !::DeleteFileW(systemPath.c_str())) {
    ::MoveFileExW(systemPath.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
  }
}

// Without a temporary folder there is no manifest to delete and nowhere to put a report.
void leaveReport(EligiblePackages& packages, PackageResults& results) {
  const std::wstring temp = temporaryFolder();
  if (temp.empty()) {
    return;
  }
  deleteExtractedManifest(temp + L"CleanUp\\ScrubList.JSON");
  removeRepeatedNames(packages.eligibleDrivers);
  removeRepeatedNames(results.removedDrivers);
  removeRepeatedNames(results.failedDrivers);
  writeRemovalReport(temp + L"CleanUp", L"uninst", packages, results);
}

// The install manager, whose folder a factory reset keeps, reads the log there.
void copyLogToInstallManager() {
  const std::wstring target = getOsRootDrive() + L"Program Files\\ORV\\PKM\\Log\\ORVCleanup.log";
  if (!::CopyFileW(Logger::GetPath().c_str(), target.c_str(), FALSE)) {
    const DWORD error = ::GetLastError();
    LogDebug(L"Failed to copy log file to %s. Error %d", target.c_str(), error);
  }
}

// Left by older versions of the tool.
void deleteOldFiles() {
  if (const std::wstring temp = temporaryFolder(); !temp.empty()) {
    ::DeleteFileW(toSystemPath(temp + L"PKMCONFIG.XML").c_str());
    ::DeleteFileW(toSystemPath(temp + L"Cleanup.dll").c_str());
  }
}

bool askForRestart() {
  return ::MessageBoxW(nullptr,
                       userText(kCaptionRestartQuestion,
                                L"Actions taken by ORV Cleanup Utility require a system reboot. Would you like to "
                                L"reboot now?")
                           .c_str(),
                       userText(kCaptionTitle, kDefaultTitle).c_str(), MB_YESNO | MB_ICONQUESTION) == IDYES;
}

}  // namespace

std::int32_t decideOutcome(const PackageResults& results) {
  if (!results.failedDrivers.empty()) {
    return kFailure;
  }
  return results.failedApplications.empty() ? kSuccess : kWarnings;
}

void removeRepeatedNames(std::vector<DriverPackage>& packages) {
  std::unordered_set<std::wstring> names;
  std::erase_if(packages, [&names](const DriverPackage& package) { return !names.insert(package.Name).second; });
}

void CleanupSession::finishRun() {
  logFirstFailures(failures);
  retryFailedApplications(results);
  logFailedDrivers(results.failedDrivers);
  logLastFailures(failures);
  outcome = decideOutcome(results);
  leaveReport(packages, results);
  // Before any restart, so that the machine boots normally again.
  restoreSystemState();
  if (isRestartDue()) {
    LogDebug(L"Reboot is required to finish cleanup.");
    announceRestart();
  }
  if (switches.factoryReset) {
    copyLogToInstallManager();
  }
  if (!switches.silent) {
    showFinishDialog();
    return;
  }
  quitRequested = true;
  if (switches.rebootAfterRun) {
    rebootMachine();
  }
}

void CleanupSession::restoreSystemState() {
  leaveSafeMode();
  restoreDriverSearch(driverSearch);
}

void CleanupSession::showFinishDialog() {
  finishDialog = openFinishDialog(outcome, [this](HWND dialog) { onFinish(dialog); });
}

void CleanupSession::onFinish(HWND dialog) {
  quitRequested = true;
  deleteOldFiles();
  ::EndDialog(dialog, 1);
  if (!switches.rebootAfterRun && !askForRestart()) {
    ::PostQuitMessage(0);
    return;
  }
  // No quit message here: the system ends the process.
  rebootMachine();
}
