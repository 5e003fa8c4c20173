// driver_store - the driver packages of the bench machine: oemN.inf files with what belongs to them, and the devices
// that use them.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

namespace bench {

struct DriverNode {
  std::wstring key;  // its subkey of Drivers; what is read from it is below
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
  bool excluded;  // from being selected by hand

  bool operator==(const DriverNode& other) const {
    return inf == other.inf && section == other.section && hardwareId == other.hardwareId;
  }
};

// The nodes of a device, the best first.
std::vector<DriverNode> driverNodesOf(const std::wstring& deviceId);

// SetupUninstallOEMInfW and DiUninstallDriverW: take a package from the machine; devices lose its driver nodes. Both
// take one that is in use, the first by force only. The second gives the devices the best driver that is left for them,
// and no driver where none is. 0 or the error.
DWORD uninstallOemInf(const std::wstring& fileName, bool force);
DWORD uninstallDriver(const std::wstring& infPath, bool* needsReboot);

}  // namespace bench
