// finish_run - what a run comes to, and the restart at its end.
#pragma once

#include <cstdint>

// 1 success, 0 warnings (a failed application), -1 failure (a failed driver). Failed files, directories, registry rows,
// services, processes and tasks have no influence.
extern std::int32_t RunOutcome;

// Restarts the machine at once, with all programs ended by force, as a planned restart. Reports nothing; when the
// privilege cannot be had, nothing happens.
void rebootMachine();
