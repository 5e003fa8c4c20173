// service_plan - which services and service keys go, and which are kept. Reads and decides; stops and deletes nothing.
#pragma once

#include <string>
#include <unordered_set>
#include <vector>

// The filter driver, whose service always stays.
inline constexpr wchar_t kSparedService[] = L"orvpcifd";

// What becomes of the services of a work list.
struct ServiceDeletionPlan {
  std::vector<std::wstring> remove;
  std::vector<std::wstring> spared;
};

// Spares the filter driver by its exact name. Both lists keep the order of `services`. Pure.
ServiceDeletionPlan PlanServiceDeletion(const std::vector<std::wstring>& services);

// The key below HKEY_LOCAL_MACHINE that holds all services.
inline constexpr wchar_t kServicesKey[] = L"SYSTEM\\CurrentControlSet\\Services";

// What the registry says about services of graphics kernel drivers.
struct DisplayServices {
  std::unordered_set<std::wstring> inUse;  // that PCI devices of the vendor name, in lower case
  std::vector<std::wstring> registered;    // the names of all service keys, as they are enumerated
};

// Throws RegKeyError when the device keys or the service keys cannot be read; a device without a readable service name
// is passed over.
DisplayServices FindDisplayServices();

// The service keys of graphics kernel drivers, as they are enumerated.
struct StaleServicePlan {
  std::vector<std::wstring> stale;  // no device refers to them
  std::vector<std::wstring> inUse;  // they stay, since the removal of their devices needs them
};

// Names are compared without case. Pure.
StaleServicePlan PlanStaleDisplayServices(const DisplayServices& services);
