// configuration_manager - the calls that work on the device tree.

#include <cwchar>
#include <optional>

#include <windows.h>

#include <cfgmgr32.h>

#include "device_registry.h"
#include "device_tree.h"
#include "not_covered.h"

using namespace bench;

namespace {

void requireNoFlags(ULONG flags, const char* call) {
  if (flags != 0) {
    notCovered((std::string("flags of ") + call).c_str());
  }
}

// The planted result for a device, or for the root.
CONFIGRET plannedResult(DEVINST device, const wchar_t* call) {
  const std::wstring id = idOf(device);
  return id.empty() ? 0 : plannedFailure(device == kRootNumber ? kDevicesKey : benchKey(id), call);
}

CONFIGRET step(PDEVINST result, DEVINST from, ULONG flags, std::optional<DWORD> (*next)(DWORD), const char* call,
               const wchar_t* callName) {
  requireNoFlags(flags, call);
  if (!result) {
    return CR_INVALID_POINTER;
  }
  if (const CONFIGRET planned = plannedResult(from, callName); planned != CR_SUCCESS) {
    return planned;
  }
  const std::optional<DWORD> found = next(from);
  if (!found) {
    return CR_NO_SUCH_DEVNODE;
  }
  *result = *found;
  return CR_SUCCESS;
}

}  // namespace

CONFIGRET WINAPI CM_Locate_DevNodeW(PDEVINST result, DEVINSTID_W id, ULONG flags) {
  requireNoFlags(flags, "CM_Locate_DevNodeW");
  if (id) {
    notCovered("CM_Locate_DevNodeW for a device but the root");
  }
  if (!result) {
    return CR_INVALID_POINTER;
  }
  if (const DWORD planned = plannedFailure(kDevicesKey, L"CM_Locate_DevNodeW"); planned != CR_SUCCESS) {
    return planned;
  }
  *result = kRootNumber;
  return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Reenumerate_DevNode(DEVINST device, ULONG flags) {
  if (flags & ~static_cast<ULONG>(CM_REENUMERATE_SYNCHRONOUS)) {
    notCovered("flags of CM_Reenumerate_DevNode but CM_REENUMERATE_SYNCHRONOUS");
  }
  const std::wstring id = idOf(device);
  if (id.empty()) {
    return CR_NO_SUCH_DEVNODE;
  }
  const CONFIGRET result = plannedResult(device, L"CM_Reenumerate_DevNode");
  readDevices();
  recordCall(L"CM_Reenumerate_DevNode", id, result);
  return result;
}

CONFIGRET WINAPI CM_Get_Parent(PDEVINST parent, DEVINST device, ULONG flags) {
  return step(parent, device, flags, parentOf, "CM_Get_Parent", L"CM_Get_Parent");
}

CONFIGRET WINAPI CM_Get_Child(PDEVINST child, DEVINST device, ULONG flags) {
  return step(child, device, flags, firstChildOf, "CM_Get_Child", L"CM_Get_Child");
}

CONFIGRET WINAPI CM_Get_Sibling(PDEVINST sibling, DEVINST device, ULONG flags) {
  return step(sibling, device, flags, nextSiblingOf, "CM_Get_Sibling", L"CM_Get_Sibling");
}

CONFIGRET WINAPI CM_Get_Device_ID_Size(PULONG length, DEVINST device, ULONG flags) {
  requireNoFlags(flags, "CM_Get_Device_ID_Size");
  if (!length) {
    return CR_INVALID_POINTER;
  }
  *length = 0;
  const std::wstring id = idOf(device);
  if (id.empty()) {
    return CR_NO_SUCH_DEVNODE;
  }
  if (const CONFIGRET planned = plannedResult(device, L"CM_Get_Device_ID_Size"); planned != CR_SUCCESS) {
    return planned;
  }
  *length = static_cast<ULONG>(id.size());  // without the terminator
  return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Get_Device_IDW(DEVINST device, PWCHAR buffer, ULONG length, ULONG flags) {
  requireNoFlags(flags, "CM_Get_Device_IDW");
  const std::wstring id = idOf(device);
  if (id.empty()) {
    return CR_NO_SUCH_DEVNODE;
  }
  if (const CONFIGRET planned = plannedResult(device, L"CM_Get_Device_IDW"); planned != CR_SUCCESS) {
    return planned;
  }
  if (!buffer) {
    return CR_INVALID_POINTER;
  }
  if (length < id.size()) {
    return CR_BUFFER_SMALL;
  }
  // The terminator is written only if there is room for it.
  std::wcsncpy(buffer, id.c_str(), length);
  return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Get_DevNode_Status(PULONG status, PULONG problem, DEVINST device, ULONG flags) {
  requireNoFlags(flags, "CM_Get_DevNode_Status");
  if (!status || !problem) {
    return CR_INVALID_POINTER;
  }
  const std::wstring id = idOf(device);
  if (id.empty() || !isPresent(id)) {
    return CR_NO_SUCH_DEVNODE;
  }
  if (const CONFIGRET planned = plannedResult(device, L"CM_Get_DevNode_Status"); planned != CR_SUCCESS) {
    return planned;
  }
  constexpr ULONG kRootStatus = 0x0100000B;  // the root itself, loaded, enumerated and started
  *status = device == kRootNumber ? kRootStatus : readNumber(benchKey(id), L"Status");
  *problem = device == kRootNumber ? 0 : readNumber(benchKey(id), L"Problem");
  return CR_SUCCESS;
}
