// device_inventory - finds devices of the machine in one device information set. Reads only; knows neither the rules by
// which devices are chosen nor their removal.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "devices/device_element.h"
#include "devices/device_records.h"
#include "system/handles.h"

class DeviceInventory {
 public:
  // Opens the set of all devices, absent ones included. When that fails, which is logged, nothing is ever found.
  // SetupDiGetClassDevsW.
  DeviceInventory();
  DeviceInventory(const DeviceInventory&) = delete;
  DeviceInventory& operator=(const DeviceInventory&) = delete;
  ~DeviceInventory() = default;

  // The devices that meet the query, in the order of the set. Each query makes records of its own, which stay valid as
  // long as the inventory.
  std::vector<DeviceRecord*> FindDevices(const DeviceQuery& query);

  // Fills device.siblings with the other children of the device's parent. They get no siblings of their own.
  // CM_Get_Parent, CM_Get_Child, CM_Get_Sibling.
  void FindSiblings(DeviceRecord& device);

  // Loads properties, driver nodes and status of each record whose device is in the set.
  void FillDeviceDetails(const std::vector<DeviceRecord*>& records);

  // The device of the record in the set, where it is still there.
  std::optional<DeviceElement> locate(const DeviceRecord& record) const;

  bool isValid() const { return static_cast<bool>(set_); }

 private:
  DeviceRecord* newRecord();

  DeviceSet set_;
  std::vector<std::unique_ptr<DeviceRecord>> records_;  // every record that was ever made
};
