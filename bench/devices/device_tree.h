// device_tree - the devices of the test machine as a tree. The list of devices is read again when a device information
// set is created and when the tree is enumerated; details of a device are read from the registry each time.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <windows.h>

namespace bench {

constexpr DWORD kRootNumber = 1;
inline const std::wstring kRootId = L"HTREE\\ROOT\\0";

struct TreeDevice {
  DWORD number;  // DevInst
  std::wstring id;
  std::wstring parent;  // id; the root's for a device that names none
};

// Reads the list again. In the order of the numbers.
std::vector<TreeDevice> readDevices();

// The id of a device that is still on the machine, present or not. Empty for a number that no device has.
std::wstring idOf(DWORD number);
bool isPresent(const std::wstring& id);

// Present devices only. Empty if there is none.
std::optional<DWORD> parentOf(DWORD number);
std::optional<DWORD> firstChildOf(DWORD number);
std::optional<DWORD> nextSiblingOf(DWORD number);

// Removes a device from the machine, with the software key of its driver. Its children stay known but are no longer
// present.
void removeDevice(const std::wstring& id);

}  // namespace bench
