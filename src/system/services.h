// services - stops and deletes Windows services, and sweeps the service keys of graphics kernel drivers that no device
// uses. Knows nothing of lists of the session.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include "system/handles.h"

// The connection to the service control manager that the services of a list share: opening it costs more than all that
// is asked about a service that the machine lacks.
class ServiceManager {
 public:
  // Opened with all access when first asked for; null, with the reason in GetLastError, when that fails, and then tried
  // again for the next service. OpenSCManagerW.
  SC_HANDLE get();

 private:
  ServiceHandle handle_;
};

// Stops a service and waits until it has stopped. Gives up when 30,000 milliseconds are over behind a sleep, which the
// service's own hint may make as long as 300,000; a longer hint is cut, which is all that is logged. True when it is
// stopped. A service that does not exist counts as a failure. Dependent services are not stopped.
bool StopService(std::wstring name, ServiceManager& manager);
bool StopService(std::wstring name);

// True, with a log line, for the codes of a failed DeleteService that leave nothing to do: 0, ERROR_ACCESS_DENIED,
// ERROR_ALREADY_EXISTS, ERROR_SERVICE_DOES_NOT_EXIST, ERROR_SERVICE_MARKED_FOR_DELETE.
bool IsAcceptableReturnCode(DWORD code);

// True when the key (a subkey of HKEY_LOCAL_MACHINE with a backslash at its end) has a REG_MULTI_SZ value named exactly
// LowerFilters. Keys below it are looked at, but what is found there decides nothing.
bool HasLowerFilters(const std::wstring& path);

// Deletes service keys named like a graphics kernel driver to which no PCI device of the vendor refers. Those in use
// stay, since the removal of the device needs them. Throws RegKeyError when the device or service keys cannot be read.
void DeleteStaleDisplayServiceKeys();

namespace SystemOperation {

// Deletes one service. 1 when it is gone, going, or cannot be opened; 0 when DeleteService failed for a reason that
// counts. Throws nothing.
int delService(const std::wstring& name, ServiceManager& manager);
int delService(const std::wstring& name);

// Deletes the listed services, all but orvpcifd. 1 when all went, -1 when none did, 0 otherwise. Throws nothing.
int delORVServices(std::vector<std::wstring> services);

}  // namespace SystemOperation
