// setupapi_drivers - the calls that work on lists of drivers that fit a device.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <cwchar>

#include <windows.h>

#include <setupapi.h>

#include "device_registry.h"
#include "device_sets.h"
#include "device_tree.h"
#include "not_covered.h"

using namespace bench;

namespace {

void requireDriverType(DWORD type) {
  if (type != SPDIT_CLASSDRIVER && type != SPDIT_COMPATDRIVER) {
    notCovered("driver types but SPDIT_CLASSDRIVER and SPDIT_COMPATDRIVER");
  }
}

template <size_t size>
void copyText(wchar_t (&target)[size], const std::wstring& text) {
  std::wcsncpy(target, text.c_str(), size - 1);
  target[size - 1] = L'\0';
}

// The device's own drivers and, for a class list, those of the other devices of its class after them. Drivers that
// are excluded from selection by hand are included only on request.
std::vector<DriverNode> fittingNodes(const SetElement& element, DWORD type) {
  std::vector<DriverNode> nodes = driverNodesOf(element.id);
  const auto hideExcluded = [&element, &nodes] {
    if (!(element.install.FlagsEx & DI_FLAGSEX_ALLOWEXCLUDEDDRVS)) {
      std::erase_if(nodes, [](const DriverNode& node) { return node.excluded; });
    }
  };
  if (element.install.FlagsEx & DI_FLAGSEX_INSTALLEDDRIVER) {
    std::erase_if(nodes, [](const DriverNode& node) { return !node.installed; });
    hideExcluded();
    return nodes;
  }
  const std::wstring classGuid = readText(deviceKey(element.id), L"ClassGUID");
  if (type == SPDIT_CLASSDRIVER && !classGuid.empty()) {
    for (const TreeDevice& device : readDevices()) {
      if (device.id == element.id || !equalsNoCase(readText(deviceKey(device.id), L"ClassGUID"), classGuid)) {
        continue;
      }
      for (const DriverNode& node : driverNodesOf(device.id)) {
        if (std::find(nodes.begin(), nodes.end(), node) == nodes.end()) {
          nodes.push_back(node);
        }
      }
    }
  }
  const std::wstring singleInf = element.install.DriverPath;
  if ((element.install.Flags & DI_ENUMSINGLEINF) && !singleInf.empty()) {
    std::erase_if(nodes, [&singleInf](const DriverNode& node) { return !equalsNoCase(node.inf, singleInf); });
  }
  hideExcluded();
  return nodes;
}

const ListedDriver* findListed(SetElement& element, ULONG_PTR tag) {
  for (const DWORD type : {SPDIT_CLASSDRIVER, SPDIT_COMPATDRIVER}) {
    for (const ListedDriver& driver : element.drivers(type)) {
      if (tag != 0 && driver.tag == tag) {
        return &driver;
      }
    }
  }
  return nullptr;
}

// Each listing of a driver has a unique tag, so that an entry that a caller keeps from a destroyed list is not
// accepted.
ULONG_PTR nextTag() {
  static LONG last = 0;
  return static_cast<ULONG_PTR>(::InterlockedIncrement(&last));
}

}  // namespace

BOOL WINAPI SetupDiBuildDriverInfoList(HDEVINFO set, PSP_DEVINFO_DATA data, DWORD type) {
  requireDriverType(type);
  if (!data) {
    notCovered("SetupDiBuildDriverInfoList for a whole set");
  }
  SetElement* const element = findDevice(set, data, L"SetupDiBuildDriverInfoList");
  if (!element) {
    return FALSE;
  }
  // A list that was built is kept until it is destroyed, whatever has changed since.
  const DWORD built = type == SPDIT_CLASSDRIVER ? DI_DIDCLASS : DI_DIDCOMPAT;
  if (!(element->install.Flags & built)) {
    for (const DriverNode& node : fittingNodes(*element, type)) {
      element->drivers(type).push_back({node, nextTag()});
    }
    element->install.Flags |= built;
  }
  return answer(ERROR_SUCCESS);
}

BOOL WINAPI SetupDiEnumDriverInfoW(HDEVINFO set, PSP_DEVINFO_DATA data, DWORD type, DWORD index,
                                   PSP_DRVINFO_DATA_W driver) {
  requireDriverType(type);
  SetElement* const element = findElement(set, data);
  if (!element) {
    return FALSE;
  }
  if (!driver || driver->cbSize != sizeof(*driver)) {
    return answer(ERROR_INVALID_USER_BUFFER);
  }
  const std::vector<ListedDriver>& drivers = element->drivers(type);
  if (index >= drivers.size()) {
    return answer(ERROR_NO_MORE_ITEMS);
  }
  if (const DWORD failure = plannedFailure(benchKey(element->id), L"SetupDiEnumDriverInfoW"); failure != 0) {
    return answer(failure);
  }
  const DriverNode& node = drivers[index].node;
  driver->DriverType = type;
  driver->Reserved = drivers[index].tag;
  copyText(driver->Description, node.description);
  copyText(driver->MfgName, node.manufacturer);
  copyText(driver->ProviderName, node.provider);
  driver->DriverDate = node.date;
  driver->DriverVersion = node.version;
  return answer(ERROR_SUCCESS);
}

BOOL WINAPI SetupDiGetDriverInfoDetailW(HDEVINFO set, PSP_DEVINFO_DATA data, PSP_DRVINFO_DATA_W driver,
                                        PSP_DRVINFO_DETAIL_DATA_W detail, DWORD size, PDWORD requiredSize) {
  SetElement* const element = findDevice(set, data, L"SetupDiGetDriverInfoDetailW");
  if (!element) {
    return FALSE;
  }
  if (driver && driver->cbSize != sizeof(*driver)) {
    return answer(ERROR_INVALID_USER_BUFFER);
  }
  const ListedDriver* const listed = findListed(*element, driver ? driver->Reserved : element->selected);
  if (!listed) {
    return answer(driver ? ERROR_INVALID_PARAMETER : static_cast<DWORD>(ERROR_NO_DRIVER_SELECTED));
  }
  if (detail ? size < sizeof(*detail) || detail->cbSize != sizeof(*detail) : size != 0) {
    return answer(ERROR_INVALID_USER_BUFFER);
  }
  // The hardware id with its terminator, and the terminator of an empty list of compatible ids.
  const DriverNode& node = listed->node;
  const size_t idBytes = (node.hardwareId.size() + 2) * sizeof(wchar_t);
  const size_t needed =
      std::max(sizeof(SP_DRVINFO_DETAIL_DATA_W), offsetof(SP_DRVINFO_DETAIL_DATA_W, HardwareID) + idBytes);
  if (requiredSize) {
    *requiredSize = static_cast<DWORD>(needed);
  }
  if (!detail) {
    return answer(ERROR_INSUFFICIENT_BUFFER);
  }
  detail->InfDate = node.date;
  detail->CompatIDsOffset = static_cast<DWORD>(node.hardwareId.size() + 1);
  detail->CompatIDsLength = 0;
  detail->Reserved = listed->tag;
  copyText(detail->SectionName, node.section);
  copyText(detail->InfFileName, node.inf);
  copyText(detail->DrvDescription, node.description);
  detail->HardwareID[0] = L'\0';
  if (size < needed) {
    return answer(ERROR_INSUFFICIENT_BUFFER);
  }
  std::memcpy(reinterpret_cast<BYTE*>(detail) + offsetof(SP_DRVINFO_DETAIL_DATA_W, HardwareID),
              (node.hardwareId + L'\0').c_str(), idBytes);
  return answer(ERROR_SUCCESS);
}

BOOL WINAPI SetupDiSetSelectedDriverW(HDEVINFO set, PSP_DEVINFO_DATA data, PSP_DRVINFO_DATA_W driver) {
  SetElement* const element = findDevice(set, data, L"SetupDiSetSelectedDriverW");
  if (!element) {
    return FALSE;
  }
  if (!driver) {
    element->selected = 0;
    return answer(ERROR_SUCCESS);
  }
  if (driver->cbSize != sizeof(*driver)) {
    return answer(ERROR_INVALID_USER_BUFFER);
  }
  if (driver->Reserved == 0) {
    notCovered("a search by SetupDiSetSelectedDriverW");
  }
  if (!findListed(*element, driver->Reserved)) {
    return answer(ERROR_INVALID_PARAMETER);
  }
  element->selected = driver->Reserved;
  return answer(ERROR_SUCCESS);
}

BOOL WINAPI SetupDiDestroyDriverInfoList(HDEVINFO set, PSP_DEVINFO_DATA data, DWORD type) {
  requireDriverType(type);
  SetElement* const element = findElement(set, data);
  if (!element) {
    return FALSE;
  }
  std::vector<ListedDriver>& drivers = element->drivers(type);
  if (std::any_of(drivers.begin(), drivers.end(),
                  [element](const ListedDriver& driver) { return driver.tag == element->selected; })) {
    element->selected = 0;
  }
  drivers.clear();
  element->install.Flags &= ~static_cast<DWORD>(type == SPDIT_CLASSDRIVER ? DI_DIDCLASS : DI_DIDCOMPAT);
  return answer(ERROR_SUCCESS);
}

BOOL WINAPI SetupUninstallOEMInfW(PCWSTR fileName, DWORD flags, PVOID) {
  if (flags & ~static_cast<DWORD>(SUOI_FORCEDELETE)) {
    notCovered("flags of SetupUninstallOEMInfW but SUOI_FORCEDELETE");
  }
  return answer(fileName ? uninstallOemInf(fileName, (flags & SUOI_FORCEDELETE) != 0) : ERROR_INVALID_PARAMETER);
}

extern "C" BOOL WINAPI DiUninstallDriverW(HWND, LPCWSTR infPath, DWORD flags, PBOOL needReboot) {
  constexpr DWORD kNoRemoveInf = 1;
  if (flags & ~kNoRemoveInf) {
    return answer(ERROR_INVALID_FLAGS);
  }
  if (flags == kNoRemoveInf) {
    notCovered("DiUninstallDriverW that keeps the package");
  }
  bool reboot = false;
  const DWORD error = infPath ? uninstallDriver(infPath, &reboot) : ERROR_INVALID_PARAMETER;
  if (error == ERROR_SUCCESS && needReboot) {
    *needReboot = reboot;
  }
  return answer(error);
}
