// collectors - turn the manifest into the work lists: the generic rows and those of the eligible packages, expanded,
// without what is protected. Each runs just before the stage that uses its list. They read the machine but never change
// it; row_plan decides which rows are protected.
#pragma once

#include <string>
#include <vector>

#include "manifest/package_lists.h"
#include "manifest/records.h"
#include "manifest/row_plan.h"
#include "manifest/work_lists.h"

// Where a collector takes rows from.
struct CollectorSources {
  const ScrubListData& data;
  const EligiblePackages& packages;
};

struct ProtectedRegistryRows {
  ProtectedRows keys;
  ProtectedRows values;
};

// Each adds the rows of its kind to the work list and to the exclusions, each row once, then moves the protected rows
// out of the work list and returns them. The list of commands is replaced.
void HandleCommands(const CollectorSources& sources, WorkLists& work);
void HandleShortcuts(const CollectorSources& sources, WorkLists& work);
ProtectedRows HandleProcesses(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions);
ProtectedRows HandleServices(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions);
ProtectedRows HandleScheduledTasks(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions);

// Rows that name a place of the system are logged and left out. The contents of the directories are added too, their
// files to the list of files: it must run before HandleFiles. Throws std::filesystem::filesystem_error when a directory
// cannot be read.
ProtectedRows HandleDirectories(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions);

// A pattern that would match all of a place of the system is logged and left out. So is one behind a link, which is
// also added to `failedFiles`.
ProtectedRows HandleFiles(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions,
                          std::vector<std::wstring>& failedFiles);

// Keys and values. Rows that name a place of the system are logged and left out.
ProtectedRegistryRows HandleRegistries(const CollectorSources& sources, WorkLists& work, ExclusionLists& exclusions);

// Replaces `registryKeys` by the two keys that the maker may have in each loaded user profile.
void getHkeyUserProfiles(std::vector<std::wstring>& registryKeys, std::vector<std::wstring>& registryValues);

// Drops the keys that cannot be opened with full access, then adds the ancestors of the rest (addAncestors).
// RegOpenKeyExW.
KeysAboveProtected addExcludedKeyAncestors(std::vector<std::wstring>& excludedRegistryKeys);
