// setup - removes devices with their drivers: one of them, or all that belong to the driver packages of the manifest.
// Which these are is found by driver_matches and decided by device_removal_plan. Knows no list of the session.
#pragma once

#include <string>
#include <vector>

#include "devices/device_inventory.h"
#include "devices/device_removal_plan.h"
#include "devices/graphics_devices.h"
#include "manifest/records.h"

// Set when the removal of a device or of a driver package needs a restart to finish. Only ever goes from false to true.
extern bool deviceRebootNeeded;

// Files of removed drivers, full paths, to be deleted after the devices.
extern std::vector<std::wstring> driverFiles;

class Setup {
 public:
  // Removes one device and its OEM driver packages, and notes the files of its driver in driverFiles unless they must
  // stay. True when the device counts as handled, also when there was nothing to do; false when both ways of removing
  // it have failed. Throws nothing. DIF_REMOVE, DiUninstallDevice.
  bool UninstallDevice(DeviceRecord& device, bool gpuExclusionApplied, bool factoryReset);

  // Has the device tree enumerated anew, removes the devices that belong to the driver packages, sweeps the driver
  // store, and removes every display device where the sweep asks for it. Each attempt appends a copy of the package to
  // `failed` or to `succeeded`.
  void RemoveDrivers(const std::vector<DriverPackage>& drivers, std::vector<DriverPackage>& failed,
                     std::vector<DriverPackage>& succeeded, const GpuExclusion& gpuExclusion, bool factoryReset);

  DeviceInventory inventory;

 private:
  void removePlanned(const PlannedDevice& planned, std::vector<DriverPackage>& failed,
                     std::vector<DriverPackage>& succeeded, bool factoryReset);
  bool removeDevice(DeviceElement& element, const DeviceRecord& device);
  void RemoveDeviceDrivers(const DeviceRecord& device);
  void removePackageOf(const DriverInfo& driver);
};
