// finish_run - the outcome of a run, and the lists that its report is made of. Knows nothing of dialogs.
#pragma once

#include <cstdint>
#include <vector>

#include "manifest/package_lists.h"

// 1 for success, 0 for warnings (an application failed), -1 for failure (a driver failed). Failed files, directories,
// registry rows, services, processes and tasks do not count. Pure.
std::int32_t decideOutcome(const PackageResults& results);

// Keeps the first record of each name. Pure.
void removeRepeatedNames(std::vector<DriverPackage>& packages);
