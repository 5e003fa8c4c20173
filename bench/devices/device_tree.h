// device_tree - the devices of the bench machine as a tree. The list of devices is read anew when a device information
// set is made and when the tree is enumerated; what is asked of one device is read from the registry each time.
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

// Reads the list anew; in the order of the numbers.
std::vector<TreeDevice> readDevices();

// The id of a device that is still on the machine, present or not. Empty for a number that no device has any more.
std::wstring idOf(DWORD number);
bool isPresent(const std::wstring& id);

// Present devices only. Empty at the ends of the tree.
std::optional<DWORD> parentOf(DWORD number);
std::optional<DWORD> firstChildOf(DWORD number);
std::optional<DWORD> nextSiblingOf(DWORD number);

// Takes a device from the machine, with the software key of its driver. Its children stay known and are absent from now
// on.
void removeDevice(const std::wstring& id);

}  // namespace bench
