#include "system/service_plan.h"

#include <regex>

#include <windows.h>

#include "system/registry.h"
#include "system/text_case.h"

namespace {

constexpr wchar_t kPciTree[] = L"SYSTEM\\CurrentControlSet\\Enum\\PCI\\";

bool isDisplayServiceName(const std::wstring& lowerCaseName) {
  static const std::wregex expression(L"^orv.{4}g$");
  return std::regex_search(lowerCaseName, expression);
}

bool isVendorDeviceKey(const std::wstring& name) {
  return name.starts_with(L"VEN_7A11");
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
        // An instance without a service name does not count.
      }
    }
  }
  return inUse;
}

}  // namespace

ServiceDeletionPlan PlanServiceDeletion(const std::vector<std::wstring>& services) {
  ServiceDeletionPlan plan;
  for (const std::wstring& name : services) {
    (name == kSparedService ? plan.spared : plan.remove).push_back(name);
  }
  return plan;
}

DisplayServices FindDisplayServices() {
  DisplayServices services;
  services.inUse = findDisplayServicesInUse();
  services.registered = EnumerateSubkeys(OpenRegistryKey(HKEY_LOCAL_MACHINE, kServicesKey, KEY_READ).get());
  return services;
}

StaleServicePlan PlanStaleDisplayServices(const DisplayServices& services) {
  StaleServicePlan plan;
  for (const std::wstring& name : services.registered) {
    const std::wstring lowerCaseName = toLower(name);
    if (isDisplayServiceName(lowerCaseName)) {
      (services.inUse.contains(lowerCaseName) ? plan.inUse : plan.stale).push_back(name);
    }
  }
  return plan;
}
