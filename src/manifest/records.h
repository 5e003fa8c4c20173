// records - the contents of the cleanup manifest and the tracker file. Plain data; knows neither file format. Lists are
// in document order; an empty string means that a field is not set.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Selects one list of a record.
template <class Record>
using RowsOf = std::vector<std::wstring> Record::*;

// The fields that driver and application packages have in common.
struct PackageRecord {
  std::wstring Name;                      // key of the package in the manifest
  std::wstring Type;                      // "Driver" or "Application"
  std::wstring Id;                        // hardware ids, separated by commas
  std::vector<std::wstring> HardwareIds;  // Id split at its commas, nothing trimmed, empty pieces included
  std::wstring ProductVersion;
  std::wstring UpgradeID;  // the installer's upgrade code in braces
  std::wstring InfName;
  std::wstring PID;
  std::wstring ClassName;
  std::wstring CompatibleId;
  std::wstring SibblingClassName;
  std::wstring SibblingCompatibleId;
  std::wstring DeviceDesc;
  std::wstring CommandLine;  // uninstall command line
  std::wstring DeviceID;
  std::int32_t UninstallResult = 0;               // code of the last uninstall attempt
  std::map<std::wstring, std::wstring> BasicInf;  // one entry: LoadBasicDriver to BasicINFName
  bool CommonApp = false;
};

struct DriverPackage : PackageRecord {
  std::vector<std::wstring> RegistryKeys;
  std::vector<std::wstring> RegistryValues;
  std::vector<std::wstring> Services;
  std::vector<std::wstring> Directories;
};

struct ApplicationPackage : PackageRecord {
  std::vector<std::wstring> Files;
  std::vector<std::wstring> RegistryKeys;
  std::vector<std::wstring> RegistryValues;
  std::vector<std::wstring> Process;
  std::vector<std::wstring> Directories;
};

// A command that the install manager wants to be run before anything is removed.
struct TrackerCommand {
  std::int32_t Timeout = 0;  // seconds
  std::wstring CommandLine;  // the arguments
  std::wstring Process;      // full path of the program
};

// Everything read from both documents.
struct ScrubListData {
  std::vector<std::wstring> ScheduledTasks;
  std::vector<std::wstring> Services;
  std::vector<std::wstring> Files;
  std::vector<std::wstring> RegistryKeys;
  std::vector<std::wstring> RegistryKeysEmpty;
  std::vector<std::wstring> RegistryValues;
  std::vector<std::wstring> Process;
  std::vector<std::wstring> Directories;
  std::vector<std::wstring> TrackerDirectories;
  std::vector<std::wstring> Shortcuts;
  std::vector<TrackerCommand> Commands;

  std::vector<std::wstring> InclusionDrivers;
  std::vector<std::wstring> InclusionApplications;
  std::vector<std::wstring> InclusionUWP;

  std::vector<DriverPackage> DriverPackages;
  std::vector<ApplicationPackage> ApplicationPackages;

  std::vector<std::wstring> ExcludedScheduledTasks;
  std::vector<std::wstring> ExcludedServices;
  std::vector<std::wstring> ExcludedFiles;
  std::vector<std::wstring> ExcludedRegistryKeys;
  std::vector<std::wstring> ExcludedRegistryValues;
  std::vector<std::wstring> ExcludedProcess;
  std::vector<std::wstring> ExcludedDirectories;
};
