// device_removal_plan - decides in which order the matched devices are removed and which of them are kept. Touches no
// device.
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
  LeftToStoreCleaner,  // an extension: only the driver store sweep may remove its package
};

struct PlannedDevice {
  DriverMatch match;
  DeviceFate fate = DeviceFate::Remove;
  bool gpuExclusionApplied = false;      // display driver files may be shared with a graphics device that is kept
  std::vector<std::wstring> lines = {};  // logged when the device's turn comes
};

// The devices of one rule.
struct RemovalStage {
  MatchRule rule;
  const wchar_t* header;  // logged before the first device
  std::vector<PlannedDevice> devices;
};

struct DeviceRemovalPlan {
  std::vector<RemovalStage> stages;  // in the order in which they are carried out
  bool gpuExclusionApplied = false;  // graphics devices are to be kept, and a display device was matched by class
};

// Keeps only devices that were matched by class: display devices in a factory reset, the graphics devices named on the
// command line, and extensions. Pure.
DeviceRemovalPlan PlanDeviceRemoval(MatchLists matches, const GpuExclusion& gpuExclusion, bool factoryReset);
