// device_properties - reads what the system tells of one device: properties, instance id and status. Knows neither its
// drivers nor other devices.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "devices/device_element.h"
#include "devices/device_records.h"

// The instance id of a device node; empty when it cannot be read. CM_Get_Device_ID_Size, CM_Get_Device_IDW.
std::wstring ReadDeviceId(DWORD devInst);

// A property SPDRP_... of type REG_SZ, a list of type REG_MULTI_SZ, and the first byte of a value of any type: install
// state, capabilities and configuration flags never exceed it. Empty or 0 for a property that is absent or of another
// type. SetupDiGetDeviceRegistryPropertyW.
std::wstring ReadStringProperty(DeviceElement& device, DWORD property);
std::vector<std::wstring> ReadMultiStringProperty(DeviceElement& device, DWORD property);
std::uint32_t ReadDwordProperty(DeviceElement& device, DWORD property);

// Fills the record's ids, class, texts, filters and flags.
void ReadDeviceProperties(DeviceElement& device, DeviceRecord& record);

// Reads the instance id, status and problem code of the record's device anew. A device that is gone has status 0; a
// status that cannot be read stays as it was, with a log line. CM_Get_DevNode_Status.
void UpdateDeviceStatus(DeviceRecord& record);
