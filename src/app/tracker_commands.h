// tracker_commands - runs the commands that the install manager's tracker file asks for. Does not read the file.
#pragma once

#include <vector>

#include "manifest/records.h"

// Runs the commands one after the other and waits for each until it ends or times out. A missing program is skipped; a
// command that fails is only logged. Throws std::filesystem::filesystem_error "exists" when Windows cannot tell whether
// a program exists.
void handlePKMTrackerBinaries(std::vector<TrackerCommand> commands);
