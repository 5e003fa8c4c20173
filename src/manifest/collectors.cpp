#include "manifest/collectors.h"

#include <set>

#include <windows.h>

#include "app/cleanup_session.h"
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

// Appends one list of each package, in the order of the packages.
template <class Package>
void appendFromPackages(const std::vector<Package>& packages, RowsOf<Package> list, UniqueRows& target) {
  for (const Package& package : packages) {
    appendMissing(package.*list, target);
  }
}

// A directory or key goes with all that lies in it, and so do the files that a pattern takes: a row that means a place
// of the system itself is refused, whoever wrote it.
bool refuses(const std::wstring& row, bool (*isProtected)(const std::wstring&)) {
  if (!isProtected(row)) {
    return false;
  }
  LogError(L"Row[%s] names a place of the system and is not carried out", row.c_str());
  return true;
}

void refuseProtected(Rows& rows, bool (*isProtected)(const std::wstring&)) {
  std::erase_if(rows, [isProtected](const std::wstring& row) { return refuses(row, isProtected); });
}

// A pattern behind a link would give a row for each file there, of which every one were refused in its turn.
bool refusesFilePattern(const std::wstring& row, Rows& failures) {
  if (refuses(row, isProtectedPattern)) {
    return true;
  }
  RowFolders folders(1);
  if (row.find(L'*') == std::wstring::npos || folders.hold(row) != RowFolders::Answer::Refused) {
    return false;
  }
  failures.push_back(row);
  return true;
}

}  // namespace

void HandleCommands(CleanupSession& session) {
  LogDebug(L"-----------HandleCommands Getting all data-------------");
  session.commands = session.scrubListData->Commands;
}

void HandleProcesses(CleanupSession& session) {
  LogDebug(L"-----------HandleProcesses Getting all data-------------");
  UniqueRows processes(session.processes);
  appendMissing(session.scrubListData->Process, processes);
  appendFromPackages(session.eligibleApplications, &ApplicationPackage::Process, processes);
  appendMissing(session.scrubListData->ExcludedProcess, session.excludedProcesses);
  excludeFromVector(session.excludedProcesses, session.processes);
}

void HandleServices(CleanupSession& session) {
  LogDebug(L"-----------HandleServices Getting all data-------------");
  UniqueRows services(session.services);
  appendMissing(session.scrubListData->Services, services);
  appendFromPackages(session.eligibleDrivers, &DriverPackage::Services, services);
  appendMissing(session.scrubListData->ExcludedServices, session.excludedServices);
  excludeFromVector(session.excludedServices, session.services);
}

void HandleShortcuts(CleanupSession& session) {
  appendMissing(session.scrubListData->Shortcuts, session.shortcuts);
}

void HandleDirectories(CleanupSession& session) {
  LogDebug(L"-----------HandleDirectories Getting all data-------------");
  const ScrubListData& data = *session.scrubListData;
  {
    UniqueRows directories(session.directories);
    expandDirectoryRows(data.Directories, directories);
    expandDirectoryRows(data.TrackerDirectories, session.directoriesForce);
    for (const ApplicationPackage& package : session.eligibleApplications) {
      expandDirectoryRows(package.Directories, directories);
    }
    for (const DriverPackage& package : session.eligibleDrivers) {
      expandDirectoryRows(package.Directories, directories);
    }
  }
  refuseProtected(session.directories, isProtectedDirectory);
  refuseProtected(session.directoriesForce, isProtectedDirectory);
  ExpandDirectories(session.directories, session.files);
  // The same walk over what is protected: a protected directory takes all that lies in it out of the work lists, also
  // when it has been moved and a link is in its place.
  expandDirectoryRows(data.ExcludedDirectories, session.excludedDirectories);
  ExpandDirectories(session.excludedDirectories, session.excludedFiles, LinkInPlace::IsFollowed);
  excludeFromVector(session.excludedDirectories, session.directories);
  excludeFromVector(session.excludedDirectories, session.directoriesForce);
}

void HandleFiles(CleanupSession& session) {
  LogDebug(L"-----------HandleFiles Getting all data-------------");
  UniqueRows files(session.files);
  const auto refusesPattern = [&session](const std::wstring& row) {
    return refusesFilePattern(row, session.failedFiles);
  };
  expandFileRows(session.scrubListData->Files, files, refusesPattern);
  for (const ApplicationPackage& package : session.eligibleApplications) {
    expandFileRows(package.Files, files, refusesPattern);
  }
  expandFileRows(session.scrubListData->ExcludedFiles, session.excludedFiles);
  excludeFromVector(session.excludedFiles, session.files);
}

void HandleScheduledTasks(CleanupSession& session) {
  LogDebug(L"-----------HandleScheduledTasks Getting all data-------------");
  appendMissing(session.scrubListData->ScheduledTasks, session.scheduledTasks);
  appendMissing(session.scrubListData->ExcludedScheduledTasks, session.excludedScheduledTasks);
  excludeFromVector(session.excludedScheduledTasks, session.scheduledTasks);
}

void HandleRegistries(CleanupSession& session) {
  const ScrubListData& data = *session.scrubListData;
  LogDebug(L"-----------HandleRegistries Getting all data-------------");
  LogDebug(L"-----------HandleRegistries Getting HKEY USER Profiles-------------");
  getHkeyUserProfiles(session.registryKeys, session.registryValues);

  LogDebug(L"-----------getAllRegistryKeys Getting all data-------------");
  {
    UniqueRows keys(session.registryKeys);
    appendMissing(data.RegistryKeys, keys);
    appendMissing(data.RegistryKeysEmpty, session.registryKeysEmpty);
    appendFromPackages(session.eligibleApplications, &ApplicationPackage::RegistryKeys, keys);
    appendFromPackages(session.eligibleDrivers, &DriverPackage::RegistryKeys, keys);
  }
  refuseProtected(session.registryKeys, isProtectedKey);
  refuseProtected(session.registryKeysEmpty, isProtectedKey);
  LogDebug(L"-----------getRegistryKeysValuesRecursively Getting all data-------------");
  getRegistryKeysValuesRecursively(session.registryKeys, session.registryValues);

  LogDebug(L"-----------getAllExcludedRegistryKeys Getting all data-------------");
  appendMissing(data.ExcludedRegistryKeys, session.excludedRegistryKeys);
  LogDebug(L"-----------getExcludedRegistryKeysValuesRecursively Getting all data-------------");
  getRegistryKeysValuesRecursively(session.excludedRegistryKeys, session.excludedRegistryValues);
  addExcludedKeyAncestors(session.excludedRegistryKeys);
  LogDebug(L"-----------excludeFromVector Getting all data-------------");
  excludeFromVector(session.excludedRegistryKeys, session.registryKeys);

  LogDebug(L"-----------getAllRegistryValues Getting all data-------------");
  {
    UniqueRows values(session.registryValues);
    appendMissing(data.RegistryValues, values);
    appendFromPackages(session.eligibleApplications, &ApplicationPackage::RegistryValues, values);
    appendFromPackages(session.eligibleDrivers, &DriverPackage::RegistryValues, values);
  }
  LogDebug(L"-----------getAllExcludedRegistryValues Getting all data-------------");
  appendMissing(data.ExcludedRegistryValues, session.excludedRegistryValues);
  LogDebug(L"-----------excludeFromVector Getting all data-------------");
  excludeFromVector(session.excludedRegistryValues, session.registryValues);
  excludeParentsOfExcludedValues(session.excludedRegistryValues, session.registryKeys);
}

void excludeFromVector(std::vector<std::wstring> exclusions, std::vector<std::wstring>& target) {
  const RowIndex excluded(exclusions);
  std::erase_if(target, [&excluded](const std::wstring& row) { return excluded.contains(row); });
}

void getHkeyUserProfiles(std::vector<std::wstring>& registryKeys, std::vector<std::wstring>& registryValues) {
  QueryKey(HKEY_USERS, HKEY_USERS, L"", registryKeys, registryValues);
  const Rows profiles = std::exchange(registryKeys, {});
  for (const std::wstring& profile : profiles) {
    registryKeys.push_back(profile + L"\\Software\\ORV");
    registryKeys.push_back(profile + L"\\Software\\KTL");
  }
}

void addExcludedKeyAncestors(std::vector<std::wstring>& excludedRegistryKeys) {
  std::set<std::wstring> protectedKeys;
  for (const std::wstring& row : excludedRegistryKeys) {
    const auto [rootName, subkey] = splitRegistryPath(row);
    RegistryKey key;
    if (::RegOpenKeyExW(ParseRootKey(rootName), subkey.c_str(), 0, KEY_ALL_ACCESS, key.put()) != ERROR_SUCCESS) {
      continue;
    }
    // Stays open: a protected key is in use, and shows as such, until the process ends.
    (void)key.release();
    protectedKeys.insert(row);
    for (std::size_t backslash = row.find(L'\\', row.find(L'\\') + 1); backslash != std::wstring::npos;
         backslash = row.find(L'\\', backslash + 1)) {
      protectedKeys.insert(row.substr(0, backslash));
    }
  }
  excludedRegistryKeys.assign(protectedKeys.begin(), protectedKeys.end());
}

void excludeParentsOfExcludedValues(std::vector<std::wstring> excludedValues, std::vector<std::wstring>& registryKeys) {
  for (std::wstring& row : excludedValues) {
    row = row.substr(0, row.rfind(L'\\'));  // whole where there is no backslash
  }
  excludeFromVector(std::move(excludedValues), registryKeys);
}
