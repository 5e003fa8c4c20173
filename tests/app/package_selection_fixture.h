// package_selection_fixture - a few packages, and a look at every list that the selection of packages fills.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/package_selection.h"
#include "support/captured_log.h"
#include "support/test_registry.h"

using Names = std::vector<std::wstring>;
using Lines = std::vector<std::string>;

template <class Package>
Names namesOf(const std::vector<Package>& packages) {
  Names names;
  for (const Package& package : packages) {
    names.push_back(package.Name);
  }
  return names;
}

// An application with a row in each of its lists; the rows bear its name.
inline ApplicationPackage applicationWithRows(const std::wstring& name) {
  ApplicationPackage package;
  package.Name = name;
  package.RegistryKeys = {name + L" key"};
  package.Directories = {name + L" directory"};
  package.RegistryValues = {name + L" value"};
  package.Files = {name + L" file"};
  package.Process = {name + L" process"};
  return package;
}

inline DriverPackage driverWithRows(const std::wstring& name) {
  DriverPackage package;
  package.Name = name;
  package.RegistryKeys = {name + L" key"};
  package.Directories = {name + L" directory"};
  package.RegistryValues = {name + L" value"};
  package.Services = {name + L" service"};
  return package;
}

// Every exclusion list of a run; what the selection must not touch is there too.
struct Exclusions {
  Names registryKeys, directories, registryValues, files, processes, services, scheduledTasks;
  Names expandedDirectories, expandedFiles;

  bool operator==(const Exclusions&) const = default;
};

inline Exclusions exclusionsOf(const ScrubListData& data, const ExclusionLists& lists) {
  return {lists.excludedRegistryKeys,   data.ExcludedDirectories,  lists.excludedRegistryValues,
          data.ExcludedFiles,           lists.excludedProcesses,   lists.excludedServices,
          lists.excludedScheduledTasks, lists.excludedDirectories, lists.excludedFiles};
}

// What the exclusions are when nothing but this application was merged.
inline Exclusions exclusionsFor(const ApplicationPackage& package) {
  Exclusions exclusions;
  exclusions.registryKeys = package.RegistryKeys;
  exclusions.directories = package.Directories;
  exclusions.registryValues = package.RegistryValues;
  exclusions.files = package.Files;
  exclusions.processes = package.Process;
  return exclusions;
}

class SelectionTest : public testing::Test {
 protected:
  Lines selectApplications() {
    const CapturedLog log;
    selectEligibleApplications(data, packages, exclusions);
    return log.lines();
  }

  Lines selectDrivers() {
    const CapturedLog log;
    selectEligibleDrivers(data, packages, exclusions);
    return log.lines();
  }

  Lines filter() {
    const CapturedLog log;
    filterInstalledApplications(data, packages);
    return log.lines();
  }

  ScrubListData data;
  EligiblePackages packages;
  ExclusionLists exclusions;
};
