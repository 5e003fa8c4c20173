// setup - one device information set with everything that is done on it: finding devices, uninstalling one, and the
// plan that turns driver packages of the manifest into removed devices. Knows no list of the session.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <windows.h>

#include <setupapi.h>

#include "devices/device_records.h"
#include "devices/graphics_devices.h"
#include "manifest/records.h"
#include "system/handles.h"

// Set when the removal of a device or of a driver package needs a restart to finish. Only ever goes from false to true.
extern bool deviceRebootNeeded;

// Files of removed drivers, full paths, to be deleted after the devices.
extern std::vector<std::wstring> driverFiles;

// True when the file name in the path begins with "oem" in lower case. A path without a backslash is not OEM.
bool IsOemInf(const std::wstring& infPath);

class Setup {
 public:
  // Opens the set of all devices, absent ones included. On failure the object stays invalid and finds nothing.
  Setup();
  Setup(const Setup&) = delete;
  Setup& operator=(const Setup&) = delete;
  ~Setup() = default;

  // The devices of a class (compared without case) whose id contains the primary filter, else the secondary one, else
  // one of the maker's vendor ids. The records stay valid as long as this object. Changes and logs nothing.
  std::vector<DeviceRecord*> FindDevices(const std::wstring& className, bool withSiblings,
                                         const std::wstring& secondaryIdFilter, const std::wstring& primaryIdFilter);

  // Fills device.siblings with the other children of the device's parent. They get no siblings of their own.
  void FindSiblings(DeviceRecord& device);

  // Loads properties, driver nodes and status of each record whose device is in the set.
  void FillDeviceDetails(const std::vector<DeviceRecord*>& records);

  void ReadDeviceProperties(SP_DEVINFO_DATA& data, DeviceRecord& record);
  // Replaces the record's driver nodes by those that the system gives now. They stay when the system gives no list.
  void GetDriverDetails(SP_DEVINFO_DATA& data, DeviceRecord& record);
  void UpdateDeviceStatus(DeviceRecord& record);

  // Text of type REG_SZ, list of type REG_MULTI_SZ, and the first byte of a number: installState, capabilities and
  // configFlags never exceed it. Empty or 0 for an absent property or one of another type.
  std::wstring ReadStringProperty(SP_DEVINFO_DATA& data, DWORD property);
  std::vector<std::wstring> ReadMultiStringProperty(SP_DEVINFO_DATA& data, DWORD property);
  std::uint32_t ReadDwordProperty(SP_DEVINFO_DATA& data, DWORD property);

  // Removes one device and its OEM driver packages, and notes the files of its driver in driverFiles unless they must
  // stay. True when the device counts as handled, also when there was nothing to do; false when both ways of removing
  // it have failed. Throws nothing.
  bool UninstallDevice(DeviceRecord& device, bool gpuExclusionApplied, bool factoryReset);

  // Removes the devices that belong to the driver packages, sweeps the driver store and has the device tree enumerated
  // anew. Each attempt appends a copy of the package to `failed` or to `succeeded`.
  void RemoveDrivers(const std::vector<DriverPackage>& drivers, std::vector<DriverPackage>& failed,
                     std::vector<DriverPackage>& succeeded, GpuExclusion gpuExclusion, bool factoryReset);

  bool isValid() const { return valid; }

 private:
  DeviceRecord* newRecord();
  std::wstring readDeviceId(DWORD devInst) const;
  std::vector<BYTE> readProperty(SP_DEVINFO_DATA& data, DWORD property, DWORD* type);

  void RemoveDeviceDrivers();
  bool CollectDriverFiles();
  bool queueDriverFiles(SP_DRVINFO_DATA_V2_W& driver);
  bool FindCurrentDriver(SP_DRVINFO_DATA_V2_W* drvInfo);
  bool findCurrentDriverByDetails(SP_DEVINSTALL_PARAMS_W parameters, SP_DRVINFO_DATA_V2_W* drvInfo);
  bool findInSet(const DeviceRecord& device);
  bool removeCurrentDevice();

  static void ReenumerateDevices();
  static bool RemoveDisplayDevices();

  DeviceSet deviceSet;
  SP_DEVINFO_DATA deviceData = {};        // the device that is being removed
  DeviceRecord* currentDevice = nullptr;  // its record
  FileQueue fileQueue;                    // holds the files of its driver while they are collected
  bool valid = false;
  std::vector<std::unique_ptr<DeviceRecord>> records;  // every record that was ever made, to the end of the run
};
