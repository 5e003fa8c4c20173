// match_rules - decides which devices belong to a driver package of the manifest, by five rules. Reads nothing of the
// machine: it works on the records that a query for devices has given. Knows nothing of the order of the removal.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "devices/device_records.h"
#include "manifest/records.h"

// The rule by which a package tells its devices.
enum class MatchRule {
  ClassName,    // every device of the class
  Description,  // a system device with a text in its description
  Siblings,     // a system device with a companion of another class
  HardwareId,   // the system device of the PCI filter driver
  DeviceId,     // a device with a text in its instance id
  None,         // a package of the system class without a hint at its device
};

// A device and the package whose rule it met.
struct DriverMatch {
  DeviceRecord* device;
  DriverPackage driver;
};

// The matched devices, a list for each rule. A device can be in several lists.
struct MatchLists {
  std::vector<DriverMatch> devicesByClassName;
  std::vector<DriverMatch> devicesByDevDesc;
  std::vector<DriverMatch> devicesBySibblings;
  std::vector<DriverMatch> devicesByHWID;
  std::vector<DriverMatch> devicesByDeviceID;
};

// The query that finds the candidates of a package. None for a package that names no class, which matches nothing.
std::optional<DeviceQuery> PlanDeviceQuery(const DriverPackage& driver);

// Adds the candidates that meet the package's rule to the rule's list, in their order, and returns the lines that tell
// the log how each was examined. The makers and providers of the driver nodes that were examined are in lower case from
// then on.
std::vector<std::wstring> PlanMatches(const DriverPackage& driver, const std::vector<DeviceRecord*>& candidates,
                                      MatchLists& lists);
