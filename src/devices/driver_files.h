// driver_files - asks the class installer which files the installed driver of a device consists of. Copies and deletes
// none, but goes through the installer, so it belongs to the removal.
#pragma once

#include <string>
#include <vector>

#include "devices/device_element.h"

// True when the driver's files may go with the device. Those of display drivers may be shared with a graphics device
// that is kept, and those of system devices are never the maker's alone.
bool isFileCollectionDue(const std::wstring& className, bool gpuExclusionApplied, bool factoryReset);

// The full paths of the files, also written to standard output; none when they cannot be told. Leaves the device's
// installation parameters as they were. SetupDiCallClassInstaller with DIF_INSTALLDEVICEFILES, SetupScanFileQueueW.
std::vector<std::wstring> CollectDriverFiles(DeviceElement& device);
