// device_records - what is known about one device node, its driver nodes and their INF files, and the criteria of a
// device query. Plain data. An empty string or list means that the property is absent or could not be read.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <windows.h>

// One INF file. Driver nodes fill date, infPath and isOem; packages of the driver store fill infPath and the strings.
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
  std::wstring className;                            // in the system's own letter case
  std::wstring deviceId;                             // instance id
  std::vector<std::unique_ptr<DriverInfo>> drivers;  // in enumeration order
  std::vector<DeviceRecord*> siblings;               // owned by the inventory, like all records
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

// The criteria of a device query. Only the first non-empty id filter counts: the instance id must contain it, compared
// case-sensitively. Without a filter, the instance id must contain one of the maker's vendor ids.
struct DeviceQuery {
  std::wstring className = {};  // compared case-insensitively
  std::wstring primaryIdFilter = {};
  std::wstring secondaryIdFilter = {};
  bool withSiblings = false;  // also load the other children of each device's parent
};
