#include "device_tree.h"

#include <map>
#include <memory>
#include <mutex>
#include <set>

#include "device_registry.h"

namespace bench {

namespace {

// A cache of the tree. Ids and parents of devices do not change, so only the list itself can be out of date.
struct ReadTree {
  std::map<DWORD, TreeDevice> devices;
  std::map<std::wstring, std::set<DWORD>> children;  // by the parent's id in upper case
};
std::mutex treeMutex;
std::shared_ptr<const ReadTree> lastTree = std::make_shared<ReadTree>();

std::wstring upperCase(std::wstring id) {
  ::CharUpperBuffW(id.data(), static_cast<DWORD>(id.size()));
  return id;
}

std::shared_ptr<const ReadTree> knownTree() {
  const std::lock_guard lock(treeMutex);
  return lastTree;
}

bool isStillThere(const TreeDevice& device) {
  return readNumber(benchKey(device.id), L"DevInst") == device.number;
}

std::optional<TreeDevice> findIn(const ReadTree& tree, DWORD number) {
  const auto found = tree.devices.find(number);
  return found == tree.devices.end() ? std::nullopt : std::optional(found->second);
}

// The known children of a device with numbers above the given one, in order.
std::vector<TreeDevice> childrenBehind(const std::wstring& parent, DWORD number) {
  const std::shared_ptr<const ReadTree> tree = knownTree();
  std::vector<TreeDevice> devices;
  const auto children = tree->children.find(upperCase(parent));
  if (children != tree->children.end()) {
    for (auto child = children->second.upper_bound(number); child != children->second.end(); ++child) {
      devices.push_back(tree->devices.at(*child));
    }
  }
  return devices;
}

// A device that is not in the list may have been added since the list was read.
std::optional<TreeDevice> find(DWORD number) {
  std::optional<TreeDevice> device = findIn(*knownTree(), number);
  if (!device) {
    readDevices();
    device = findIn(*knownTree(), number);
  }
  return device && isStillThere(*device) ? device : std::nullopt;
}

// The first present child of a parent with a number above the given one.
std::optional<DWORD> childBehind(const std::wstring& parent, DWORD number) {
  for (const TreeDevice& device : childrenBehind(parent, number)) {
    if (isStillThere(device) && isPresent(device.id)) {
      return device.number;
    }
  }
  return std::nullopt;
}

}  // namespace

std::vector<TreeDevice> readDevices() {
  const auto tree = std::make_shared<ReadTree>();
  for (const std::wstring& enumerator : subkeysOf(kEnumKey)) {
    for (const std::wstring& device : subkeysOf(kEnumKey + enumerator)) {
      for (const std::wstring& instance : subkeysOf(kEnumKey + enumerator + L"\\" + device)) {
        const std::wstring id = enumerator + L"\\" + device + L"\\" + instance;
        if (const DWORD number = readNumber(benchKey(id), L"DevInst"); number != 0) {
          const std::wstring parent = readText(benchKey(id), L"Parent");
          tree->devices[number] = {number, id, parent.empty() ? kRootId : parent};
        }
      }
    }
  }
  std::vector<TreeDevice> devices;
  for (const auto& [number, device] : tree->devices) {
    devices.push_back(device);
    tree->children[upperCase(device.parent)].insert(number);
  }
  const std::lock_guard lock(treeMutex);
  lastTree = tree;
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
  for (const TreeDevice& device : childrenBehind(id, 0)) {
    if (isStillThere(device)) {
      writeNumber(benchKey(device.id), L"Present", 0);
    }
  }
  if (const std::wstring driver = readText(deviceKey(id), L"Driver"); !driver.empty()) {
    deleteTree(kClassKey + driver);
  }
  deleteTree(deviceKey(id));
  // The hardware's own key is deleted with its last instance; while there is another, this call fails.
  ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, deviceKey(id).substr(0, deviceKey(id).rfind(L'\\')).c_str());
}

}  // namespace bench
