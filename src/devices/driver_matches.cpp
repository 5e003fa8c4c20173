#include "devices/driver_matches.h"

#include "system/log.h"

MatchLists FindDriverMatches(DeviceInventory& inventory, const std::vector<DriverPackage>& drivers) {
  MatchLists lists;
  for (const DriverPackage& driver : drivers) {
    const std::optional<DeviceQuery> query = PlanDeviceQuery(driver);
    if (!query) {
      LogDebug(L"No ClassName Specified for the driver\t:\t%s", driver.Name.c_str());
      continue;
    }
    // Package by package, so that what a query logs precedes the lines of its own package.
    for (const std::wstring& line : PlanMatches(driver, inventory.FindDevices(*query), lists)) {
      LogDebug(L"%s", line.c_str());
    }
  }
  return lists;
}
