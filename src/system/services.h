// services - stops and deletes Windows services, and deletes service keys. Knows nothing of why one of them goes.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include "system/handles.h"
#include "system/service_plan.h"

// The connection to the service control manager that the services of a list share. Opening it takes longer than finding
// out that a service does not exist.
class ServiceManager {
 public:
  // Opens the connection with all access on the first call. Null when that fails, with the reason in GetLastError; the
  // next call tries again. OpenSCManagerW.
  SC_HANDLE get();

 private:
  ServiceHandle handle_;
};

// Stops a service and waits until it has stopped. Gives up when more than 30,000 milliseconds have passed at the end of
// a sleep; a single sleep takes as long as the service's hint, at most 300,000. Logs only when it cuts a longer hint.
// True when the service is stopped. A service that does not exist counts as a failure. Dependent services are not
// stopped.
bool StopService(std::wstring name, ServiceManager& manager);
bool StopService(std::wstring name);

// True, with a log line, for the codes of a failed DeleteService that leave nothing to do: 0, ERROR_ACCESS_DENIED,
// ERROR_ALREADY_EXISTS, ERROR_SERVICE_DOES_NOT_EXIST, ERROR_SERVICE_MARKED_FOR_DELETE.
bool IsAcceptableReturnCode(DWORD code);

// Deletes the stale keys of the plan with everything in them. A key that cannot be deleted is not reported. Throws
// RegKeyError when the key of all services cannot be opened. RegDeleteTreeW.
void DeleteStaleDisplayServiceKeys(const StaleServicePlan& plan);

namespace SystemOperation {

// Deletes one service. 1 when it has been deleted, is marked for deletion or cannot be opened; 0 when DeleteService
// failed with a code that is not acceptable. Throws nothing.
int delService(const std::wstring& name, ServiceManager& manager);
int delService(const std::wstring& name);

// Deletes the listed services that PlanServiceDeletion does not spare. 1 when all of the list went, -1 when none did, 0
// otherwise. Throws nothing.
int delORVServices(const std::vector<std::wstring>& services);

}  // namespace SystemOperation
