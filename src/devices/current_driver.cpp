#include "devices/current_driver.h"

#include <string>
#include <string_view>

#include "devices/driver_nodes.h"
#include "system/handles.h"

namespace {

constexpr DWORD kManufacturerBytes = 512;

// What the device's driver key records about its installed driver; empty strings if there is none.
struct InstalledDriver {
  std::wstring provider;
  std::wstring section;
  std::wstring hardwareId;
  bool operator==(const InstalledDriver&) const = default;
};

std::wstring readText(HKEY key, const wchar_t* valueName) {
  wchar_t text[LINE_LEN] = {};
  DWORD size = sizeof(text);
  return ::RegGetValueW(key, nullptr, valueName, RRF_RT_REG_SZ, nullptr, text, &size) == ERROR_SUCCESS ? text : L"";
}

InstalledDriver readInstalledDriver(DeviceElement& device) {
  const HKEY opened = ::SetupDiOpenDevRegKey(device.set, &device.data, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_READ);
  if (opened == INVALID_HANDLE_VALUE) {
    return {};
  }
  const RegistryKey key(opened);
  return {readText(key.get(), L"ProviderName"), readText(key.get(), L"InfSection"),
          readText(key.get(), L"MatchingDeviceId")};
}

// Slow fallback for a system that does not support DI_FLAGSEX_INSTALLEDDRIVER: looks for the class driver with the
// device's manufacturer and the provider, section and hardware id recorded in the driver key.
std::optional<SP_DRVINFO_DATA_V2_W> findByDetails(DeviceElement& device, SP_DEVINSTALL_PARAMS_W parameters) {
  parameters.FlagsEx &= ~static_cast<DWORD>(DI_FLAGSEX_INSTALLEDDRIVER | DI_FLAGSEX_ALLOWEXCLUDEDDRVS);
  wchar_t manufacturer[kManufacturerBytes / sizeof(wchar_t) + 1] = {};  // the value may lack its terminator
  if (!::SetupDiGetDeviceRegistryPropertyW(device.set, &device.data, SPDRP_MFG, nullptr,
                                           reinterpret_cast<BYTE*>(manufacturer), kManufacturerBytes, nullptr)) {
    return {};
  }
  const InstalledDriver installed = readInstalledDriver(device);
  parameters.Flags |= DI_ENUMSINGLEINF;
  parameters.FlagsEx |= DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
  ::SetupDiSetDeviceInstallParamsW(device.set, &device.data, &parameters);
  if (!::SetupDiBuildDriverInfoList(device.set, &device.data, SPDIT_CLASSDRIVER)) {
    return {};
  }
  auto driver = sizedStructure<SP_DRVINFO_DATA_V2_W>();
  for (DWORD index = 0; ::SetupDiEnumDriverInfoW(device.set, &device.data, SPDIT_CLASSDRIVER, index, &driver);
       ++index) {
    const DriverDetail detail(device, driver);
    if (detail && installed == InstalledDriver{driver.ProviderName, detail->SectionName, detail->HardwareID} &&
        std::wstring_view(driver.MfgName) == manufacturer) {
      return driver;
    }
    driver = sizedStructure<SP_DRVINFO_DATA_V2_W>();
  }
  ::SetupDiDestroyDriverInfoList(device.set, &device.data, SPDIT_CLASSDRIVER);
  return {};
}

}  // namespace

std::optional<SP_DRVINFO_DATA_V2_W> FindCurrentDriver(DeviceElement& device) {
  auto parameters = sizedStructure<SP_DEVINSTALL_PARAMS_W>();
  if (!::SetupDiGetDeviceInstallParamsW(device.set, &device.data, &parameters)) {
    return {};
  }
  parameters.FlagsEx |= DI_FLAGSEX_INSTALLEDDRIVER | DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
  if (!::SetupDiSetDeviceInstallParamsW(device.set, &device.data, &parameters)) {
    return findByDetails(device, parameters);
  }
  auto driver = sizedStructure<SP_DRVINFO_DATA_V2_W>();
  if (!::SetupDiBuildDriverInfoList(device.set, &device.data, SPDIT_CLASSDRIVER) ||
      !::SetupDiEnumDriverInfoW(device.set, &device.data, SPDIT_CLASSDRIVER, 0, &driver)) {
    return {};
  }
  return driver;
}
