// driver_store - reads the driver packages that lie in the driver store, by the INF files that Windows keeps of them.
// Knows nothing of devices and removes nothing.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include <setupapi.h>

#include "devices/device_records.h"

// The [Version] section of an INF. Empty for what is not there.
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

// Reads the section. Keys are compared with case; decorated ones (CatalogFile.NT) do not count. An invalid handle
// leaves everything empty. SetupFindFirstLineW, SetupGetStringFieldW.
void ReadInfVersionSection(HINF infHandle, InfVersionSection& section);

// What the INF of a driver package tells of it. A file that cannot be opened is logged and tells nothing but its path.
// SetupOpenInfFileW.
InfRecord ReadDriverPackage(const std::wstring& infPath);
