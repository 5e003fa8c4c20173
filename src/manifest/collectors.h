// collectors - reduce the manifest to the flat work lists: generic rows and rows of the eligible packages, expanded,
// less everything that is protected. Each is called just before the stage that uses its list. They read the machine and
// change nothing on it; which rows are protected is decided by row_plan.
#pragma once

#include <string>
#include <vector>

#include "manifest/package_lists.h"
#include "manifest/records.h"
#include "manifest/row_plan.h"
#include "manifest/work_lists.h"

// What a collector takes rows from.
struct CollectorSources {
  const ScrubListData& data;
  const EligiblePackages& packages;
};

struct ProtectedRegistryRows {
  ProtectedRows keys;
  ProtectedRows values;
};

// Each appends to the work list of its kind and to the exclusions of that kind what they do not hold yet, and takes the
// protected rows out of the work list. Those are what it returns. The commands are replaced as a whole.
void HandleCommands(const CollectorSources& sources, WorkLists& work);
void HandleShortcuts(const CollectorSources& sources, WorkLists& work);
ProtectedRows HandleProcesses(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions);
ProtectedRows HandleServices(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions);
ProtectedRows HandleScheduledTasks(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions);

// Rows that name a place of the system are left out, with a line in the log. Also appends what lies in the directories
// to the files, and what lies in the protected ones to the exclusions, so it must run before HandleFiles. Throws
// std::filesystem::filesystem_error when a directory cannot be read.
ProtectedRows HandleDirectories(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions);

// A pattern that would take all of a place of the system is left out, with a line in the log, and so is one behind a
// link, which is appended to `failedFiles`.
ProtectedRows HandleFiles(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions,
                          std::vector<std::wstring>& failedFiles);

// Keys and values; rows that name a place of the system are left out, with a line in the log.
ProtectedRegistryRows HandleRegistries(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions);

// Two candidate keys of the maker for each loaded user profile, into an emptied `registryKeys`.
void getHkeyUserProfiles(std::vector<std::wstring>& registryKeys, std::vector<std::wstring>& registryValues);

// Drops the rows whose key cannot be opened with full access, then adds the ancestors of the others (addAncestors).
KeysAboveProtected addExcludedKeyAncestors(std::vector<std::wstring>& excludedRegistryKeys);
