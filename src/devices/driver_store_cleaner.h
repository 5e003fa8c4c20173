// driver_store_cleaner - sweeps the packages of the maker's drivers that no device names any more out of the driver
// store, by class, catalog and provider of their INF files.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include <setupapi.h>

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

// The full paths of all oem*.inf in the INF folder of Windows, in the order of the file system.
std::vector<std::wstring> ListOemInfFiles();

// Reads the section. Keys are compared with case; decorated ones (CatalogFile.NT) do not count. An invalid handle
// leaves everything empty.
void ReadInfVersionSection(HINF infHandle, InfVersionSection& section);

// Removes the maker's packages and sets deviceRebootNeeded where one asks for it. A package that cannot be read or
// removed stays, with a log line. True when every display device has to go as well: on a virtual machine, and after a
// display extension was dealt with.
bool CleanDriverStore(bool gpuExclusionApplied, bool factoryReset);
