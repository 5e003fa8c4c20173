// driver_search - switches the system's search for drivers off for the run, so that Windows does not bring back what is
// being removed, and puts the setting back afterwards.
#pragma once

#include <optional>

#include <windows.h>

// The settings as they were; empty for one that was not changed.
struct SavedDriverSearch {
  std::optional<DWORD> savedSearchOrderConfig;
  std::optional<DWORD> savedDontSearchWindowsUpdate;
};

// Switches the search off unless it is off already, or its setting is missing or no number. A setting that cannot be
// written is logged and counts as unchanged. RegQueryValueExW, RegSetValueExW.
SavedDriverSearch disableDriverSearch();

// Writes back what was saved.
void restoreDriverSearch(const SavedDriverSearch& saved);
