// safe_mode_restart - restarts the machine into safe mode, where Windows starts this program again, and turns safe mode
// off at the end of a run. Does not decide whether to restart.
#pragma once

#include <string>
#include <vector>

// Deletes the scheduled tasks, writes a RunOnce entry with the arguments of this run, and restarts the machine. Returns
// while the restart is under way; if it could not be started, that is logged. RegSetValueExW, bcdedit, shutdown.
void rebootIntoSafeMode(const std::vector<std::wstring>& scheduledTasks);

// Makes the next boot a normal one. A failure is logged. bcdedit.
void leaveSafeMode();
