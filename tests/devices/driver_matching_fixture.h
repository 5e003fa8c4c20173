// driver_matching_fixture - removes the devices of some packages and reads from the log by which rule each device was
// matched: each stage logs its header and then its devices.
#pragma once

#include <algorithm>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "devices/device_fixture.h"

// The device of most cases, and a parent for it from another vendor.
inline const std::wstring kId = L"PCI\\VEN_7A11&DEV_0001\\1";
inline const std::wstring kParent = L"PCI\\VEN_1234&DEV_0000\\0";

// The stages in order: a short name and the header.
inline const std::vector<std::pair<std::string, std::string>> kStages = {
    {"class", "DEBUG Devices to Uninstall by classname"},
    {"description", "DEBUG Devices to Uninstall by devicesByDevDesc"},
    {"siblings", "DEBUG Devices to Uninstall by devicesBySibblings"},
    {"hardware id", "DEBUG Devices to Uninstall by devicesByHWID's"},
    {"device id", "DEBUG Devices to Uninstall by devicesByDeviceID's"},
};

// The line of a device in the first stage and in the others.
inline const std::regex kDeviceLine(
    "DEBUG Class Name: .* ----- Description: .* ----- DeviceId: (.*)|"
    "DEBUG getClassName: .*-----getDescription: .*-----getDeviceId: (.*)");

// "<list> <device id>" for each device of each list.
inline Lines listsIn(const Lines& log) {
  Lines listed;
  std::string list;
  for (const std::string& line : log) {
    for (const auto& [name, header] : kStages) {
      if (line == header) {
        list = name;
      }
    }
    std::smatch match;
    if (!list.empty() && std::regex_match(line, match, kDeviceLine)) {
      listed.push_back(list + " " + match[1].str() + match[2].str());
    }
  }
  return listed;
}

inline DriverPackage packageOf(const std::wstring& className) {
  DriverPackage package;
  package.Name = L"Package";
  package.ClassName = className;
  return package;
}

class DriverMatching : public DeviceTest {
 protected:
  // The stages that the devices of the machine are in.
  Lines match(const std::vector<DriverPackage>& packages) {
    failed.clear();
    succeeded.clear();
    const CapturedLog log;
    ::Setup setup;
    setup.RemoveDrivers(packages, failed, succeeded, GpuExclusion(), false);
    lines = log.lines();
    return listsIn(lines);
  }

  // The lines before the first stage.
  Lines matchingLines() const { return Lines(lines.begin(), std::find(lines.begin(), lines.end(), kStages[0].second)); }

  std::vector<DriverPackage> failed;
  std::vector<DriverPackage> succeeded;
  Lines lines;
};
