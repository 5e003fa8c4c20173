#include "system/services.h"

#include <algorithm>
#include <array>
#include <regex>
#include <unordered_set>
#include <utility>

#include "system/handles.h"
#include "system/log.h"
#include "system/registry.h"
#include "system/text_case.h"

namespace {

constexpr DWORD kStopBudgetMilliseconds = 30000;
constexpr DWORD kShortestWaitMilliseconds = 1000;
constexpr DWORD kLongestWaitMilliseconds = 10000;
// What a service may have its end waited for at a time.
constexpr DWORD kLongestHintMilliseconds = 300000;

// The filter driver that must never go.
constexpr wchar_t kSparedService[] = L"orvpcifd";

constexpr wchar_t kFirstAcpiTree[] = L"SYSTEM\\CurrentControlSet\\Enum\\ACPI\\PNP0A08\\";
constexpr wchar_t kSecondAcpiTree[] = L"SYSTEM\\CurrentControlSet\\Enum\\ACPI\\PNP0A03\\";
constexpr wchar_t kPciTree[] = L"SYSTEM\\CurrentControlSet\\Enum\\PCI\\";
constexpr wchar_t kServicesKey[] = L"SYSTEM\\CurrentControlSet\\Services";

constexpr DWORD kKeyNameCharacters = 256;
constexpr DWORD kValueNameCharacters = 16384;

bool isDisplayServiceName(const std::wstring& lowerCaseName) {
  static const std::wregex expression(L"^orv.{4}g$");
  return std::regex_search(lowerCaseName, expression);
}

bool isVendorDeviceKey(const std::wstring& name) {
  return name.starts_with(L"VEN_7A11");
}

bool queryStatus(SC_HANDLE service, SERVICE_STATUS_PROCESS* status) {
  DWORD needed = 0;
  return ::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(status), sizeof(*status),
                                &needed);
}

bool budgetSpent(DWORD start) {
  return ::GetTickCount() - start > kStopBudgetMilliseconds;
}

// The state of the service after a wait.
enum class Wait { Stopped, NotStopped, GivenUp };

// Waits until the service has left SERVICE_STOP_PENDING, a tenth of its own hint at a time.
Wait waitWhileStopPending(SC_HANDLE service, SERVICE_STATUS_PROCESS* status, DWORD start) {
  while (status->dwCurrentState == SERVICE_STOP_PENDING) {
    ::Sleep(std::clamp(status->dwWaitHint / 10, kShortestWaitMilliseconds, kLongestWaitMilliseconds));
    if (!queryStatus(service, status)) {
      return Wait::GivenUp;
    }
    if (status->dwCurrentState == SERVICE_STOPPED) {
      return Wait::Stopped;
    }
    if (budgetSpent(start)) {
      return Wait::GivenUp;
    }
  }
  return Wait::NotStopped;
}

// Waits for the end after the stop control, the service's own hint at a time, which may be 0. A hint of more than five
// minutes, which may be as much as for ever, is cut to that.
bool waitUntilStopped(SC_HANDLE service, const std::wstring& name, SERVICE_STATUS_PROCESS* status, DWORD start) {
  while (status->dwCurrentState != SERVICE_STOPPED) {
    if (status->dwWaitHint > kLongestHintMilliseconds) {
      LogDebug(L"StopService - Wait hint of Service[%s] cut from %u to %u milliseconds", name.c_str(),
               static_cast<unsigned>(status->dwWaitHint), static_cast<unsigned>(kLongestHintMilliseconds));
    }
    ::Sleep(std::min(status->dwWaitHint, kLongestHintMilliseconds));
    if (!queryStatus(service, status)) {
      return false;
    }
    if (status->dwCurrentState == SERVICE_STOPPED) {
      break;
    }
    if (budgetSpent(start)) {
      return false;
    }
  }
  return true;
}

// The services that the vendor's PCI devices name, in lower case.
std::unordered_set<std::wstring> findDisplayServicesInUse() {
  std::unordered_set<std::wstring> inUse;
  const RegistryKey pci = OpenRegistryKey(HKEY_LOCAL_MACHINE, kPciTree, KEY_READ);
  for (const std::wstring& device : EnumerateSubkeys(pci.get())) {
    if (!isVendorDeviceKey(device)) {
      continue;
    }
    const RegistryKey deviceKey = OpenRegistryKey(HKEY_LOCAL_MACHINE, kPciTree + device, KEY_READ);
    for (const std::wstring& deviceInstance : EnumerateSubkeys(deviceKey.get())) {
      try {
        const std::wstring service = toLower(GetRegistryString(deviceKey.get(), deviceInstance.c_str(), L"Service"));
        if (isDisplayServiceName(service)) {
          inUse.insert(service);
        }
      } catch (...) {
        // An instance without a service takes no part; the next one is looked at.
      }
    }
  }
  return inUse;
}

}  // namespace

SC_HANDLE ServiceManager::get() {
  if (!handle_) {
    handle_.reset(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  }
  return handle_.get();
}

bool StopService(std::wstring name) {
  ServiceManager manager;
  return StopService(std::move(name), manager);
}

bool StopService(std::wstring name, ServiceManager& manager) {
  const DWORD start = ::GetTickCount();
  if (!manager.get()) {
    return false;
  }
  const ServiceHandle service(
      ::OpenServiceW(manager.get(), name.c_str(), SERVICE_STOP | SERVICE_QUERY_STATUS | SERVICE_ENUMERATE_DEPENDENTS));
  if (!service) {
    return false;
  }
  SERVICE_STATUS_PROCESS status = {};
  if (!queryStatus(service.get(), &status)) {
    return false;
  }
  if (status.dwCurrentState == SERVICE_STOPPED) {
    return true;
  }
  switch (waitWhileStopPending(service.get(), &status, start)) {
    case Wait::Stopped:
      return true;
    case Wait::GivenUp:
      return false;
    case Wait::NotStopped:
      break;
  }
  // The control call fills the front part of the same record, which is what the wait looks at.
  if (!::ControlService(service.get(), SERVICE_CONTROL_STOP, reinterpret_cast<SERVICE_STATUS*>(&status))) {
    return false;
  }
  return waitUntilStopped(service.get(), name, &status, start);
}

bool IsAcceptableReturnCode(DWORD code) {
  constexpr std::array<DWORD, 5> kAcceptable = {ERROR_SUCCESS, ERROR_ACCESS_DENIED, ERROR_ALREADY_EXISTS,
                                                ERROR_SERVICE_DOES_NOT_EXIST, ERROR_SERVICE_MARKED_FOR_DELETE};
  if (std::find(kAcceptable.begin(), kAcceptable.end(), code) == kAcceptable.end()) {
    return false;
  }
  try {
    LogDebug(L"CommonHelperUtilities::IsAcceptableReturnCode - Inside Acceptable Return Code and return code is (%d)",
             code);
  } catch (...) {
    // Without its line the code does not count as acceptable.
    LogError(L"Exception - CommonHelperUtilities::IsAcceptableReturnCode - Inside Catch");
    return false;
  }
  return true;
}

bool HasLowerFilters(const std::wstring& path) {
  // What is found below the start key never reaches the caller, but the tree is read to its end.
  std::vector<std::wstring> way = {path};
  std::vector<wchar_t> valueName(kValueNameCharacters);
  for (std::size_t visited = 0; !way.empty(); ++visited) {
    const std::wstring current = std::move(way.back());
    way.pop_back();
    RegistryKey key;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, current.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
      continue;
    }
    DWORD subkeys = 0;
    DWORD values = 0;
    ::RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr, nullptr,
                       nullptr, nullptr);
    bool found = false;
    for (DWORD index = 0; index < values && !found; ++index) {
      DWORD length = kValueNameCharacters - 1;
      DWORD type = REG_NONE;
      found = ::RegEnumValueW(key.get(), index, valueName.data(), &length, nullptr, &type, nullptr, nullptr) ==
                  ERROR_SUCCESS &&
              type == REG_MULTI_SZ && std::wstring_view(valueName.data()) == L"LowerFilters";
    }
    if (found && visited == 0) {
      return true;
    }
    for (DWORD index = 0; index < subkeys && !found; ++index) {
      wchar_t name[kKeyNameCharacters] = {};
      DWORD length = kKeyNameCharacters - 1;
      if (::RegEnumKeyExW(key.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
        way.push_back(current + name + L'\\');
      }
    }
  }
  return false;
}

void DeleteStaleDisplayServiceKeys() {
  const std::unordered_set<std::wstring> inUse = findDisplayServicesInUse();
  const RegistryKey services = OpenRegistryKey(HKEY_LOCAL_MACHINE, kServicesKey, KEY_READ);
  for (const std::wstring& name : EnumerateSubkeys(services.get())) {
    const std::wstring lowerCaseName = toLower(name);
    if (isDisplayServiceName(lowerCaseName) && !inUse.contains(lowerCaseName)) {
      LogDebug(L"Deleting service regkey %s\\%s", kServicesKey, name.c_str());
      ::RegDeleteTreeW(services.get(), name.c_str());
    }
  }
}

int SystemOperation::delService(const std::wstring& name) {
  ServiceManager manager;
  return delService(name, manager);
}

int SystemOperation::delService(const std::wstring& name, ServiceManager& manager) {
  int result = 1;
  try {
    if (!manager.get()) {
      LogDebug(L"SystemOperation::delService - OpenSCManager failed: %s, %d", name.c_str(), ::GetLastError());
      return result;
    }
    const ServiceHandle service(::OpenServiceW(manager.get(), name.c_str(), SERVICE_ALL_ACCESS));
    if (!service) {
      LogDebug(L"SystemOperation::delService - OpenService failed: %s, %d", name.c_str(), ::GetLastError());
      return result;
    }
    SERVICE_STATUS status = {};
    ::ControlService(service.get(), SERVICE_CONTROL_STOP, &status);
    if (::DeleteService(service.get())) {
      LogDebug(L"SystemOperation::delService - Successfully deleted the Service: %s", name.c_str());
      return result;
    }
    const DWORD error = ::GetLastError();
    if (!IsAcceptableReturnCode(error)) {
      result = 0;
      LogError(L"SystemOperation::delService - failed to deleted the Service: %s, Error Code is: %d", name.c_str(),
               error);
    }
  } catch (...) {
    // The caller gets the result so far and goes on with the next service.
    LogError(L"Exception - SystemOperation::delService Inside Catch Error Code is: %d", ::GetLastError());
  }
  return result;
}

int SystemOperation::delORVServices(std::vector<std::wstring> services) {
  LogDebug(L"SystemOperation::delORVServices - Entered DeleteORVServices");
  const std::size_t total = services.size();
  std::size_t deleted = 0;
  ServiceManager manager;
  try {
    for (const std::wstring& name : services) {
      if (name == kSparedService) {
        continue;
      }
      // The filter driver is spared above whether or not a filter entry refers to it, so these tests never match. They
      // stay in this order: the driver's removal must never come to depend on them.
      if ((HasLowerFilters(kFirstAcpiTree) && name == kSparedService) ||
          (HasLowerFilters(kSecondAcpiTree) && name == kSparedService)) {
        LogDebug(L"CDeleteServices::DeleteORVServices - ignored the service deletion: %s", name.c_str());
        continue;
      }
      LogDebug(L"SystemOperation::delORVServices - Deleting the service : %s", name.c_str());
      if (SystemOperation::delService(name, manager) != 0) {
        ++deleted;
      }
    }
  } catch (...) {
    // The rest of the list is left; the caller learns that not all went.
    LogError(L"Exception - SystemOperation::delORVServices Inside Catch Error Code is: %d", ::GetLastError());
    return 0;
  }
  if (deleted == total) {
    return 1;
  }
  return deleted == 0 ? -1 : 0;
}
