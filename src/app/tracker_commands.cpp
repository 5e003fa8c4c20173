#include "app/tracker_commands.h"

#include <algorithm>
#include <cstdint>
#include <future>

#include <windows.h>

#include "system/file_status.h"
#include "system/log.h"
#include "system/process_launch.h"

namespace {

// Appears in the log line; it is not the time-out.
constexpr int kLaunchKind = 2;

// Clamped, so that a long time-out does not become INFINITE and a negative one does not become weeks.
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
      // The shell needs a COM apartment of its own, hence the thread. Waiting for it keeps the commands in sequence.
      std::async(std::launch::async, LaunchProcessAndWait, command.Process, command.CommandLine,
                 toMilliseconds(command.Timeout))
          .get();
    } catch (...) {
      // A failed command has been logged; the next one runs.
    }
  }
}
