// device_properties - reads the properties, instance id and status of one device. Knows nothing about its drivers or
// about other devices.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "devices/device_element.h"
#include "devices/device_records.h"

// The instance id of a device node; empty if it cannot be read. CM_Get_Device_ID_Size, CM_Get_Device_IDW.
std::wstring ReadDeviceId(DWORD devInst);

// An SPDRP_... property of type REG_SZ or REG_MULTI_SZ, or the first byte of a property of any type: install state,
// capabilities and config flags never exceed 255. Empty or 0 if the property is absent or of another type.
// SetupDiGetDeviceRegistryPropertyW.
std::wstring ReadStringProperty(DeviceElement& device, DWORD property);
std::vector<std::wstring> ReadMultiStringProperty(DeviceElement& device, DWORD property);
std::uint32_t ReadDwordProperty(DeviceElement& device, DWORD property);

// Fills the record's ids, class, description, filters and flags.
void ReadDeviceProperties(DeviceElement& device, DeviceRecord& record);

// Refreshes the record's instance id, status and problem code. Status and problem code become 0 if the device is gone;
// if they cannot be read, they keep their values and the failure is logged. CM_Get_DevNode_Status.
void UpdateDeviceStatus(DeviceRecord& record);
