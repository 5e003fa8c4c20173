// device_inventory - finds devices in a device information set and loads what is known about them. Reads only; knows
// nothing about the rules that select devices for removal.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "devices/device_element.h"
#include "devices/device_records.h"
#include "system/handles.h"

class DeviceInventory {
 public:
  // Opens the set of all devices, including absent ones. A failure is logged, and then no query finds anything.
  // SetupDiGetClassDevsW.
  DeviceInventory();
  DeviceInventory(const DeviceInventory&) = delete;
  DeviceInventory& operator=(const DeviceInventory&) = delete;
  ~DeviceInventory() = default;

  // The devices that match the query, in set order. Every query creates new records; they are valid as long as the
  // inventory exists.
  std::vector<DeviceRecord*> FindDevices(const DeviceQuery& query);

  // Fills device.siblings with the other children of the device's parent. The siblings' own lists stay empty.
  // CM_Get_Parent, CM_Get_Child, CM_Get_Sibling.
  void FindSiblings(DeviceRecord& device);

  // Loads properties, driver nodes and status of each record whose device is in the set.
  void FillDeviceDetails(const std::vector<DeviceRecord*>& records);

  // The record's device in the set; empty if it is no longer there. SetupDiEnumDeviceInfo.
  std::optional<DeviceElement> locate(const DeviceRecord& record) const;

  bool isValid() const { return static_cast<bool>(set_); }

 private:
  DeviceRecord* newRecord();

  DeviceSet set_;
  std::vector<std::unique_ptr<DeviceRecord>> records_;  // all records ever created
};
