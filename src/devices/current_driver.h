// current_driver - finds the driver that the system has installed for a device. Knows nothing of the driver's files.
#pragma once

#include <optional>

#include "devices/device_element.h"

// The installed driver as an element of the device's list of class drivers, which the caller destroys with
// SetupDiDestroyDriverInfoList once it has used the driver. None when there is no installed driver or it cannot be
// told. Changes the device's installation parameters, which live in the device set alone. SetupDiBuildDriverInfoList
// with DI_FLAGSEX_INSTALLEDDRIVER, or a comparison of all class drivers where the system refuses that flag.
std::optional<SP_DRVINFO_DATA_V2_W> FindCurrentDriver(DeviceElement& device);
