#include "app/tracker_commands.h"

#include <algorithm>
#include <cstdint>
#include <future>

#include <windows.h>

#include "system/file_status.h"
#include "system/log.h"
#include "system/process_launch.h"

namespace {

// The number stands in the log line and is not the time-out.
constexpr int kLaunchKind = 2;

// A number that the wait can hold: no time-out turns into one without an end, and none below zero into one of weeks.
DWORD toMilliseconds(std::int32_t seconds) {
  return static_cast<DWORD>(std::clamp<std::int64_t>(std::int64_t{seconds} * 1000, 0, INFINITE - 1));
}

}  // namespace

void handlePKMTrackerBinaries(std::vector<TrackerCommand> commands) {
  for (const TrackerCommand& command : commands) {
    LogDebug(L"handlePKMTrackerBinaries -- launch process %s -- %s -- %d ", command.Process.c_str(),
             command.CommandLine.c_str(), kLaunchKind);
    if (!fileExists(command.Process)) {
      continue;
    }
    try {
      // A thread of its own gives the shell an apartment of its own; the wait keeps the commands one after the other.
      std::async(std::launch::async, LaunchProcessAndWait, command.Process, command.CommandLine,
                 toMilliseconds(command.Timeout))
          .get();
    } catch (...) {
      // Its log line is all that a failed command costs; the next one runs.
    }
  }
}
