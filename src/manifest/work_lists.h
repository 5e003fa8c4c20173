// work_lists - the flat lists of rows that the collectors make of the manifest: what is to go, and what is protected
// from it. Plain data; the rows of both are compared whole.
#pragma once

#include <string>
#include <vector>

#include "manifest/records.h"

// What is to go, in the order in which it was found.
struct WorkLists {
  std::vector<std::wstring> registryKeys;
  std::vector<std::wstring> registryKeysEmpty;  // to be deleted only when no other key lies below them
  std::vector<std::wstring> registryValues;
  std::vector<std::wstring> directories;       // with their contents
  std::vector<std::wstring> directoriesForce;  // only when they are empty, else marked for the next restart
  std::vector<std::wstring> services;
  std::vector<std::wstring> scheduledTasks;
  std::vector<std::wstring> files;
  std::vector<std::wstring> processes;
  std::vector<std::wstring> shortcuts;
  std::vector<TrackerCommand> commands;
};

// Rows that are taken out of the work lists again.
struct ExclusionLists {
  std::vector<std::wstring> excludedRegistryKeys;
  std::vector<std::wstring> excludedRegistryValues;
  std::vector<std::wstring> excludedDirectories;
  std::vector<std::wstring> excludedServices;
  std::vector<std::wstring> excludedScheduledTasks;
  std::vector<std::wstring> excludedFiles;
  std::vector<std::wstring> excludedProcesses;
};
