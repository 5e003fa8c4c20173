#include "app/machine_restart.h"

#include <windows.h>

#include "applications/uninstall_runner.h"
#include "devices/setup.h"
#include "system/file_operations.h"
#include "system/restart_note.h"

bool isRestartDue() {
  return deviceRebootNeeded || fileRebootPending || applicationRebootNeeded;
}

void announceRestart() {
  try {
    const RegistryKey software =
        OpenRegistryKey(HKEY_LOCAL_MACHINE, L"SOFTWARE", KEY_READ | KEY_SET_VALUE | KEY_CREATE_SUB_KEY);
    const RegistryKey key = CreateCleanupUtilityKey(software.get());
    SetRegistryDwordOne(key.get(), L"RebootRequired");
  } catch (...) {
    // The run ends as usual; the log already says that a restart is required.
  }
}

void rebootMachine() {
  HANDLE token = nullptr;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) {
    return;
  }
  // The token is not closed: the system is about to end the process.
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  ::LookupPrivilegeValueW(nullptr, L"SeShutdownPrivilege", &privileges.Privileges[0].Luid);
  ::AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
  // The call succeeds even if the privilege was not granted; only GetLastError tells.
  if (::GetLastError() == ERROR_SUCCESS) {
    ::ExitWindowsEx(EWX_REBOOT | EWX_FORCE, SHTDN_REASON_FLAG_PLANNED | SHTDN_REASON_MINOR_MAINTENANCE);
  }
}
