// match_rules - the five rules that decide which devices belong to a driver package of the manifest. Works on device
// records alone and does not access the machine. Knows nothing about the order of removal.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "devices/device_records.h"
#include "manifest/records.h"

// How a driver package identifies its devices.
enum class MatchRule {
  ClassName,    // all devices of the class
  Description,  // system devices whose description contains a given string
  Siblings,     // system devices with a given compatible id and a sibling of a given class
  HardwareId,   // system devices with the PCI filter driver and a given hardware id
  DeviceId,     // devices whose instance id contains a given string
  None,         // class system without any of these criteria: matches nothing
};

// A device and the package whose rule it matched.
struct DriverMatch {
  DeviceRecord* device = nullptr;
  DriverPackage driver;
};

// The matches of each rule. A device can be in several lists.
struct MatchLists {
  std::vector<DriverMatch> devicesByClassName;
  std::vector<DriverMatch> devicesByDevDesc;
  std::vector<DriverMatch> devicesBySibblings;
  std::vector<DriverMatch> devicesByHWID;
  std::vector<DriverMatch> devicesByDeviceID;
};

// The query that finds the candidates for a package; none for a package without a class, which matches nothing. Pure.
std::optional<DeviceQuery> PlanDeviceQuery(const DriverPackage& driver);

// Appends the candidates that match the package's rule to the list of that rule. Returns the log lines that show how
// each candidate was examined. Converts manufacturer and provider of the examined driver nodes to lower case. Pure
// otherwise.
std::vector<std::wstring> PlanMatches(const DriverPackage& driver, const std::vector<DeviceRecord*>& candidates,
                                      MatchLists& lists);
