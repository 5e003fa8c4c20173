// work_lists - the lists that the collectors make from the manifest: what is to be removed, and what is protected.
// Plain data.
#pragma once

#include <string>
#include <vector>

#include "manifest/records.h"

// What is to be removed, in the order in which it was found.
struct WorkLists {
  std::vector<std::wstring> registryKeys;
  std::vector<std::wstring> registryKeysEmpty;  // deleted only if there are no other keys below them
  std::vector<std::wstring> registryValues;
  std::vector<std::wstring> directories;       // with their contents
  std::vector<std::wstring> directoriesForce;  // only if they are empty, otherwise marked for the next restart
  std::vector<std::wstring> services;
  std::vector<std::wstring> scheduledTasks;
  std::vector<std::wstring> files;
  std::vector<std::wstring> processes;
  std::vector<std::wstring> shortcuts;
  std::vector<TrackerCommand> commands;
};

// Rows that are taken out of the work lists. Rows are compared as a whole.
struct ExclusionLists {
  std::vector<std::wstring> excludedRegistryKeys;
  std::vector<std::wstring> excludedRegistryValues;
  std::vector<std::wstring> excludedDirectories;
  std::vector<std::wstring> excludedServices;
  std::vector<std::wstring> excludedScheduledTasks;
  std::vector<std::wstring> excludedFiles;
  std::vector<std::wstring> excludedProcesses;
};
