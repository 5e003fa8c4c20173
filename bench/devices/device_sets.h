// device_sets - what stands behind the handles of device information sets, and how each call looks up what it was
// given.
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
  ULONG_PTR tag;  // in SP_DRVINFO_DATA_W.Reserved: which of the listed drivers a caller means
};

// One device in one set. A device that is removed through the set is listed in it no more; its installation parameters
// can still be read, as a caller wants to know from them whether a restart is needed.
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
  DWORD installParamsFailure = 0;  // planned for the time after the removal

  std::vector<ListedDriver>& drivers(DWORD type) {
    return type == SPDIT_CLASSDRIVER ? classDrivers : compatibleDrivers;
  }
};

struct ModelSet {
  std::list<SetElement> elements;
  std::unordered_map<DWORD, SetElement*> byNumber;
  // Where the listing by index has come to: callers count upwards.
  DWORD listedIndex = 0;
  std::list<SetElement>::iterator listed;

  // The element that a caller means who lists the set; the end behind the last.
  std::list<SetElement>::iterator at(DWORD index);
  // Has the elements counted anew: at the start, and when one is listed no more.
  void listFromStart();
};

// Sets the last error and returns whether it is none.
BOOL answer(DWORD error);

HDEVINFO openSet(std::list<SetElement> elements);
bool closeSet(HDEVINFO handle);
// Null, with the last error set, for a handle that is none.
ModelSet* findSet(HDEVINFO handle);

// The device that a call is about. Null, with the last error set, when the set or the device's structure is not valid.
SetElement* findElement(HDEVINFO set, const SP_DEVINFO_DATA* data);
// The same for the call of that name, which needs a device that is still on the machine and may be planned to fail.
SetElement* findDevice(HDEVINFO set, const SP_DEVINFO_DATA* data, const wchar_t* call);

// What DIF_REMOVE, SetupDiRemoveDevice and DiUninstallDevice do, under the name by which it may be planned to fail. The
// last error is set.
bool removeElement(HDEVINFO set, const SP_DEVINFO_DATA* data, const wchar_t* call);

// Adds the target paths of a driver's files to a queue. False when the handle is none.
bool queueFiles(HSPFILEQ queue, const std::vector<std::wstring>& files);
bool isQueue(HSPFILEQ queue);

}  // namespace bench
