#include "devices/driver_nodes.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "system/log.h"

namespace {

std::wstring versionText(DWORDLONG version) {
  wchar_t text[32] = {};
  ::_snwprintf(text, std::size(text) - 1, L"%d.%d.%d.%d", static_cast<int>(version >> 48 & 0xFFFF),
               static_cast<int>(version >> 32 & 0xFFFF), static_cast<int>(version >> 16 & 0xFFFF),
               static_cast<int>(version & 0xFFFF));
  return text;
}

std::unique_ptr<DriverInfo> makeDriverInfo(const SP_DRVINFO_DATA_V2_W& data, const SP_DRVINFO_DETAIL_DATA_W& detail) {
  auto driver = std::make_unique<DriverInfo>();
  driver->manufacturer = data.MfgName;
  driver->provider = data.ProviderName;
  driver->description = detail.DrvDescription;
  driver->version = versionText(data.DriverVersion);
  driver->hardwareId = detail.HardwareID;
  driver->inf = std::make_unique<InfRecord>();
  ::FileTimeToSystemTime(&detail.InfDate, &driver->inf->date);
  driver->inf->infPath = detail.InfFileName;
  driver->inf->isOem = IsOemInf(driver->inf->infPath);
  return driver;
}

// Most drivers of Plug and Play devices are marked ExcludeFromSelect and are listed only on request. If the request
// fails, the default list has to do.
void haveAllDriversListed(DeviceElement& device) {
  auto parameters = sizedStructure<SP_DEVINSTALL_PARAMS_W>();
  if (::SetupDiGetDeviceInstallParamsW(device.set, &device.data, &parameters)) {
    parameters.FlagsEx |= DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
    ::SetupDiSetDeviceInstallParamsW(device.set, &device.data, &parameters);
  }
}

}  // namespace

bool IsOemInf(const std::wstring& infPath) {
  const std::size_t backslash = infPath.rfind(L'\\');
  return backslash != std::wstring::npos && infPath.compare(backslash + 1, 3, L"oem") == 0;
}

void GetDriverDetails(DeviceElement& device, DeviceRecord& record) {
  haveAllDriversListed(device);
  if (!::SetupDiBuildDriverInfoList(device.set, &device.data, SPDIT_COMPATDRIVER)) {
    LogError(L"GetDriverDetails SetupDiBuildDriverInfoList Failed. Error code is: %d", ::GetLastError());
    return;
  }
  std::vector<std::unique_ptr<DriverInfo>> drivers;
  for (DWORD index = 0;; ++index) {
    auto driver = sizedStructure<SP_DRVINFO_DATA_V2_W>();
    if (!::SetupDiEnumDriverInfoW(device.set, &device.data, SPDIT_COMPATDRIVER, index, &driver) &&
        ::GetLastError() == ERROR_NO_MORE_ITEMS) {
      break;
    }
    const DriverDetail detail(device, driver);
    if (!detail) {
      break;
    }
    drivers.push_back(makeDriverInfo(driver, *detail));
  }
  // Otherwise the next reading would get this list again instead of a new one.
  ::SetupDiDestroyDriverInfoList(device.set, &device.data, SPDIT_COMPATDRIVER);
  record.drivers = std::move(drivers);
}

DriverDetail::DriverDetail(DeviceElement& device, SP_DRVINFO_DATA_V2_W& driver) {
  DWORD size = 0;
  if (!::SetupDiGetDriverInfoDetailW(device.set, &device.data, &driver, nullptr, 0, &size) &&
      ::GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
    return;
  }
  bytes_.resize(std::max<std::size_t>(size, sizeof(SP_DRVINFO_DETAIL_DATA_W)));
  auto* detail = reinterpret_cast<SP_DRVINFO_DETAIL_DATA_W*>(bytes_.data());
  detail->cbSize = sizeof(*detail);
  if (!::SetupDiGetDriverInfoDetailW(device.set, &device.data, &driver, detail, static_cast<DWORD>(bytes_.size()),
                                     nullptr)) {
    bytes_.clear();
  }
}
