// tracker_commands - runs the commands that the install manager's tracker file asks for.
#pragma once

#include <vector>

#include "manifest/records.h"

// Runs the commands strictly one after the other, each until it ends or its time-out is over. A missing program is
// passed over; a command that fails costs nothing but its log lines. Throws std::filesystem::filesystem_error "exists"
// only when the system cannot say whether a program exists.
void handlePKMTrackerBinaries(std::vector<TrackerCommand> commands);
