// device_records - what is known of one device node, its driver nodes and their INF files, and what a query for devices
// asks. Plain data. An empty text or list means that the property is absent or could not be read.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <windows.h>

// Facts on one INF file. For a driver node, date, infPath and isOem are known; for a package of the driver store, the
// others are.
struct InfRecord {
  SYSTEMTIME date = {};
  GUID classGuid = {};
  std::wstring infPath;
  std::wstring provider;
  std::wstring className;
  std::wstring signature;
  std::wstring catalogFile;
  bool isOem = false;
};

// One driver node: a driver that could serve the device.
struct DriverInfo {
  std::wstring manufacturer;
  std::wstring provider;
  std::wstring description;
  std::wstring version;  // "1.2.3.4"
  std::wstring hardwareId;
  std::unique_ptr<InfRecord> inf;
};

// One device node.
struct DeviceRecord {
  bool propertiesLoaded = false;
  std::vector<std::wstring> hardwareIds;
  std::vector<std::wstring> lowerFilters;
  std::vector<std::wstring> compatibleIds;
  std::wstring friendlyName;
  std::wstring description;
  std::wstring classGuid;
  std::wstring className;                            // in the case that the system gives
  std::wstring deviceId;                             // instance id
  std::vector<std::unique_ptr<DriverInfo>> drivers;  // in enumeration order
  std::vector<DeviceRecord*> siblings;               // owned, like every record, by the inventory that found them
  std::uint32_t installState = 0;
  std::uint32_t capabilities = 0;
  std::uint32_t configFlags = 0;
  std::uint32_t problemCode = 0;  // 0 unless the status has DN_HAS_PROBLEM
  std::uint32_t status = 0;
  std::uint32_t devInst = 0;  // identifies the device in the device set

  const std::wstring& getDescription() const { return description; }
  const std::wstring& getClassName() const { return className; }
  const std::wstring& getDeviceId() const { return deviceId; }
};

// Which devices are asked for. The first id filter that is not empty decides alone: the instance id has to contain it,
// with case. Without a filter it has to contain one of the maker's vendor ids.
struct DeviceQuery {
  std::wstring className = {};  // compared without case
  std::wstring primaryIdFilter = {};
  std::wstring secondaryIdFilter = {};
  bool withSiblings = false;  // each record gets the other children of the device's parent as well
};
