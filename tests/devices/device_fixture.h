// device_fixture - gives each test a machine without devices and driver packages, and helpers to plant those of the
// maker.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <windows.h>

#include "devices/setup.h"
#include "support/captured_log.h"
#include "support/test_devices.h"
#include "support/test_registry.h"
#include "support/text.h"

using Calls = std::vector<std::wstring>;
using Lines = std::vector<std::string>;

inline const std::wstring kMaker = L"Orvane Devices, Inc.";
// Class GUID for classes that Windows does not define.
inline const std::wstring kOtherClassGuid = L"{5d1c9a60-93a4-4f0e-8d0b-1f2f6f6b7a11}";

inline void nameMachine(const std::wstring& product) {
  plantString(L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\SystemInformation", L"SystemProductName",
              product);
}

inline std::wstring infPath(const std::wstring& name) {
  return kInfFolder + name;
}

inline PlantedDriver makerDriver(const std::wstring& infName) {
  PlantedDriver driver;
  driver.inf = infPath(infName);
  driver.provider = kMaker;
  return driver;
}

// A device with a single driver from the named INF. Its hardware id is its instance id without the last part.
inline PlantedDevice makerDevice(const std::wstring& id, const std::wstring& className,
                                 const std::wstring& infName = L"oem1.inf") {
  PlantedDevice device;
  device.id = id;
  device.className = className;
  device.description = L"ORV " + className;
  device.manufacturer = kMaker;
  device.hardwareIds = {id.substr(0, id.rfind(L'\\'))};
  device.drivers = {makerDriver(infName)};
  return device;
}

inline PlantedPackage makerPackage(const std::wstring& name, const std::wstring& className,
                                   const std::wstring& catalog = L"orvany.cat") {
  PlantedPackage package;
  package.name = name;
  package.className = className;
  package.provider = kMaker;
  package.catalog = catalog;
  return package;
}

inline std::vector<std::wstring> idsOf(const std::vector<DeviceRecord*>& records) {
  std::vector<std::wstring> ids;
  for (const DeviceRecord* record : records) {
    ids.push_back(record->deviceId);
  }
  return ids;
}

// The system's message for an error code, on one line.
inline std::string systemText(DWORD error) {
  wchar_t text[512] = {};
  ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK, nullptr,
                   error, 0, text, static_cast<DWORD>(std::size(text)), nullptr);
  return narrow(text);
}

// An error code as the log prints it.
inline std::string numberText(DWORD error) {
  return std::to_string(static_cast<int>(error));
}

// Name and content of every file in the INF folder.
inline std::map<std::wstring, std::string> infFolder() {
  std::map<std::wstring, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(kInfFolder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    files[entry.path().filename().wstring()] = std::string(std::istreambuf_iterator<char>(file), {});
  }
  return files;
}

class DeviceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    forgetDevices();
    nameMachine(L"Bench PC");
    deviceRebootNeeded = false;
    driverFiles.clear();
  }
};
