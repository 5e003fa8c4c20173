// driver_nodes - reads the drivers that could serve a device. Knows nothing of driver packages and their removal.
#pragma once

#include <string>
#include <vector>

#include "devices/device_element.h"
#include "devices/device_records.h"

// True when the file name in the path begins with "oem" in lower case. A path without a backslash is not OEM.
bool IsOemInf(const std::wstring& infPath);

// Replaces the record's driver nodes by those that the system lists for the device now, up to the first one that it
// does not give. They stay when there is no list to be had, with a log line. SetupDiBuildDriverInfoList,
// SetupDiEnumDriverInfoW.
void GetDriverDetails(DeviceElement& device, DeviceRecord& record);

// The details of one driver node, with the hardware id, which follows the fixed part of the structure.
// SetupDiGetDriverInfoDetailW in two calls. False when either failed.
class DriverDetail {
 public:
  DriverDetail(DeviceElement& device, SP_DRVINFO_DATA_V2_W& driver);
  explicit operator bool() const { return !bytes_.empty(); }
  const SP_DRVINFO_DETAIL_DATA_W& operator*() const {
    return *reinterpret_cast<const SP_DRVINFO_DETAIL_DATA_W*>(bytes_.data());
  }
  const SP_DRVINFO_DETAIL_DATA_W* operator->() const { return &**this; }

 private:
  std::vector<BYTE> bytes_;
};
