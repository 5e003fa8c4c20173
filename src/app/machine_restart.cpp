#include "app/machine_restart.h"

#include <windows.h>

#include "applications/uninstall_runner.h"
#include "devices/setup.h"
#include "system/file_operations.h"
#include "system/registry.h"

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
    // The run ends as it would have; the log has the line about the restart.
  }
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
