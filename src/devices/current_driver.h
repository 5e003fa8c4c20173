// current_driver - finds the driver that is installed for a device. Knows nothing about the driver's files.
#pragma once

#include <optional>

#include "devices/device_element.h"

// The installed driver, as an entry of the device's class driver list. On success the caller destroys that list with
// SetupDiDestroyDriverInfoList when done with the driver. Empty if the device has no installed driver or it cannot be
// determined. Changes the device's install parameters, which exist only in this process. SetupDiBuildDriverInfoList
// with DI_FLAGSEX_INSTALLEDDRIVER, or a search of all class drivers if the system rejects that flag.
std::optional<SP_DRVINFO_DATA_V2_W> FindCurrentDriver(DeviceElement& device);
