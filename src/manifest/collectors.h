// collectors - reduce the manifest to the flat work lists of the session: generic rows and rows of the eligible
// packages, expanded, less everything that is protected. Each is called just before the stage that uses its list.
#pragma once

#include <string>
#include <vector>

class CleanupSession;

void HandleCommands(CleanupSession& session);
void HandleProcesses(CleanupSession& session);
void HandleServices(CleanupSession& session);
void HandleShortcuts(CleanupSession& session);
// Also appends the contents of the directories to the session's files, so it must run before HandleFiles.
void HandleDirectories(CleanupSession& session);
void HandleFiles(CleanupSession& session);
void HandleScheduledTasks(CleanupSession& session);
void HandleRegistries(CleanupSession& session);

// Takes away every row of `target` that equals a row of `exclusions`, whole and with case. The rest keeps its order and
// its duplicates.
void excludeFromVector(std::vector<std::wstring> exclusions, std::vector<std::wstring>& target);

// Two candidate keys of the maker for each loaded user profile, into an emptied `registryKeys`.
void getHkeyUserProfiles(std::vector<std::wstring>& registryKeys, std::vector<std::wstring>& registryValues);

// Drops the rows whose key does not exist and adds every ancestor of the others, the root alone excepted; the result is
// in ascending order of code units, each row once. So a key survives as long as a protected key lies below it.
void addExcludedKeyAncestors(std::vector<std::wstring>& excludedRegistryKeys);

// Takes away every key that holds a protected value.
void excludeParentsOfExcludedValues(std::vector<std::wstring> excludedValues, std::vector<std::wstring>& registryKeys);
