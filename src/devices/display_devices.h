// display_devices - finds the devices of the display adapter class, of every vendor. Removes nothing.
#pragma once

#include <vector>

#include "devices/device_element.h"
#include "system/handles.h"

struct DisplayDevices {
  DeviceSet set;
  std::vector<SP_DEVINFO_DATA> devices;
};

// All devices of the display adapter class, including absent ones. None if the set cannot be opened.
// SetupDiGetClassDevsW, SetupDiEnumDeviceInfo.
DisplayDevices FindDisplayDevices();
