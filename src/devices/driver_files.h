// driver_files - asks the class installer which files a device's installed driver consists of. Copies and deletes no
// file, but runs installer code, so it belongs to the removal.
#pragma once

#include <string>
#include <vector>

#include "devices/device_element.h"

// True if the driver's files may be deleted after the device. Display drivers may share files with a graphics device
// that is kept, and system devices share theirs with other vendors.
bool isFileCollectionDue(const std::wstring& className, bool gpuExclusionApplied, bool factoryReset);

// The full paths of the files, which are also written to standard output. Empty if they cannot be determined. Restores
// the device's install parameters. SetupDiCallClassInstaller with DIF_INSTALLDEVICEFILES, SetupScanFileQueueW.
std::vector<std::wstring> CollectDriverFiles(DeviceElement& device);
