#include "devices/device_inventory.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <unordered_set>

#include <windows.h>

#include <cfgmgr32.h>

#include "devices/device_properties.h"
#include "devices/driver_nodes.h"
#include "system/log.h"
#include "system/text_case.h"

namespace {

constexpr std::array<const wchar_t*, 2> kVendorWords = {L"VEN_7A11", L"VEN_7A2E"};

bool passesIdFilter(const std::wstring& deviceId, const DeviceQuery& query) {
  if (!query.primaryIdFilter.empty()) {
    return contains(deviceId, query.primaryIdFilter);
  }
  if (!query.secondaryIdFilter.empty()) {
    return contains(deviceId, query.secondaryIdFilter);
  }
  return std::any_of(kVendorWords.begin(), kVendorWords.end(),
                     [&deviceId](const wchar_t* word) { return contains(deviceId, word); });
}

// Reads the element at that index of the set. False past the last one; an element that cannot be read stays zeroed.
bool readElement(DeviceElement& element, DWORD index) {
  element.data = sizedStructure<SP_DEVINFO_DATA>();
  return ::SetupDiEnumDeviceInfo(element.set, index, &element.data) || ::GetLastError() != ERROR_NO_MORE_ITEMS;
}

}  // namespace

DeviceInventory::DeviceInventory() : set_(::SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES)) {
  if (!isValid()) {
    LogError(L"Setup::UninstallDevice - Cancelling! SetupDiGetClassDevs invalid handle value!");
  }
}

DeviceRecord* DeviceInventory::newRecord() {
  records_.push_back(std::make_unique<DeviceRecord>());
  return records_.back().get();
}

std::vector<DeviceRecord*> DeviceInventory::FindDevices(const DeviceQuery& query) {
  std::vector<DeviceRecord*> found;
  if (!isValid()) {
    return found;
  }
  DeviceElement element = {set_.get()};
  for (DWORD index = 0; readElement(element, index); ++index) {
    const std::wstring className = ReadStringProperty(element, SPDRP_CLASS);
    if (!equalsNoCase(className, query.className)) {
      continue;
    }
    const std::wstring deviceId = ReadDeviceId(element.data.DevInst);
    if (!passesIdFilter(deviceId, query)) {
      continue;
    }
    DeviceRecord* record = newRecord();
    record->devInst = element.data.DevInst;
    record->className = className;
    record->deviceId = deviceId;
    found.push_back(record);
  }
  // The slow reads are done only for devices that passed the filters.
  if (!found.empty()) {
    if (query.withSiblings) {
      for (DeviceRecord* record : found) {
        FindSiblings(*record);
      }
    }
    FillDeviceDetails(found);
  }
  return found;
}

void DeviceInventory::FindSiblings(DeviceRecord& device) {
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
      continue;  // the configuration manager is busy: ask for the same node again
    }
    appendOnce(next);
    current = next;
  }
  if (!siblings.empty()) {
    device.siblings = siblings;
  }
  FillDeviceDetails(siblings);
}

void DeviceInventory::FillDeviceDetails(const std::vector<DeviceRecord*>& records) {
  std::unordered_map<DEVINST, std::vector<DeviceRecord*>> byDevice;
  for (DeviceRecord* record : records) {
    byDevice[record->devInst].push_back(record);
  }
  DeviceElement element = {set_.get(), sizedStructure<SP_DEVINFO_DATA>()};
  for (DWORD index = 0; ::SetupDiEnumDeviceInfo(element.set, index, &element.data); ++index) {
    if (const auto found = byDevice.find(element.data.DevInst); found != byDevice.end()) {
      for (DeviceRecord* record : found->second) {
        ReadDeviceProperties(element, *record);
        GetDriverDetails(element, *record);
        UpdateDeviceStatus(*record);
      }
    }
    element.data = sizedStructure<SP_DEVINFO_DATA>();
  }
}

std::optional<DeviceElement> DeviceInventory::locate(const DeviceRecord& record) const {
  if (!isValid()) {
    return {};
  }
  DeviceElement element = {set_.get()};
  for (DWORD index = 0; readElement(element, index); ++index) {
    if (element.data.DevInst == record.devInst) {
      return element;
    }
  }
  return {};
}
