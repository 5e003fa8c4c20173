// action_dispatcher - the one loop that carries out a work list. It takes items of one kind, performs the kind's
// operation on each in list order, and collects the items that failed. Knows nothing of the session or of the order of
// the stages.
#pragma once

#include <string>
#include <vector>

#include "system/windows_files.h"

// The numbers are fixed; 8, 9 and every other value do nothing.
enum class ActionKind : int {
  ScheduledTask = 0,           // task name
  ServiceStop = 1,             // service name
  ProcessKill = 2,             // image name
  FileDelete = 3,              // file path
  RegistryKeyDelete = 4,       // full key path
  RegistryKeyEmptyDelete = 5,  // full key path; the same operation, on a list that was prepared differently
  RegistryValueDelete = 6,     // full key path, a backslash and the value's name
  DirectoryDelete = 7,         // directory path
  ShortcutDelete = 10,         // path below the Start Menu's Programs folder
};

// Carries out `items` in order on the calling thread and appends each item that failed to `failures`, unchanged.
// `factoryResetMode` affects FileDelete only: nothing is then left for the next restart. Returns true for an empty
// list; else false after a failure, except that a DirectoryDelete which succeeds at the second try makes the result
// true again. A task or image name with * or ? is refused with an ERROR line and fails, since the system's tools would
// take it for a pattern. A file that Windows protects is kept with an ERROR line and fails, also in the place of a
// directory; `about` says which files are asked about. So does a file or directory whose folder is not where the row
// says, or is no longer the one that was listed. An exception of an operation leaves the rest of the list undone.
bool ExecuteActions(ActionKind kind, const std::vector<std::wstring>& items, std::vector<std::wstring>& failures,
                    bool factoryResetMode, AskWindows about = AskWindows::BelowItsFolder);

// Ends every process with that image name, using taskkill.exe. Always returns true: the outcome is ignored.
bool KillProcess(const std::wstring& imageName);
