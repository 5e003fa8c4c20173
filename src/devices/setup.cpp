#include "devices/setup.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include "devices/display_devices.h"
#include "devices/driver_matches.h"
#include "devices/driver_store_cleaner.h"
#include "system/log.h"

bool deviceRebootNeeded = false;
std::vector<std::wstring> driverFiles;

namespace {

// Waits for the enumeration to finish. A failure is ignored.
void ReenumerateDevices() {
  DEVINST root = 0;
  if (::CM_Locate_DevNodeW(&root, nullptr, CM_LOCATE_DEVNODE_NORMAL) == CR_SUCCESS) {
    ::CM_Reenumerate_DevNode(root, CM_REENUMERATE_SYNCHRONOUS);
  }
}

void RemoveDisplayDevices() {
  // Listed before the first removal, which may take the device out of the set and shift the others.
  DisplayDevices display = FindDisplayDevices();
  for (SP_DEVINFO_DATA& device : display.devices) {
    ::SetupDiRemoveDevice(display.set.get(), &device);
  }
}

}  // namespace

void Setup::RemoveDrivers(const std::vector<DriverPackage>& drivers, std::vector<DriverPackage>& failed,
                          std::vector<DriverPackage>& succeeded, const GpuExclusion& gpuExclusion, bool factoryReset) {
  ReenumerateDevices();
  const DeviceRemovalPlan plan = PlanDeviceRemoval(FindDriverMatches(inventory, drivers), gpuExclusion, factoryReset);
  for (const RemovalStage& stage : plan.stages) {
    LogDebug(stage.header);
    for (const PlannedDevice& planned : stage.devices) {
      for (const std::wstring& line : planned.lines) {
        LogDebug(L"%s", line.c_str());
      }
      if (planned.fate == DeviceFate::Remove) {
        removePlanned(planned, failed, succeeded, factoryReset);
      }
    }
  }
  const StoreSweep sweep = CleanDriverStore(plan.gpuExclusionApplied, factoryReset);
  deviceRebootNeeded = deviceRebootNeeded || sweep.rebootNeeded;
  ReenumerateDevices();
  if (sweep.displayDevicesMustGo && !factoryReset) {
    RemoveDisplayDevices();
    ReenumerateDevices();
  }
}

void Setup::removePlanned(const PlannedDevice& planned, std::vector<DriverPackage>& failed,
                          std::vector<DriverPackage>& succeeded, bool factoryReset) {
  DeviceRecord& device = *planned.match.device;
  if (UninstallDevice(device, planned.gpuExclusionApplied, factoryReset)) {
    succeeded.push_back(planned.match.driver);
    LogDebug(L"Successfully Uninstalled: Description: %s ", device.description.c_str());
  } else {
    failed.push_back(planned.match.driver);
    LogDebug(L"Failed Uninstallion: Description: %s ", device.description.c_str());
  }
}
