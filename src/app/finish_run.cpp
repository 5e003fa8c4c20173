#include "app/finish_run.h"

#include <unordered_set>

#include <windows.h>

#include "app/cleanup_session.h"
#include "applications/uninstall_runner.h"
#include "manifest/path_expansion.h"
#include "report/removal_report.h"
#include "system/file_operations.h"
#include "system/log.h"
#include "system/log_file.h"
#include "system/long_path.h"
#include "system/registry.h"
#include "system/restart_note.h"
#include "system/temporary_folder.h"
#include "ui/finish_dialog.h"
#include "ui/localised_strings.h"

std::int32_t RunOutcome = 0;

namespace {

constexpr std::int32_t kSuccess = 1;
constexpr std::int32_t kWarnings = 0;
constexpr std::int32_t kFailure = -1;

void logRows(const std::vector<std::wstring>& rows) {
  for (const std::wstring& row : rows) {
    LogDebug(L"%s", row.c_str());
  }
}

struct FailureSection {
  const wchar_t* header;
  const std::vector<std::wstring>& rows;
};

void logSections(std::initializer_list<FailureSection> sections) {
  for (const FailureSection& section : sections) {
    if (!section.rows.empty()) {
      LogDebug(section.header);
      logRows(section.rows);
    }
  }
}

// What the retry has removed counts as removed, in the order of the list.
void moveRemoved(std::vector<ApplicationPackage>& failed, std::vector<ApplicationPackage>& removed) {
  std::erase_if(failed, [&removed](const ApplicationPackage& application) {
    if (application.UninstallResult != ERROR_SUCCESS) {
      return false;
    }
    removed.push_back(application);
    return true;
  });
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

// The first record of a name stays.
void removeRepeatedNames(std::vector<DriverPackage>& packages) {
  std::unordered_set<std::wstring> names;
  std::erase_if(packages, [&names](const DriverPackage& package) { return !names.insert(package.Name).second; });
}

// Leaves word for other programs, in a key that is gone after the restart.
void writeRebootRequired() {
  try {
    const RegistryKey software =
        OpenRegistryKey(HKEY_LOCAL_MACHINE, L"SOFTWARE", KEY_READ | KEY_SET_VALUE | KEY_CREATE_SUB_KEY);
    const RegistryKey key = CreateCleanupUtilityKey(software.get());
    SetRegistryDwordOne(key.get(), L"RebootRequired");
  } catch (...) {
    // The run ends as it would have; the log has the line about the restart.
  }
}

// The install manager, whose folder a factory reset keeps, reads the log there.
void copyLogToInstallManager() {
  const std::wstring target = getOsRootDrive() + L"Program Files\\ORV\\PKM\\Log\\ORVCleanup.log";
  if (!::CopyFileW(Logger::GetPath().c_str(), target.c_str(), FALSE)) {
    const DWORD error = ::GetLastError();
    LogDebug(L"Failed to copy log file to %s. Error %d", target.c_str(), error);
  }
}

}  // namespace

void CleanupSession::finishRun() {
  LogDebug(L"-----------Failed Deletion of Driver Files ---------------");  // also without any below it
  logRows(failedDriverFiles);
  logSections({{L"-----------Failed Stopping Services---------------", failedServices},
               {L"-----------Failed Termination of Processes---------------", failedProcesses},
               {L"-----------Failed Deletions of Scheduled Tasks---------------", failedScheduledTasks}});
  if (!failedApplications.empty()) {
    LogDebug(L"-----------Retry of Failed of Applications---------------");
    RetryFailedApplications(failedApplications);
    moveRemoved(failedApplications, removedApplications);
  }
  if (!failedDrivers.empty()) {
    LogDebug(L"-----------Failed Deletions of Drivers---------------");
    for (const DriverPackage& package : failedDrivers) {
      LogDebug(L"%s", package.Name.c_str());
    }
  }
  // Both lists of the step before the uninstalls come under one header text.
  logSections(
      {{L"-----------Failed Deletion of Files---------------", failedFiles},
       {L"-----------Failed Deletion of Directories---------------", failedDirectories},
       {L"-----------Failed Deletion of Registry Keys---------------", failedRegistryKeys},
       {L"-----------Failed Deletion of Registry Values---------------", failedRegistryValues},
       {L"-----------Failed Deletion of PreUninstall Registry Values---------------", failedPreUninstallRegistryValues},
       {L"-----------Failed Deletion of PreUninstall Registry Values---------------", failedPreUninstallRegistryKeys}});

  RunOutcome = kSuccess;
  if (!failedApplications.empty()) {
    RunOutcome = kWarnings;
  }
  if (!failedDrivers.empty()) {
    RunOutcome = kFailure;
  }

  const std::wstring temp = temporaryFolder();
  if (!temp.empty()) {
    deleteExtractedManifest(temp + L"CleanUp\\ScrubList.JSON");
    removeRepeatedNames(eligibleDrivers);
    removeRepeatedNames(removedDrivers);
    removeRepeatedNames(failedDrivers);
    writeRemovalReport(temp + L"CleanUp", L"uninst", eligibleApplications, eligibleDrivers, removedApplications,
                       removedDrivers, failedApplications, failedDrivers);
  }

  // Before any restart can happen, so that it leads back into a normal boot.
  restoreSystemState();
  if (deviceRebootNeeded || fileRebootPending || applicationRebootNeeded) {
    LogDebug(L"Reboot is required to finish cleanup.");
    writeRebootRequired();
  }
  if (factoryReset) {
    copyLogToInstallManager();
  }
  if (silent) {
    quitRequested = 1;
    if (rebootAfterRun) {
      rebootMachine();
    }
  } else {
    showFinishDialog();
  }
}

void CleanupSession::showFinishDialog() {
  finishDialog = openFinishDialog(RunOutcome, [this](HWND dialog) { onFinish(dialog); });
}

void CleanupSession::onFinish(HWND dialog) {
  quitRequested = 1;
  if (const std::wstring temp = temporaryFolder(); !temp.empty()) {
    ::DeleteFileW(toSystemPath(temp + L"PKMCONFIG.XML").c_str());
    ::DeleteFileW(toSystemPath(temp + L"Cleanup.dll").c_str());
  }
  ::EndDialog(dialog, 1);
  if (!rebootAfterRun &&
      ::MessageBoxW(nullptr,
                    userText(kCaptionRestartQuestion,
                             L"Actions taken by ORV Cleanup Utility require a system reboot. Would you like to reboot "
                             L"now?")
                        .c_str(),
                    userText(kCaptionTitle, kDefaultTitle).c_str(), MB_YESNO | MB_ICONQUESTION) != IDYES) {
    ::PostQuitMessage(0);
    return;
  }
  // No quit message on this way: the system ends the process.
  rebootMachine();
}

void rebootMachine() {
  HANDLE token = nullptr;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) {
    return;
  }
  // The token stays open: the process is about to be ended by the system.
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  ::LookupPrivilegeValueW(nullptr, L"SeShutdownPrivilege", &privileges.Privileges[0].Luid);
  ::AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
  // The call succeeds also when the privilege is not to be had; only the last error tells.
  if (::GetLastError() == ERROR_SUCCESS) {
    ::ExitWindowsEx(EWX_REBOOT | EWX_FORCE, SHTDN_REASON_FLAG_PLANNED | SHTDN_REASON_MINOR_MAINTENANCE);
  }
}
