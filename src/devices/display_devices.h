// display_devices - finds the devices of the display adapter class, whoever has made them. Removes nothing.
#pragma once

#include <vector>

#include "devices/device_element.h"
#include "system/handles.h"

struct DisplayDevices {
  DeviceSet set;
  std::vector<SP_DEVINFO_DATA> devices;
};

// All devices of the display adapter class, absent ones included. Nothing when the set cannot be opened.
// SetupDiGetClassDevsW, SetupDiEnumDeviceInfo.
DisplayDevices FindDisplayDevices();
