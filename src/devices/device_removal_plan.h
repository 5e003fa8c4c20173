// device_removal_plan - decides in which order the matched devices go and which of them are kept. Touches no device.
#pragma once

#include <string>
#include <vector>

#include "devices/graphics_devices.h"
#include "devices/match_rules.h"

// What becomes of a matched device.
enum class DeviceFate {
  Remove,
  KeptInFactoryReset,  // a display device
  KeptGraphicsDevice,  // named on the command line
  LeftToStoreCleaner,  // an extension: its package goes, if at all, with the sweep of the driver store
};

struct PlannedDevice {
  DriverMatch match;
  DeviceFate fate = DeviceFate::Remove;
  bool gpuExclusionApplied = false;      // a display driver's files may be those of a graphics device that is kept
  std::vector<std::wstring> lines = {};  // for the log, when the device's turn comes
};

// The devices of one rule.
struct RemovalStage {
  MatchRule rule;
  const wchar_t* header;  // for the log, before the first device
  std::vector<PlannedDevice> devices;
};

struct DeviceRemovalPlan {
  std::vector<RemovalStage> stages;  // in the order in which they are carried out
  bool gpuExclusionApplied = false;  // graphics devices are to be kept, and a display device has come up
};

// Only devices that were matched by their class can be kept: in a factory reset the display devices, on request the
// named graphics devices, and always the extensions.
DeviceRemovalPlan PlanDeviceRemoval(MatchLists matches, const GpuExclusion& gpuExclusion, bool factoryReset);
