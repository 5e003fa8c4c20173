#include "devices/driver_package.h"

#include <algorithm>

#include "system/handles.h"
#include "system/log.h"
#include "system/system_message.h"

namespace {

using DiUninstallDriver = BOOL(WINAPI*)(HWND, LPCWSTR, DWORD, PBOOL);

DiUninstallDriver findDiUninstallDriver() {
  // The program's own call into the library, which would load it, may not have come yet.
  static const HMODULE loaded = ::LoadLibraryExW(L"newdev.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  const HMODULE library = loaded ? ::GetModuleHandleW(L"newdev") : nullptr;
  return library ? reinterpret_cast<DiUninstallDriver>(
                       reinterpret_cast<void*>(::GetProcAddress(library, "DiUninstallDriverW")))
                 : nullptr;
}

std::wstring readText(HKEY key, const wchar_t* valueName) {
  wchar_t text[LINE_LEN] = {};
  DWORD size = sizeof(text);
  return ::RegGetValueW(key, nullptr, valueName, RRF_RT_REG_SZ, nullptr, text, &size) == ERROR_SUCCESS ? text : L"";
}

}  // namespace

PackageUninstall uninstallDriverPackage(const std::wstring& infPath, bool* needReboot) {
  const DiUninstallDriver diUninstallDriver = findDiUninstallDriver();
  if (!diUninstallDriver) {
    return PackageUninstall::NotAvailable;
  }
  BOOL reboot = FALSE;
  if (diUninstallDriver(nullptr, infPath.c_str(), 0, &reboot)) {
    *needReboot = reboot != FALSE;
    return PackageUninstall::Done;
  }
  const DWORD error = ::GetLastError();
  LogDebug(L"Uninstall of driver failed with error code %d - %s", error, systemMessage(error).c_str());
  return PackageUninstall::Failed;
}

InstalledDriver readInstalledDriver(HDEVINFO set, SP_DEVINFO_DATA* device) {
  const HKEY opened = ::SetupDiOpenDevRegKey(set, device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_READ);
  if (opened == INVALID_HANDLE_VALUE) {
    return {};
  }
  const RegistryKey key(opened);
  return {readText(key.get(), L"ProviderName"), readText(key.get(), L"InfSection"),
          readText(key.get(), L"MatchingDeviceId")};
}

DriverDetail::DriverDetail(HDEVINFO set, SP_DEVINFO_DATA* device, SP_DRVINFO_DATA_V2_W* driver) {
  DWORD size = 0;
  if (!::SetupDiGetDriverInfoDetailW(set, device, driver, nullptr, 0, &size) &&
      ::GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
    return;
  }
  bytes_.resize(std::max<std::size_t>(size, sizeof(SP_DRVINFO_DETAIL_DATA_W)));
  auto* detail = reinterpret_cast<SP_DRVINFO_DETAIL_DATA_W*>(bytes_.data());
  detail->cbSize = sizeof(*detail);
  if (!::SetupDiGetDriverInfoDetailW(set, device, driver, detail, static_cast<DWORD>(bytes_.size()), nullptr)) {
    bytes_.clear();
  }
}
