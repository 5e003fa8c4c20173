// finish_run - what a run comes to.
#pragma once

#include <cstdint>
#include <vector>

#include "manifest/package_lists.h"

// 1 success, 0 warnings (a failed application), -1 failure (a failed driver). Failed files, directories, registry rows,
// services, processes and tasks have no influence. Pure.
std::int32_t decideOutcome(const PackageResults& results);

// Removes each driver whose name stands before it in the list. Pure.
void removeRepeatedNames(std::vector<DriverPackage>& packages);
