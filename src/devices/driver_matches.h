// driver_matches - finds the devices of the machine that belong to the driver packages of the manifest. Removes
// nothing.
#pragma once

#include <vector>

#include "devices/device_inventory.h"
#include "devices/match_rules.h"

// Asks the inventory for the candidates of one package after the other and matches them, with the lines of both in the
// log. The matches point to records of the inventory.
MatchLists FindDriverMatches(DeviceInventory& inventory, const std::vector<DriverPackage>& drivers);
