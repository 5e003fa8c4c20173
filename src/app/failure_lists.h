// failure_lists - the items that a run could not remove, by kind, and how they are logged. They do not affect the
// outcome.
#pragma once

#include <string>
#include <vector>

struct FailureLists {
  std::vector<std::wstring> failedRegistryKeys;
  std::vector<std::wstring> failedRegistryValues;
  std::vector<std::wstring> failedPreUninstallRegistryValues;
  std::vector<std::wstring> failedPreUninstallRegistryKeys;
  std::vector<std::wstring> failedDirectories;
  std::vector<std::wstring> failedServices;
  std::vector<std::wstring> failedScheduledTasks;
  std::vector<std::wstring> failedFiles;
  std::vector<std::wstring> failedDriverFiles;
  std::vector<std::wstring> failedProcesses;
  std::vector<std::wstring> failedShortcuts;
};

// Log what failed, each list that is not empty under its own header. Failed applications and drivers are logged between
// the two. Failed shortcuts are not logged.
void logFirstFailures(const FailureLists& failures);
void logLastFailures(const FailureLists& failures);
