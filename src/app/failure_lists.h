// failure_lists - the items of the work lists that a run could not remove, kind by kind. Only the log gets to see them:
// the outcome does not depend on them.
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

// Lists what failed, each kind that has any under its header. The failed applications and drivers stand between the
// two halves. Shortcuts are listed nowhere.
void logFirstFailures(const FailureLists& failures);
void logLastFailures(const FailureLists& failures);
