// driver_package_removal - takes one driver package out of the driver store. Knows neither the device nor the rule that
// led to the package; the callers tell the log what became of it.
#pragma once

#include <string>

struct PackageUninstall {
  bool done = false;
  bool rebootNeeded = false;
};

// Gives the devices that use the package their next driver and removes the package. Not done when the system
// refuses, which is logged, or has no such call. `infPath` is the full path of the INF. DiUninstallDriverW.
PackageUninstall uninstallDriverPackage(const std::wstring& infPath);
