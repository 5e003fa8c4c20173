// driver_store - the driver packages of the test machine: oemN.inf files, what belongs to them, and the devices that
// use them.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

namespace bench {

struct DriverNode {
  std::wstring key;  // its subkey of Drivers, from which the other fields are read
  std::wstring inf;
  std::wstring provider;
  std::wstring manufacturer;
  std::wstring description;
  std::wstring section;
  std::wstring hardwareId;
  std::vector<std::wstring> files;
  DWORDLONG version;
  FILETIME date;
  bool installed;
  bool excluded;  // from selection by hand

  bool operator==(const DriverNode& other) const {
    return inf == other.inf && section == other.section && hardwareId == other.hardwareId;
  }
};

// The nodes of a device, the best first.
std::vector<DriverNode> driverNodesOf(const std::wstring& deviceId);

// SetupUninstallOEMInfW and DiUninstallDriverW: remove a package from the machine, and its driver nodes from the
// devices. Both remove a package in use, the first only by force. The second gives the devices the best remaining
// driver, if there is one. They return 0 or the error.
DWORD uninstallOemInf(const std::wstring& fileName, bool force);
DWORD uninstallDriver(const std::wstring& infPath, bool* needsReboot);

}  // namespace bench
