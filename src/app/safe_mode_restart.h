// safe_mode_restart - has Windows restart into safe mode and start this program there again, and takes safe mode out of
// the boot settings at the end of a run. Whether to restart is decided elsewhere.
#pragma once

#include <string>
#include <vector>

// Deletes the scheduled tasks, leaves an entry with this run's arguments in RunOnce, and restarts. Returns with the
// restart under way, or with a log line when there is none. RegSetValueExW, bcdedit, shutdown.
void rebootIntoSafeMode(const std::vector<std::wstring>& scheduledTasks);

// Has the next restart be a normal one. bcdedit.
void leaveSafeMode();
