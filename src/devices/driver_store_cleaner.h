// driver_store_cleaner - sweeps the packages of the maker's drivers that no device names any more out of the driver
// store. Which packages these are is decided by driver_store_plan; knows nothing of the devices.
#pragma once

struct StoreSweep {
  bool displayDevicesMustGo = false;  // on a virtual machine, and after a display extension was dealt with
  bool rebootNeeded = false;          // a package needs a restart to be gone for good
};

// Removes the maker's packages. One that cannot be read or removed stays, with a log line. DiUninstallDriverW,
// SetupUninstallOEMInfW.
StoreSweep CleanDriverStore(bool gpuExclusionApplied, bool factoryReset);
