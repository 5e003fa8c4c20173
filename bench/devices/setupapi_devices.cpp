// setupapi_devices - the calls that work on device information sets: listing devices, reading their properties and
// parameters, removal.

#include <cstring>

#include <windows.h>

#include <objbase.h>
#include <setupapi.h>

#include "device_registry.h"
#include "device_sets.h"
#include "device_tree.h"
#include "not_covered.h"

using namespace bench;

namespace {

constexpr DWORD kCoveredFlags = DI_NOVCP | DI_ENUMSINGLEINF | DI_DIDCOMPAT | DI_DIDCLASS | DI_NEEDREBOOT |
                                DI_NEEDRESTART | DI_CLASSINSTALLPARAMS | DI_QUIETINSTALL;
// Set by the calls that build and destroy driver lists; a caller cannot change them.
constexpr DWORD kReadOnlyFlags = DI_DIDCOMPAT | DI_DIDCLASS;
constexpr DWORD kCoveredFlagsEx = DI_FLAGSEX_INSTALLEDDRIVER | DI_FLAGSEX_ALLOWEXCLUDEDDRVS;

struct Property {
  DWORD code;
  const wchar_t* value;
  bool ofBench;  // stored below the model's own key
};

constexpr Property kProperties[] = {
    {SPDRP_DEVICEDESC, L"DeviceDesc", false},
    {SPDRP_HARDWAREID, L"HardwareID", false},
    {SPDRP_COMPATIBLEIDS, L"CompatibleIDs", false},
    {SPDRP_SERVICE, L"Service", false},
    {SPDRP_CLASS, L"Class", false},
    {SPDRP_CLASSGUID, L"ClassGUID", false},
    {SPDRP_DRIVER, L"Driver", false},
    {SPDRP_CONFIGFLAGS, L"ConfigFlags", false},
    {SPDRP_MFG, L"Mfg", false},
    {SPDRP_FRIENDLYNAME, L"FriendlyName", false},
    {SPDRP_CAPABILITIES, L"Capabilities", false},
    {SPDRP_UPPERFILTERS, L"UpperFilters", false},
    {SPDRP_LOWERFILTERS, L"LowerFilters", false},
    {SPDRP_INSTALL_STATE, L"InstallState", true},
};

const Property& coveredProperty(DWORD code) {
  for (const Property& property : kProperties) {
    if (property.code == code) {
      return property;
    }
  }
  notCovered("this property of SetupDiGetDeviceRegistryPropertyW");
}

bool isOfClass(const GUID& deviceClass, const GUID* wanted) {
  return !wanted || ::IsEqualGUID(deviceClass, *wanted);
}

std::list<SetElement> elementsOf(const GUID* classGuid, bool presentOnly) {
  std::list<SetElement> elements;
  for (const TreeDevice& device : readDevices()) {
    SetElement element = {};
    element.number = device.number;
    element.id = device.id;
    element.install.cbSize = sizeof(element.install);
    ::IIDFromString(readText(deviceKey(device.id), L"ClassGUID").c_str(), &element.classGuid);
    if (isOfClass(element.classGuid, classGuid) && (!presentOnly || isPresent(device.id))) {
      elements.push_back(element);
    }
  }
  return elements;
}

// Adds the files of the selected driver to the caller's queue.
BOOL installDeviceFiles(HDEVINFO set, PSP_DEVINFO_DATA data) {
  SetElement* const element = findDevice(set, data, L"DIF_INSTALLDEVICEFILES");
  if (!element) {
    return FALSE;
  }
  if (!(element->install.Flags & DI_NOVCP)) {
    notCovered("DIF_INSTALLDEVICEFILES without a queue of the caller's");
  }
  for (const DWORD type : {SPDIT_CLASSDRIVER, SPDIT_COMPATDRIVER}) {
    for (const ListedDriver& driver : element->drivers(type)) {
      if (driver.tag == element->selected) {
        return answer(queueFiles(element->install.FileQueue, driver.node.files) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
      }
    }
  }
  return answer(static_cast<DWORD>(ERROR_NO_DRIVER_SELECTED));
}

}  // namespace

HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* classGuid, PCWSTR enumerator, HWND, DWORD flags) {
  if (enumerator) {
    notCovered("an enumerator for SetupDiGetClassDevsW");
  }
  if (flags & ~static_cast<DWORD>(DIGCF_PRESENT | DIGCF_ALLCLASSES)) {
    notCovered("flags of SetupDiGetClassDevsW but DIGCF_PRESENT and DIGCF_ALLCLASSES");
  }
  DWORD error = plannedFailure(kDevicesKey, L"SetupDiGetClassDevsW");
  if (error == 0 && !classGuid && !(flags & DIGCF_ALLCLASSES)) {
    error = ERROR_INVALID_PARAMETER;
  }
  if (error != 0) {
    ::SetLastError(error);
    return INVALID_HANDLE_VALUE;
  }
  ::SetLastError(ERROR_SUCCESS);
  return openSet(elementsOf(flags & DIGCF_ALLCLASSES ? nullptr : classGuid, (flags & DIGCF_PRESENT) != 0));
}

BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO handle) {
  return closeSet(handle);
}

BOOL WINAPI SetupDiEnumDeviceInfo(HDEVINFO handle, DWORD index, PSP_DEVINFO_DATA data) {
  ModelSet* const set = findSet(handle);
  if (!set) {
    return FALSE;
  }
  if (!data || data->cbSize != sizeof(*data)) {
    return answer(data ? ERROR_INVALID_USER_BUFFER : ERROR_INVALID_PARAMETER);
  }
  const auto found = set->at(index);
  if (found == set->elements.end()) {
    return answer(ERROR_NO_MORE_ITEMS);
  }
  const SetElement& element = *found;
  if (const DWORD failure = plannedFailure(benchKey(element.id), L"SetupDiEnumDeviceInfo"); failure != 0) {
    return answer(failure);
  }
  data->ClassGuid = element.classGuid;
  data->DevInst = element.number;
  data->Reserved = reinterpret_cast<ULONG_PTR>(&element);
  return answer(ERROR_SUCCESS);
}

BOOL WINAPI SetupDiGetDeviceRegistryPropertyW(HDEVINFO set, PSP_DEVINFO_DATA data, DWORD code, PDWORD type,
                                              PBYTE buffer, DWORD bufferSize, PDWORD requiredSize) {
  const Property& property = coveredProperty(code);
  const SetElement* const element = findDevice(set, data, L"SetupDiGetDeviceRegistryPropertyW");
  if (!element) {
    return FALSE;
  }
  if (!buffer && bufferSize != 0) {
    return answer(ERROR_INVALID_PARAMETER);
  }
  const std::wstring key = property.ofBench ? benchKey(element->id) : deviceKey(element->id);
  DWORD size = 0;
  DWORD valueType = REG_NONE;
  const LSTATUS found =
      ::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), property.value, RRF_RT_ANY, &valueType, nullptr, &size);
  if (found != ERROR_SUCCESS) {
    return answer(ERROR_INVALID_DATA);
  }
  // RegGetValueW asks for room for terminators that it might add. The true size is what it has written.
  std::vector<BYTE> value(size);
  ::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), property.value, RRF_RT_ANY, nullptr, value.data(), &size);
  if (type) {
    *type = valueType;
  }
  if (requiredSize) {
    *requiredSize = size;
  }
  if (bufferSize < size) {
    return answer(ERROR_INSUFFICIENT_BUFFER);
  }
  if (size != 0) {
    std::memcpy(buffer, value.data(), size);
  }
  return answer(ERROR_SUCCESS);
}

BOOL WINAPI SetupDiGetDeviceInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA data, PSP_DEVINSTALL_PARAMS_W parameters) {
  const SetElement* const element = findElement(set, data);
  if (!element) {
    return FALSE;
  }
  if (!parameters || parameters->cbSize != sizeof(*parameters)) {
    return answer(ERROR_INVALID_USER_BUFFER);
  }
  DWORD failure = element->installParamsFailure;
  if (failure == 0) {
    failure = plannedFailure(benchKey(element->id), L"SetupDiGetDeviceInstallParamsW");
  }
  if (failure != 0) {
    return answer(failure);
  }
  *parameters = element->install;
  return answer(ERROR_SUCCESS);
}

BOOL WINAPI SetupDiSetDeviceInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA data, PSP_DEVINSTALL_PARAMS_W parameters) {
  SetElement* const element = findDevice(set, data, L"SetupDiSetDeviceInstallParamsW");
  if (!element) {
    return FALSE;
  }
  if (!parameters || parameters->cbSize != sizeof(*parameters)) {
    return answer(ERROR_INVALID_USER_BUFFER);
  }
  if (parameters->Flags & ~kCoveredFlags || parameters->FlagsEx & ~kCoveredFlagsEx) {
    notCovered("some of these flags of SetupDiSetDeviceInstallParamsW");
  }
  if ((parameters->Flags & DI_NOVCP) && !isQueue(parameters->FileQueue)) {
    return answer(ERROR_INVALID_PARAMETER);
  }
  if (parameters->FlagsEx & DI_FLAGSEX_INSTALLEDDRIVER) {
    if (const DWORD failure = plannedFailure(benchKey(element->id), L"DI_FLAGSEX_INSTALLEDDRIVER"); failure != 0) {
      return answer(failure);
    }
  }
  const DWORD readOnly = element->install.Flags & kReadOnlyFlags;
  element->install = *parameters;
  element->install.Flags = (parameters->Flags & ~kReadOnlyFlags) | readOnly;
  return answer(ERROR_SUCCESS);
}

BOOL WINAPI SetupDiSetClassInstallParamsW(HDEVINFO set, PSP_DEVINFO_DATA data, PSP_CLASSINSTALL_HEADER header,
                                          DWORD size) {
  SetElement* const element = findDevice(set, data, L"SetupDiSetClassInstallParamsW");
  if (!element) {
    return FALSE;
  }
  if (!header || header->cbSize != sizeof(*header)) {
    return answer(ERROR_INVALID_USER_BUFFER);
  }
  if (header->InstallFunction != DIF_REMOVE) {
    notCovered("class installation parameters but those of DIF_REMOVE");
  }
  if (size < sizeof(element->remove)) {
    return answer(ERROR_INVALID_PARAMETER);
  }
  std::memcpy(&element->remove, header, sizeof(element->remove));
  if (element->remove.Scope != DI_REMOVEDEVICE_GLOBAL) {
    notCovered("the removal of a device from one hardware profile");
  }
  element->install.Flags |= DI_CLASSINSTALLPARAMS;
  return answer(ERROR_SUCCESS);
}

BOOL WINAPI SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA data) {
  switch (function) {
    case DIF_REMOVE:
      return removeElement(set, data, L"DIF_REMOVE");
    case DIF_INSTALLDEVICEFILES:
      return installDeviceFiles(set, data);
    default:
      notCovered("this function of SetupDiCallClassInstaller");
  }
}

BOOL WINAPI SetupDiRemoveDevice(HDEVINFO set, PSP_DEVINFO_DATA data) {
  return removeElement(set, data, L"SetupDiRemoveDevice");
}

HKEY WINAPI SetupDiOpenDevRegKey(HDEVINFO set, PSP_DEVINFO_DATA data, DWORD scope, DWORD, DWORD keyType,
                                 REGSAM access) {
  if (scope != DICS_FLAG_GLOBAL || keyType != DIREG_DRV) {
    notCovered("keys of SetupDiOpenDevRegKey but the driver's, for all hardware profiles");
  }
  HKEY key = nullptr;
  const SetElement* const element = findDevice(set, data, L"SetupDiOpenDevRegKey");
  if (!element) {
    return static_cast<HKEY>(INVALID_HANDLE_VALUE);
  }
  const std::wstring driver = readText(deviceKey(element->id), L"Driver");
  if (driver.empty() ||
      ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kClassKey + driver).c_str(), 0, access, &key) != ERROR_SUCCESS) {
    ::SetLastError(static_cast<DWORD>(ERROR_KEY_DOES_NOT_EXIST));
    return static_cast<HKEY>(INVALID_HANDLE_VALUE);
  }
  return key;
}

extern "C" BOOL WINAPI DiUninstallDevice(HWND, HDEVINFO set, PSP_DEVINFO_DATA data, DWORD flags, PBOOL needReboot) {
  if (flags != 0) {
    return answer(ERROR_INVALID_FLAGS);
  }
  const SetElement* const element = findElement(set, data);
  const bool reboot = element && readNumber(benchKey(element->id), L"NeedRebootFallback") != 0;
  if (!removeElement(set, data, L"DiUninstallDevice")) {
    return FALSE;
  }
  if (needReboot) {
    *needReboot = reboot;
  }
  return TRUE;
}
