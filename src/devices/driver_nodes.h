// driver_nodes - reads the drivers that are compatible with a device. Knows nothing about removing driver packages.
#pragma once

#include <string>
#include <vector>

#include "devices/device_element.h"
#include "devices/device_records.h"

// True if the file name in the path begins with "oem" in lower case. A path without a backslash is not OEM.
bool IsOemInf(const std::wstring& infPath);

// Replaces the record's driver nodes with those that the system lists now, up to the first node that cannot be read. If
// the list cannot be built, the failure is logged and the record keeps its nodes. SetupDiBuildDriverInfoList,
// SetupDiEnumDriverInfoW.
void GetDriverDetails(DeviceElement& device, DeviceRecord& record);

// The details of one driver node, including the hardware ids that follow the fixed part of the structure. False if
// either call of SetupDiGetDriverInfoDetailW, for the size and for the data, failed.
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
