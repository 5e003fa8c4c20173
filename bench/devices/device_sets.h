// device_sets - the objects behind the handles of device information sets, and how calls look up their arguments.
#pragma once

#include <list>
#include <string>
#include <unordered_map>
#include <vector>

#include <windows.h>

#include <setupapi.h>

#include "driver_store.h"

namespace bench {

struct ListedDriver {
  DriverNode node;
  ULONG_PTR tag;  // in SP_DRVINFO_DATA_W.Reserved: identifies a listed driver
};

// One device in one set. A device that was removed through the set is no longer listed in it, but its installation
// parameters can still be read, since they tell the caller whether a restart is needed.
struct SetElement {
  DWORD number;
  std::wstring id;
  GUID classGuid;
  SP_DEVINSTALL_PARAMS_W install = {};
  SP_REMOVEDEVICE_PARAMS remove = {};
  std::vector<ListedDriver> classDrivers;
  std::vector<ListedDriver> compatibleDrivers;
  ULONG_PTR selected = 0;  // tag of a listed driver
  bool removed = false;
  DWORD installParamsFailure = 0;  // takes effect after the removal

  std::vector<ListedDriver>& drivers(DWORD type) {
    return type == SPDIT_CLASSDRIVER ? classDrivers : compatibleDrivers;
  }
};

struct ModelSet {
  std::list<SetElement> elements;
  std::unordered_map<DWORD, SetElement*> byNumber;
  // The position of the last listing by index, since callers count upwards.
  DWORD listedIndex = 0;
  std::list<SetElement>::iterator listed;

  // The element with that index when listing the set; the end iterator after the last.
  std::list<SetElement>::iterator at(DWORD index);
  // Restarts the counting: at the start, and when an element is no longer listed.
  void listFromStart();
};

// Sets the last error and returns whether it is ERROR_SUCCESS.
BOOL answer(DWORD error);

HDEVINFO openSet(std::list<SetElement> elements);
bool closeSet(HDEVINFO handle);
// Null, with the last error set, for an invalid handle.
ModelSet* findSet(HDEVINFO handle);

// The device that a call refers to. Null, with the last error set, if the set or the device's structure is not valid.
SetElement* findElement(HDEVINFO set, const SP_DEVINFO_DATA* data);
// The same for the call of that name, which needs a device that is still on the machine and may be planted to fail.
SetElement* findDevice(HDEVINFO set, const SP_DEVINFO_DATA* data, const wchar_t* call);

// What DIF_REMOVE, SetupDiRemoveDevice and DiUninstallDevice do, under the name by which it may be planted to fail.
// Sets the last error.
bool removeElement(HDEVINFO set, const SP_DEVINFO_DATA* data, const wchar_t* call);

// Adds the target paths of a driver's files to a queue. False if the handle is invalid.
bool queueFiles(HSPFILEQ queue, const std::vector<std::wstring>& files);
bool isQueue(HSPFILEQ queue);

}  // namespace bench
