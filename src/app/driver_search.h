// driver_search - turns off the Windows search for drivers during the run, so that Windows does not reinstall what is
// being removed, and restores the setting afterwards. Knows nothing of the drivers themselves.
#pragma once

#include <optional>

#include <windows.h>

// The old values; empty where nothing was changed.
struct SavedDriverSearch {
  std::optional<DWORD> savedSearchOrderConfig;
  std::optional<DWORD> savedDontSearchWindowsUpdate;
};

// Turns the search off, unless it is off already or its setting is missing or not a number. A setting that cannot be
// written is logged and counts as unchanged. RegQueryValueExW, RegSetValueExW.
SavedDriverSearch disableDriverSearch();

// Restores the saved values.
void restoreDriverSearch(const SavedDriverSearch& saved);
