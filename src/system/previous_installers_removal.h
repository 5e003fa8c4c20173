// previous_installers_removal - removes what driver installers have left. What that is, previous_installers decides.
// Reports through the log alone: no failure list, no restart.
#pragma once

#include "system/previous_installers.h"

// Logs the plan's lines and carries it out. What cannot be deleted stays, with a log line. Throws
// std::filesystem::filesystem_error "exists" when the system cannot say whether a folder is there. DeleteFileW,
// RemoveDirectoryW.
void RemovePreviousInstallers(const PreviousInstallersPlan& plan);
