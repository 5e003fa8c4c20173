// driver_store - lists the third-party driver packages of the driver store and reads their INF files. Knows nothing
// about devices and removes nothing.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include <setupapi.h>

#include "devices/device_records.h"

// The [Version] section of an INF. Missing entries are empty.
struct InfVersionSection {
  std::wstring signature;
  std::wstring className;
  GUID classGuid = {};
  std::wstring provider;
  std::wstring driverDate;
  std::wstring driverVersion;
  std::wstring catalogFile;
};

// The full paths of all oem*.inf in the INF folder of Windows, in the order of the file system. FindFirstFileW.
std::vector<std::wstring> ListOemInfFiles();

// Reads the section. Keys are compared case-sensitively, and decorated ones (CatalogFile.NT) are ignored. Leaves
// everything empty if the handle is invalid. SetupFindFirstLineW, SetupGetStringFieldW.
void ReadInfVersionSection(HINF infHandle, InfVersionSection& section);

// Reads the INF of a driver package. If it cannot be opened, the failure is logged and only infPath is set.
// SetupOpenInfFileW.
InfRecord ReadDriverPackage(const std::wstring& infPath);
