#include "system/services.h"

#include <algorithm>
#include <array>
#include <utility>

#include "system/log.h"
#include "system/lower_filters.h"
#include "system/registry.h"

namespace {

constexpr DWORD kStopBudgetMilliseconds = 30000;
constexpr DWORD kShortestWaitMilliseconds = 1000;
constexpr DWORD kLongestWaitMilliseconds = 10000;
// The longest single sleep that a service may ask for.
constexpr DWORD kLongestHintMilliseconds = 300000;

constexpr wchar_t kFirstAcpiTree[] = L"SYSTEM\\CurrentControlSet\\Enum\\ACPI\\PNP0A08\\";
constexpr wchar_t kSecondAcpiTree[] = L"SYSTEM\\CurrentControlSet\\Enum\\ACPI\\PNP0A03\\";

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

// Waits until the service has left SERVICE_STOP_PENDING, in sleeps of a tenth of its wait hint.
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

// Waits until the service has stopped, in sleeps as long as its wait hint, which may be 0. The hint may also be
// INFINITE, so it is cut to five minutes.
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
  // SERVICE_STATUS is the first part of SERVICE_STATUS_PROCESS, so the wait below sees the state that this call
  // returns.
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
    // A code whose line cannot be written does not count as acceptable.
    LogError(L"Exception - CommonHelperUtilities::IsAcceptableReturnCode - Inside Catch");
    return false;
  }
  return true;
}

void DeleteStaleDisplayServiceKeys(const StaleServicePlan& plan) {
  const RegistryKey services = OpenRegistryKey(HKEY_LOCAL_MACHINE, kServicesKey, KEY_READ);
  for (const std::wstring& name : plan.stale) {
    LogDebug(L"Deleting service regkey %s\\%s", kServicesKey, name.c_str());
    ::RegDeleteTreeW(services.get(), name.c_str());
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
    // The caller gets the result so far and continues with the next service.
    LogError(L"Exception - SystemOperation::delService Inside Catch Error Code is: %d", ::GetLastError());
  }
  return result;
}

int SystemOperation::delORVServices(const std::vector<std::wstring>& services) {
  LogDebug(L"SystemOperation::delORVServices - Entered DeleteORVServices");
  const std::size_t total = services.size();
  std::size_t deleted = 0;
  ServiceManager manager;
  try {
    for (const std::wstring& name : PlanServiceDeletion(services).remove) {
      // The plan spares the filter driver whether or not a filter entry refers to it, so these tests never match. They
      // stay: what happens to the driver must never come to depend on them.
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
    // The rest of the list stays, and the result tells the caller that not everything went.
    LogError(L"Exception - SystemOperation::delORVServices Inside Catch Error Code is: %d", ::GetLastError());
    return 0;
  }
  if (deleted == total) {
    return 1;
  }
  return deleted == 0 ? -1 : 0;
}
