#include "manifest/collectors.h"

#include <iterator>
#include <utility>

#include <windows.h>

#include "manifest/path_expansion.h"
#include "system/expand_directories.h"
#include "system/handles.h"
#include "system/log.h"
#include "system/protected_places.h"
#include "system/registry.h"
#include "system/registry_walk.h"
#include "system/row_folders.h"
#include "system/unique_rows.h"

namespace {

using Rows = std::vector<std::wstring>;

// Appends one list of each package, in package order.
template <class Package>
void appendFromPackages(const std::vector<Package>& packages, RowsOf<Package> list, UniqueRows& target) {
  for (const Package& package : packages) {
    appendMissing(package.*list, target);
  }
}

template <class Package>
void expandDirectoriesOf(const std::vector<Package>& packages, UniqueRows& target) {
  for (const Package& package : packages) {
    expandDirectoryRows(package.Directories, target);
  }
}

void appendRows(ProtectedRows rows, ProtectedRows& target) {
  target.insert(target.end(), std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
}

// A directory or key is removed with everything in it, and a pattern removes every file it matches: a row that names a
// place of the system is refused, whichever document it comes from.
void logRefusal(const std::wstring& row) {
  LogError(L"Row[%s] names a place of the system and is not carried out", row.c_str());
}

void dropPlacesOfTheSystem(Rows& rows, bool (*isProtected)(const std::wstring&)) {
  std::erase_if(rows, [isProtected](const std::wstring& row) {
    const bool refused = isProtected(row);
    if (refused) {
      logRefusal(row);
    }
    return refused;
  });
}

// False for a pattern that must not be expanded. Behind a link every single match would be refused later, so the
// pattern fails as a whole.
bool admitFilePattern(const std::wstring& row, Rows& failures) {
  if (isProtectedPattern(row)) {
    logRefusal(row);
    return false;
  }
  RowFolders folders(1);
  if (row.find(L'*') == std::wstring::npos || folders.hold(row) != RowFolders::Answer::Refused) {
    return true;
  }
  failures.push_back(row);
  return false;
}

void findDirectories(const CollectorSources& sources, WorkLists& work) {
  {
    UniqueRows directories(work.directories);
    expandDirectoryRows(sources.data.Directories, directories);
    expandDirectoryRows(sources.data.TrackerDirectories, work.directoriesForce);
    expandDirectoriesOf(sources.packages.eligibleApplications, directories);
    expandDirectoriesOf(sources.packages.eligibleDrivers, directories);
  }
  dropPlacesOfTheSystem(work.directories, isProtectedDirectory);
  dropPlacesOfTheSystem(work.directoriesForce, isProtectedDirectory);
  ExpandDirectories(work.directories, work.files);
}

// Walks the protected directories too, since everything in them is taken out of the work lists. Links in their place
// are followed: the user may have moved the directory.
void findExcludedDirectories(const ScrubListData& data, ExclusionLists& exclusions) {
  expandDirectoryRows(data.ExcludedDirectories, exclusions.excludedDirectories);
  ExpandDirectories(exclusions.excludedDirectories, exclusions.excludedFiles, LinkInPlace::IsFollowed);
}

void findFiles(const CollectorSources& sources, Rows& files, Rows& failedFiles) {
  UniqueRows uniqueFiles(files);
  const auto admit = [&failedFiles](const std::wstring& row) { return admitFilePattern(row, failedFiles); };
  expandFileRows(sources.data.Files, uniqueFiles, admit);
  for (const ApplicationPackage& package : sources.packages.eligibleApplications) {
    expandFileRows(package.Files, uniqueFiles, admit);
  }
}

void collectRegistryKeys(const CollectorSources& sources, WorkLists& work) {
  {
    UniqueRows keys(work.registryKeys);
    appendMissing(sources.data.RegistryKeys, keys);
    appendMissing(sources.data.RegistryKeysEmpty, work.registryKeysEmpty);
    appendFromPackages(sources.packages.eligibleApplications, &ApplicationPackage::RegistryKeys, keys);
    appendFromPackages(sources.packages.eligibleDrivers, &DriverPackage::RegistryKeys, keys);
  }
  dropPlacesOfTheSystem(work.registryKeys, isProtectedKey);
  dropPlacesOfTheSystem(work.registryKeysEmpty, isProtectedKey);
}

void collectRegistryValues(const CollectorSources& sources, Rows& registryValues) {
  UniqueRows values(registryValues);
  appendMissing(sources.data.RegistryValues, values);
  appendFromPackages(sources.packages.eligibleApplications, &ApplicationPackage::RegistryValues, values);
  appendFromPackages(sources.packages.eligibleDrivers, &DriverPackage::RegistryValues, values);
}

}  // namespace

void HandleCommands(const CollectorSources& sources, WorkLists& work) {
  LogDebug(L"-----------HandleCommands Getting all data-------------");
  work.commands = sources.data.Commands;
}

void HandleShortcuts(const CollectorSources& sources, WorkLists& work) {
  appendMissing(sources.data.Shortcuts, work.shortcuts);
}

ProtectedRows HandleProcesses(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions) {
  LogDebug(L"-----------HandleProcesses Getting all data-------------");
  UniqueRows processes(work.processes);
  appendMissing(sources.data.Process, processes);
  appendFromPackages(sources.packages.eligibleApplications, &ApplicationPackage::Process, processes);
  appendMissing(sources.data.ExcludedProcess, exclusions.excludedProcesses);
  return excludeFromVector(exclusions.excludedProcesses, work.processes);
}

ProtectedRows HandleServices(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions) {
  LogDebug(L"-----------HandleServices Getting all data-------------");
  UniqueRows services(work.services);
  appendMissing(sources.data.Services, services);
  appendFromPackages(sources.packages.eligibleDrivers, &DriverPackage::Services, services);
  appendMissing(sources.data.ExcludedServices, exclusions.excludedServices);
  return excludeFromVector(exclusions.excludedServices, work.services);
}

ProtectedRows HandleScheduledTasks(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions) {
  LogDebug(L"-----------HandleScheduledTasks Getting all data-------------");
  appendMissing(sources.data.ScheduledTasks, work.scheduledTasks);
  appendMissing(sources.data.ExcludedScheduledTasks, exclusions.excludedScheduledTasks);
  return excludeFromVector(exclusions.excludedScheduledTasks, work.scheduledTasks);
}

ProtectedRows HandleDirectories(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions) {
  LogDebug(L"-----------HandleDirectories Getting all data-------------");
  findDirectories(sources, work);
  findExcludedDirectories(sources.data, exclusions);
  ProtectedRows rows = PlanDirectories(exclusions, work.directories);
  appendRows(PlanDirectories(exclusions, work.directoriesForce), rows);
  return rows;
}

ProtectedRows HandleFiles(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions,
                          std::vector<std::wstring>& failedFiles) {
  LogDebug(L"-----------HandleFiles Getting all data-------------");
  findFiles(sources, work.files, failedFiles);
  expandFileRows(sources.data.ExcludedFiles, exclusions.excludedFiles);
  return PlanFiles(exclusions, work.files);
}

ProtectedRegistryRows HandleRegistries(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions) {
  LogDebug(L"-----------HandleRegistries Getting all data-------------");
  LogDebug(L"-----------HandleRegistries Getting HKEY USER Profiles-------------");
  getHkeyUserProfiles(work.registryKeys, work.registryValues);
  LogDebug(L"-----------getAllRegistryKeys Getting all data-------------");
  collectRegistryKeys(sources, work);
  LogDebug(L"-----------getRegistryKeysValuesRecursively Getting all data-------------");
  getRegistryKeysValuesRecursively(work.registryKeys, work.registryValues);

  LogDebug(L"-----------getAllExcludedRegistryKeys Getting all data-------------");
  appendMissing(sources.data.ExcludedRegistryKeys, exclusions.excludedRegistryKeys);
  LogDebug(L"-----------getExcludedRegistryKeysValuesRecursively Getting all data-------------");
  getRegistryKeysValuesRecursively(exclusions.excludedRegistryKeys, exclusions.excludedRegistryValues);
  const KeysAboveProtected keysAbove = addExcludedKeyAncestors(exclusions.excludedRegistryKeys);
  LogDebug(L"-----------excludeFromVector Getting all data-------------");
  ProtectedRegistryRows rows;
  rows.keys = PlanRegistryKeys(exclusions, keysAbove, work.registryKeys);

  LogDebug(L"-----------getAllRegistryValues Getting all data-------------");
  collectRegistryValues(sources, work.registryValues);
  LogDebug(L"-----------getAllExcludedRegistryValues Getting all data-------------");
  appendMissing(sources.data.ExcludedRegistryValues, exclusions.excludedRegistryValues);
  LogDebug(L"-----------excludeFromVector Getting all data-------------");
  rows.values = PlanRegistryValues(exclusions, keysAbove, work.registryValues);
  appendRows(excludeParentsOfExcludedValues(exclusions.excludedRegistryValues, work.registryKeys), rows.keys);
  return rows;
}

void getHkeyUserProfiles(Rows& registryKeys, Rows& registryValues) {
  QueryKey(HKEY_USERS, HKEY_USERS, L"", registryKeys, registryValues);
  const Rows profiles = std::exchange(registryKeys, {});
  for (const std::wstring& profile : profiles) {
    registryKeys.push_back(profile + L"\\Software\\ORV");
    registryKeys.push_back(profile + L"\\Software\\KTL");
  }
}

KeysAboveProtected addExcludedKeyAncestors(Rows& excludedRegistryKeys) {
  std::erase_if(excludedRegistryKeys, [](const std::wstring& row) {
    const auto [rootName, subkey] = splitRegistryPath(row);
    RegistryKey key;
    if (::RegOpenKeyExW(ParseRootKey(rootName), subkey.c_str(), 0, KEY_ALL_ACCESS, key.put()) != ERROR_SUCCESS) {
      return true;
    }
    // Left open on purpose: the protected keys stay in use until the process ends.
    (void)key.release();
    return false;
  });
  return addAncestors(excludedRegistryKeys);
}
