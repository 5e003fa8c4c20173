// driver_matches - finds the devices that belong to the driver packages of the manifest. Removes nothing.
#pragma once

#include <vector>

#include "devices/device_inventory.h"
#include "devices/match_rules.h"

// Queries the inventory for the candidates of each package and applies the package's rule to them. Logs how each device
// was examined. The matches point to records owned by the inventory.
MatchLists FindDriverMatches(DeviceInventory& inventory, const std::vector<DriverPackage>& drivers);
