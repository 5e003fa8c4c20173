#include "device_tree.h"

#include <algorithm>
#include <mutex>

#include "device_registry.h"

namespace bench {

namespace {

// Ids and parents of devices do not change, so that only the list itself is kept between two readings.
std::mutex listMutex;
std::vector<TreeDevice> list;

bool isStillThere(const TreeDevice& device) {
  return readNumber(benchKey(device.id), L"DevInst") == device.number;
}

std::optional<TreeDevice> findIn(const std::vector<TreeDevice>& devices, DWORD number) {
  const auto found = std::find_if(devices.begin(), devices.end(),
                                  [number](const TreeDevice& device) { return device.number == number; });
  return found == devices.end() ? std::nullopt : std::optional(*found);
}

std::vector<TreeDevice> knownDevices() {
  const std::lock_guard lock(listMutex);
  return list;
}

// A device that is not in the list may have come since it was read.
std::optional<TreeDevice> find(DWORD number) {
  std::optional<TreeDevice> device = findIn(knownDevices(), number);
  if (!device) {
    device = findIn(readDevices(), number);
  }
  return device && isStillThere(*device) ? device : std::nullopt;
}

// The first present child of a parent that stands behind a number.
std::optional<DWORD> childBehind(const std::wstring& parent, DWORD number) {
  for (const TreeDevice& device : knownDevices()) {
    if (device.number > number && equalsNoCase(device.parent, parent) && isStillThere(device) && isPresent(device.id)) {
      return device.number;
    }
  }
  return std::nullopt;
}

}  // namespace

std::vector<TreeDevice> readDevices() {
  std::vector<TreeDevice> devices;
  for (const std::wstring& enumerator : subkeysOf(kEnumKey)) {
    for (const std::wstring& device : subkeysOf(kEnumKey + enumerator)) {
      for (const std::wstring& instance : subkeysOf(kEnumKey + enumerator + L"\\" + device)) {
        const std::wstring id = enumerator + L"\\" + device + L"\\" + instance;
        if (const DWORD number = readNumber(benchKey(id), L"DevInst"); number != 0) {
          const std::wstring parent = readText(benchKey(id), L"Parent");
          devices.push_back({number, id, parent.empty() ? kRootId : parent});
        }
      }
    }
  }
  std::sort(devices.begin(), devices.end(),
            [](const TreeDevice& left, const TreeDevice& right) { return left.number < right.number; });
  const std::lock_guard lock(listMutex);
  list = devices;
  return devices;
}

std::wstring idOf(DWORD number) {
  if (number == kRootNumber) {
    return kRootId;
  }
  const std::optional<TreeDevice> device = find(number);
  return device ? device->id : std::wstring();
}

bool isPresent(const std::wstring& id) {
  return id == kRootId || readNumber(benchKey(id), L"Present") != 0;
}

std::optional<DWORD> parentOf(DWORD number) {
  const std::optional<TreeDevice> device = find(number);
  if (!device || !isPresent(device->id)) {
    return std::nullopt;
  }
  if (device->parent == kRootId) {
    return kRootNumber;
  }
  const DWORD parent = readNumber(benchKey(device->parent), L"DevInst");
  return parent == 0 ? std::nullopt : std::optional(parent);
}

std::optional<DWORD> firstChildOf(DWORD number) {
  const std::wstring id = idOf(number);
  return id.empty() || !isPresent(id) ? std::nullopt : childBehind(id, 0);
}

std::optional<DWORD> nextSiblingOf(DWORD number) {
  const std::optional<TreeDevice> device = find(number);
  return !device || !isPresent(device->id) ? std::nullopt : childBehind(device->parent, number);
}

void removeDevice(const std::wstring& id) {
  for (const TreeDevice& device : knownDevices()) {
    if (equalsNoCase(device.parent, id) && isStillThere(device)) {
      writeNumber(benchKey(device.id), L"Present", 0);
    }
  }
  if (const std::wstring driver = readText(deviceKey(id), L"Driver"); !driver.empty()) {
    deleteTree(kClassKey + driver);
  }
  deleteTree(deviceKey(id));
  // The hardware's own key goes with its last instance; the call refuses it while there is another.
  ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, deviceKey(id).substr(0, deviceKey(id).rfind(L'\\')).c_str());
}

}  // namespace bench
