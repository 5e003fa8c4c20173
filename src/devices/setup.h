// setup - removes devices and their drivers: a single device, or all that belong to the driver packages of the
// manifest, which driver_matches finds and device_removal_plan sorts. Knows nothing about the session.
#pragma once

#include <string>
#include <vector>

#include "devices/device_inventory.h"
#include "devices/device_removal_plan.h"
#include "devices/graphics_devices.h"
#include "manifest/records.h"

// Set when removing a device or a driver package needs a restart to finish. Never reset.
extern bool deviceRebootNeeded;

// Full paths of the files of removed drivers, to be deleted after the devices.
extern std::vector<std::wstring> driverFiles;

class Setup {
 public:
  // Removes one device and its OEM driver packages, and appends the files of its driver to driverFiles unless they have
  // to stay. True if the device counts as handled, including when there was nothing to do; false if both ways to remove
  // it failed. Throws nothing. DIF_REMOVE, DiUninstallDevice.
  bool UninstallDevice(DeviceRecord& device, bool gpuExclusionApplied, bool factoryReset);

  // Re-enumerates the device tree, removes the devices that belong to the driver packages, sweeps the driver store, and
  // removes all display devices if the sweep asks for it. Each attempt appends a copy of the device's package to
  // `failed` or `succeeded`.
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
