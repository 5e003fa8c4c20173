#include "devices/device_properties.h"

#include <windows.h>

#include <cfgmgr32.h>

#include "system/log.h"

namespace {

// The bytes of a property and its type. The value is followed by zeros for its missing terminators: two characters, and
// one more for a value that ends in half a character.
std::vector<BYTE> readProperty(DeviceElement& device, DWORD property, DWORD* type) {
  DWORD size = 0;
  if (!::SetupDiGetDeviceRegistryPropertyW(device.set, &device.data, property, type, nullptr, 0, &size)) {
    const DWORD error = ::GetLastError();
    if (error == ERROR_INVALID_DATA || error == static_cast<DWORD>(ERROR_NO_SUCH_DEVINST)) {
      return {};
    }
    if (error != ERROR_INSUFFICIENT_BUFFER) {
      size = 0;  // the reported size is meaningless then
    }
  }
  std::vector<BYTE> value(size + 3 * sizeof(wchar_t));
  if (!::SetupDiGetDeviceRegistryPropertyW(device.set, &device.data, property, type, value.data(), size, nullptr)) {
    return {};
  }
  return value;
}

}  // namespace

std::wstring ReadDeviceId(DWORD devInst) {
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

std::wstring ReadStringProperty(DeviceElement& device, DWORD property) {
  DWORD type = REG_NONE;
  const std::vector<BYTE> value = readProperty(device, property, &type);
  return value.empty() || type != REG_SZ ? std::wstring() : reinterpret_cast<const wchar_t*>(value.data());
}

std::vector<std::wstring> ReadMultiStringProperty(DeviceElement& device, DWORD property) {
  DWORD type = REG_NONE;
  const std::vector<BYTE> value = readProperty(device, property, &type);
  std::vector<std::wstring> texts;
  if (value.empty() || type != REG_MULTI_SZ) {
    return texts;
  }
  for (const auto* text = reinterpret_cast<const wchar_t*>(value.data()); *text; text += texts.back().size() + 1) {
    texts.emplace_back(text);
  }
  return texts;
}

std::uint32_t ReadDwordProperty(DeviceElement& device, DWORD property) {
  DWORD type = REG_NONE;
  const std::vector<BYTE> value = readProperty(device, property, &type);
  return value.empty() ? 0 : value.front();
}

void ReadDeviceProperties(DeviceElement& device, DeviceRecord& record) {
  record.deviceId = ReadDeviceId(device.data.DevInst);
  record.className = ReadStringProperty(device, SPDRP_CLASS);
  record.classGuid = ReadStringProperty(device, SPDRP_CLASSGUID);
  record.description = ReadStringProperty(device, SPDRP_DEVICEDESC);
  record.friendlyName = ReadStringProperty(device, SPDRP_FRIENDLYNAME);
  record.hardwareIds = ReadMultiStringProperty(device, SPDRP_HARDWAREID);
  record.compatibleIds = ReadMultiStringProperty(device, SPDRP_COMPATIBLEIDS);
  record.lowerFilters = ReadMultiStringProperty(device, SPDRP_LOWERFILTERS);
  record.installState = ReadDwordProperty(device, SPDRP_INSTALL_STATE);
  record.capabilities = ReadDwordProperty(device, SPDRP_CAPABILITIES);
  record.configFlags = ReadDwordProperty(device, SPDRP_CONFIGFLAGS);
  record.propertiesLoaded = true;
}

void UpdateDeviceStatus(DeviceRecord& record) {
  if (record.devInst == 0) {
    return;
  }
  record.deviceId = ReadDeviceId(record.devInst);
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
