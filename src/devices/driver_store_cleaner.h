// driver_store_cleaner - removes the maker's driver packages that are left in the driver store once the devices are
// gone. driver_store_plan decides which packages these are. Knows nothing about devices.
#pragma once

struct StoreSweep {
  bool displayDevicesMustGo = false;  // on a virtual machine, or after handling a display extension
  bool rebootNeeded = false;          // a package asked for a restart
};

// A package that cannot be read or removed is logged and stays. DiUninstallDriverW, SetupUninstallOEMInfW.
StoreSweep CleanDriverStore(bool gpuExclusionApplied, bool factoryReset);
