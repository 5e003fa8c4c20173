// driver_store_cleaner - sweeps the packages of the maker's drivers that no device names any more out of the driver
// store. Which packages these are is decided by driver_store_plan.
#pragma once

// Removes the maker's packages and sets deviceRebootNeeded where one asks for it. A package that cannot be read or
// removed stays, with a log line. True when every display device has to go as well: on a virtual machine, and after a
// display extension was dealt with. DiUninstallDriverW, SetupUninstallOEMInfW.
bool CleanDriverStore(bool gpuExclusionApplied, bool factoryReset);
