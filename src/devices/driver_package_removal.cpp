#include "devices/driver_package_removal.h"

#include <windows.h>

#include "system/log.h"
#include "system/system_message.h"

namespace {

using DiUninstallDriver = BOOL(WINAPI*)(HWND, LPCWSTR, DWORD, PBOOL);

DiUninstallDriver findDiUninstallDriver() {
  // The library is loaded on first use, and nothing may have used it yet.
  static const HMODULE loaded = ::LoadLibraryExW(L"newdev.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  const HMODULE library = loaded ? ::GetModuleHandleW(L"newdev") : nullptr;
  return library ? reinterpret_cast<DiUninstallDriver>(
                       reinterpret_cast<void*>(::GetProcAddress(library, "DiUninstallDriverW")))
                 : nullptr;
}

}  // namespace

PackageUninstall uninstallDriverPackage(const std::wstring& infPath) {
  const DiUninstallDriver diUninstallDriver = findDiUninstallDriver();
  if (!diUninstallDriver) {
    return {};
  }
  BOOL reboot = FALSE;
  if (!diUninstallDriver(nullptr, infPath.c_str(), 0, &reboot)) {
    const DWORD error = ::GetLastError();
    LogDebug(L"Uninstall of driver failed with error code %d - %s", error, systemMessage(error).c_str());
    return {};
  }
  return {.done = true, .rebootNeeded = reboot != FALSE};
}
