// driver_package_removal - removes one driver package from the driver store. Knows nothing about devices or about the
// rules that select packages; the callers log the outcome.
#pragma once

#include <string>

struct PackageUninstall {
  bool done = false;
  bool rebootNeeded = false;
};

// Removes the package after switching the devices that use it to their next best driver. Not done if the system
// refuses, which is logged, or does not have the function. `infPath` is the full path of the INF. DiUninstallDriverW.
PackageUninstall uninstallDriverPackage(const std::wstring& infPath);
