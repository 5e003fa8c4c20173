// device_model - a small machine for the tests of the device installation model: a bus with three devices, and helpers
// to query them.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include <gtest/gtest.h>

#include "support/test_devices.h"
#include "system/handles.h"

inline const std::wstring kBus = L"ACPI\\PNP0A08\\0";
inline const std::wstring kGraphics = L"PCI\\VEN_7A11&DEV_744C\\4&1&0&0008";
inline const std::wstring kSound = L"PCI\\VEN_7A11&DEV_AB30\\4&1&0&0108";
inline const std::wstring kOldSound = L"PCI\\VEN_7A11&DEV_AB28\\4&1&0&0208";

inline PlantedDevice graphics() {
  PlantedDevice device;
  device.id = kGraphics;
  device.parent = kBus;
  device.className = L"Display";
  device.description = L"ORV Orvane Graphics";
  device.manufacturer = L"KTL Tech";
  device.hardwareIds = {L"PCI\\VEN_7A11&DEV_744C&REV_C8", L"PCI\\VEN_7A11&DEV_744C"};
  device.installState = 2;
  device.rebootFlags = DI_NEEDRESTART;
  device.drivers = {{.inf = kInfFolder + L"oem3.inf",
                     .provider = L"ORV Inc.",
                     .version = L"31.0.21029.1006",
                     .section = L"Graphics_Install",
                     .date = L"2024-02-29",
                     .files = {L"C:\\windows\\System32\\drivers\\orvkmdag.sys", L"C:\\windows\\System32\\orvdx64.dll"}},
                    {.inf = kInfFolder + L"display.inf", .provider = L"Microsoft"}};
  return device;
}

inline PlantedDevice sound(const std::wstring& id) {
  PlantedDevice device;
  device.id = id;
  device.parent = kBus;
  device.className = L"MEDIA";
  device.description = L"ORV Sound";
  device.hardwareIds = {L"PCI\\VEN_7A11&DEV_AB30"};
  device.drivers = {{.inf = kInfFolder + L"oem4.inf", .provider = L"ORV Inc."}};
  return device;
}

// The bus, the graphics, the sound, and a sound device that was there once.
class DeviceModel : public testing::Test {
 protected:
  void SetUp() override {
    forgetDevices();
    PlantedDevice bus;
    bus.id = kBus;
    bus.className = L"System";
    plantDevice(bus);
    plantDevice(graphics());
    plantDevice(sound(kSound));
    PlantedDevice oldSound = sound(kOldSound);
    oldSound.present = false;
    plantDevice(oldSound);
  }
};

inline DeviceSet allDevices() {
  return DeviceSet(::SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES));
}

inline SP_DEVINFO_DATA emptyData() {
  SP_DEVINFO_DATA data = {};
  data.cbSize = sizeof(data);
  return data;
}

inline std::wstring idOf(DEVINST device) {
  wchar_t id[MAX_DEVICE_ID_LEN] = L"";
  return ::CM_Get_Device_IDW(device, id, MAX_DEVICE_ID_LEN, 0) == CR_SUCCESS ? id : L"";
}

inline SP_DEVINFO_DATA dataOf(const DeviceSet& set, const std::wstring& id) {
  SP_DEVINFO_DATA data = emptyData();
  for (DWORD index = 0; ::SetupDiEnumDeviceInfo(set.get(), index, &data); ++index) {
    if (idOf(data.DevInst) == id) {
      return data;
    }
  }
  ADD_FAILURE() << "the set has no such device";
  return emptyData();
}

// The last error if the call failed, else 0.
inline DWORD errorOf(BOOL result) {
  return result ? ERROR_SUCCESS : ::GetLastError();
}

inline SP_DEVINSTALL_PARAMS_W installParameters(const DeviceSet& set, SP_DEVINFO_DATA data) {
  SP_DEVINSTALL_PARAMS_W parameters = {};
  parameters.cbSize = sizeof(parameters);
  EXPECT_TRUE(::SetupDiGetDeviceInstallParamsW(set.get(), &data, &parameters));
  return parameters;
}
