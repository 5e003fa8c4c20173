// device_inventory - the part of Setup that reads: which devices exist, and what is known of each.

#include <array>
#include <cwchar>
#include <unordered_map>
#include <unordered_set>

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include "devices/driver_package.h"
#include "devices/setup.h"
#include "system/log.h"
#include "system/text_case.h"

namespace {

// The sizes that the platform tests for; a structure of another size would be refused on every machine.
static_assert(sizeof(SP_DEVINFO_DATA) == 32);
static_assert(sizeof(SP_DRVINFO_DATA_V2_W) == 1568);
static_assert(sizeof(SP_DRVINFO_DETAIL_DATA_W) == 1584);

constexpr std::array<const wchar_t*, 2> kVendorWords = {L"VEN_7A11", L"VEN_7A2E"};

SP_DEVINFO_DATA emptyDeviceData() {
  SP_DEVINFO_DATA data = {};
  data.cbSize = sizeof(data);
  return data;
}

bool passesIdFilter(const std::wstring& deviceId, const std::wstring& secondaryIdFilter,
                    const std::wstring& primaryIdFilter) {
  if (!primaryIdFilter.empty()) {
    return contains(deviceId, primaryIdFilter);
  }
  if (!secondaryIdFilter.empty()) {
    return contains(deviceId, secondaryIdFilter);
  }
  return contains(deviceId, kVendorWords[0]) || contains(deviceId, kVendorWords[1]);
}

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

// Drivers of plug-and-play devices are commonly excluded from being selected by hand, and then only listed on request.
// Where the request is refused, the list is read as it comes.
void haveAllDriversListed(HDEVINFO set, SP_DEVINFO_DATA* device) {
  SP_DEVINSTALL_PARAMS_W parameters = {};
  parameters.cbSize = sizeof(parameters);
  if (::SetupDiGetDeviceInstallParamsW(set, device, &parameters)) {
    parameters.FlagsEx |= DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
    ::SetupDiSetDeviceInstallParamsW(set, device, &parameters);
  }
}

}  // namespace

bool IsOemInf(const std::wstring& infPath) {
  const std::size_t backslash = infPath.rfind(L'\\');
  return backslash != std::wstring::npos && infPath.compare(backslash + 1, 3, L"oem") == 0;
}

Setup::Setup() : deviceSet(::SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES)) {
  valid = static_cast<bool>(deviceSet);
  if (!valid) {
    LogError(L"Setup::UninstallDevice - Cancelling! SetupDiGetClassDevs invalid handle value!");
  }
}

DeviceRecord* Setup::newRecord() {
  records.push_back(std::make_unique<DeviceRecord>());
  return records.back().get();
}

std::wstring Setup::readDeviceId(DWORD devInst) const {
  ULONG length = 0;
  if (::CM_Get_Device_ID_Size(&length, devInst, 0) != CR_SUCCESS || length == 0) {
    return {};
  }
  std::vector<wchar_t> id(length + 1);
  if (::CM_Get_Device_IDW(devInst, id.data(), length + 1, 0) != CR_SUCCESS) {
    return {};
  }
  return id.data();
}

std::vector<DeviceRecord*> Setup::FindDevices(const std::wstring& className, bool withSiblings,
                                              const std::wstring& secondaryIdFilter,
                                              const std::wstring& primaryIdFilter) {
  std::vector<DeviceRecord*> found;
  if (!valid) {
    return found;
  }
  for (DWORD index = 0;; ++index) {
    SP_DEVINFO_DATA data = emptyDeviceData();
    if (!::SetupDiEnumDeviceInfo(deviceSet.get(), index, &data) && ::GetLastError() == ERROR_NO_MORE_ITEMS) {
      break;  // any other failure costs this element alone
    }
    const std::wstring deviceClass = ReadStringProperty(data, SPDRP_CLASS);
    if (!equalsNoCase(deviceClass, className)) {
      continue;
    }
    const std::wstring deviceId = readDeviceId(data.DevInst);
    if (!passesIdFilter(deviceId, secondaryIdFilter, primaryIdFilter)) {
      continue;
    }
    DeviceRecord* record = newRecord();
    record->devInst = data.DevInst;
    record->className = deviceClass;
    record->deviceId = deviceId;
    found.push_back(record);
  }
  // What is slow to read is read only for the devices that have passed.
  if (!found.empty()) {
    if (withSiblings) {
      for (DeviceRecord* record : found) {
        FindSiblings(*record);
      }
    }
    FillDeviceDetails(found);
  }
  return found;
}

void Setup::FindSiblings(DeviceRecord& device) {
  DEVINST parent = 0;
  if (::CM_Get_Parent(&parent, device.devInst, 0) != CR_SUCCESS) {
    return;
  }
  DEVINST current = 0;
  if (::CM_Get_Child(&current, parent, 0) == CR_NO_SUCH_DEVNODE) {
    return;
  }
  std::vector<DeviceRecord*> siblings;
  std::unordered_set<DEVINST> passed = {device.devInst};
  const auto appendOnce = [&](DEVINST devInst) {
    if (passed.insert(devInst).second) {
      siblings.push_back(newRecord());
      siblings.back()->devInst = devInst;
    }
  };
  appendOnce(current);
  for (;;) {
    DEVINST next = 0;
    const CONFIGRET result = ::CM_Get_Sibling(&next, current, 0);
    if (result == CR_NO_SUCH_DEVNODE) {
      break;
    }
    if (result != CR_SUCCESS) {
      continue;  // asked again for the same node, for as long as the configuration manager is busy
    }
    appendOnce(next);
    current = next;
  }
  if (!siblings.empty()) {
    device.siblings = siblings;
  }
  FillDeviceDetails(siblings);
}

void Setup::FillDeviceDetails(const std::vector<DeviceRecord*>& listed) {
  std::unordered_map<DWORD, std::vector<DeviceRecord*>> byDevice;
  for (DeviceRecord* record : listed) {
    byDevice[record->devInst].push_back(record);
  }
  SP_DEVINFO_DATA data = emptyDeviceData();
  for (DWORD index = 0; ::SetupDiEnumDeviceInfo(deviceSet.get(), index, &data); ++index) {
    if (const auto found = byDevice.find(data.DevInst); found != byDevice.end()) {
      for (DeviceRecord* record : found->second) {
        ReadDeviceProperties(data, *record);
        GetDriverDetails(data, *record);
        UpdateDeviceStatus(*record);
      }
    }
    data = emptyDeviceData();
  }
}

void Setup::ReadDeviceProperties(SP_DEVINFO_DATA& data, DeviceRecord& record) {
  record.deviceId = readDeviceId(data.DevInst);
  record.className = ReadStringProperty(data, SPDRP_CLASS);
  record.classGuid = ReadStringProperty(data, SPDRP_CLASSGUID);
  record.description = ReadStringProperty(data, SPDRP_DEVICEDESC);
  record.friendlyName = ReadStringProperty(data, SPDRP_FRIENDLYNAME);
  record.hardwareIds = ReadMultiStringProperty(data, SPDRP_HARDWAREID);
  record.compatibleIds = ReadMultiStringProperty(data, SPDRP_COMPATIBLEIDS);
  record.lowerFilters = ReadMultiStringProperty(data, SPDRP_LOWERFILTERS);
  record.installState = ReadDwordProperty(data, SPDRP_INSTALL_STATE);
  record.capabilities = ReadDwordProperty(data, SPDRP_CAPABILITIES);
  record.configFlags = ReadDwordProperty(data, SPDRP_CONFIGFLAGS);
  record.propertiesLoaded = true;
}

// The bytes of a property, with its type, and behind them zeros for two characters, so that no text runs past its end:
// the system takes values of any size, also of half a character, in which the first of the two begins.
std::vector<BYTE> Setup::readProperty(SP_DEVINFO_DATA& data, DWORD property, DWORD* type) {
  DWORD size = 0;
  if (!::SetupDiGetDeviceRegistryPropertyW(deviceSet.get(), &data, property, type, nullptr, 0, &size)) {
    const DWORD error = ::GetLastError();
    if (error == ERROR_INVALID_DATA || error == static_cast<DWORD>(ERROR_NO_SUCH_DEVINST)) {
      return {};
    }
    if (error != ERROR_INSUFFICIENT_BUFFER) {
      size = 0;  // on with the buffer there is
    }
  }
  std::vector<BYTE> value(size + 3 * sizeof(wchar_t));
  if (!::SetupDiGetDeviceRegistryPropertyW(deviceSet.get(), &data, property, type, value.data(), size, nullptr)) {
    return {};
  }
  return value;
}

std::wstring Setup::ReadStringProperty(SP_DEVINFO_DATA& data, DWORD property) {
  DWORD type = REG_NONE;
  const std::vector<BYTE> value = readProperty(data, property, &type);
  return value.empty() || type != REG_SZ ? std::wstring() : reinterpret_cast<const wchar_t*>(value.data());
}

std::vector<std::wstring> Setup::ReadMultiStringProperty(SP_DEVINFO_DATA& data, DWORD property) {
  DWORD type = REG_NONE;
  const std::vector<BYTE> value = readProperty(data, property, &type);
  std::vector<std::wstring> texts;
  if (value.empty() || type != REG_MULTI_SZ) {
    return texts;
  }
  for (const auto* text = reinterpret_cast<const wchar_t*>(value.data()); *text; text += texts.back().size() + 1) {
    texts.emplace_back(text);
  }
  return texts;
}

std::uint32_t Setup::ReadDwordProperty(SP_DEVINFO_DATA& data, DWORD property) {
  DWORD type = REG_NONE;
  const std::vector<BYTE> value = readProperty(data, property, &type);
  return value.empty() ? 0 : value.front();
}

void Setup::GetDriverDetails(SP_DEVINFO_DATA& data, DeviceRecord& record) {
  haveAllDriversListed(deviceSet.get(), &data);
  if (!::SetupDiBuildDriverInfoList(deviceSet.get(), &data, SPDIT_COMPATDRIVER)) {
    LogError(L"GetDriverDetails SetupDiBuildDriverInfoList Failed. Error code is: %d", ::GetLastError());
    return;
  }
  std::vector<std::unique_ptr<DriverInfo>> drivers;
  for (DWORD index = 0;; ++index) {
    SP_DRVINFO_DATA_V2_W driver = {};
    driver.cbSize = sizeof(driver);
    if (!::SetupDiEnumDriverInfoW(deviceSet.get(), &data, SPDIT_COMPATDRIVER, index, &driver) &&
        ::GetLastError() == ERROR_NO_MORE_ITEMS) {
      break;
    }
    const DriverDetail detail(deviceSet.get(), &data, &driver);
    if (!detail) {
      break;
    }
    drivers.push_back(makeDriverInfo(driver, *detail));
  }
  // The system keeps a list until it is destroyed: the next reading would get this one again.
  ::SetupDiDestroyDriverInfoList(deviceSet.get(), &data, SPDIT_COMPATDRIVER);
  record.drivers = std::move(drivers);
}

void Setup::UpdateDeviceStatus(DeviceRecord& record) {
  if (record.devInst == 0) {
    return;
  }
  record.deviceId = readDeviceId(record.devInst);
  ULONG status = 0;
  ULONG problem = 0;
  switch (::CM_Get_DevNode_Status(&status, &problem, record.devInst, 0)) {
    case CR_SUCCESS:
      record.status = status;
      record.problemCode = (status & DN_HAS_PROBLEM) ? problem : 0;
      break;
    case CR_NO_SUCH_DEVNODE:
      record.status = 0;
      record.problemCode = 0;
      break;
    default:
      LogError(L"Setup::UpdateDeviceStatus- GettingDevice status failed for: %s", record.description.c_str());
      break;
  }
}
