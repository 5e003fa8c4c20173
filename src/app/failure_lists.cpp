#include "app/failure_lists.h"

#include <initializer_list>

#include "system/log.h"

namespace {

void logRows(const std::vector<std::wstring>& rows) {
  for (const std::wstring& row : rows) {
    LogDebug(L"%s", row.c_str());
  }
}

struct FailureSection {
  const wchar_t* header;
  const std::vector<std::wstring>& rows;
};

void logSections(std::initializer_list<FailureSection> sections) {
  for (const FailureSection& section : sections) {
    if (!section.rows.empty()) {
      LogDebug(section.header);
      logRows(section.rows);
    }
  }
}

}  // namespace

void logFirstFailures(const FailureLists& failures) {
  LogDebug(L"-----------Failed Deletion of Driver Files ---------------");  // also without any below it
  logRows(failures.failedDriverFiles);
  logSections({{L"-----------Failed Stopping Services---------------", failures.failedServices},
               {L"-----------Failed Termination of Processes---------------", failures.failedProcesses},
               {L"-----------Failed Deletions of Scheduled Tasks---------------", failures.failedScheduledTasks}});
}

void logLastFailures(const FailureLists& failures) {
  // Both lists of the step before the uninstalls have the same header.
  constexpr wchar_t kPreUninstall[] = L"-----------Failed Deletion of PreUninstall Registry Values---------------";
  logSections({{L"-----------Failed Deletion of Files---------------", failures.failedFiles},
               {L"-----------Failed Deletion of Directories---------------", failures.failedDirectories},
               {L"-----------Failed Deletion of Registry Keys---------------", failures.failedRegistryKeys},
               {L"-----------Failed Deletion of Registry Values---------------", failures.failedRegistryValues},
               {kPreUninstall, failures.failedPreUninstallRegistryValues},
               {kPreUninstall, failures.failedPreUninstallRegistryKeys}});
}
