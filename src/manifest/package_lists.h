// package_lists - the packages that a run removes, and the results. Plain data: copies of the manifest's records.
#pragma once

#include <vector>

#include "manifest/records.h"

// The packages to remove. After the driver stage, the list of drivers holds only those that were dealt with.
struct EligiblePackages {
  std::vector<DriverPackage> eligibleDrivers;
  std::vector<ApplicationPackage> eligibleApplications;
};

struct PackageResults {
  std::vector<DriverPackage> failedDrivers;
  std::vector<DriverPackage> removedDrivers;
  std::vector<ApplicationPackage> failedApplications;
  std::vector<ApplicationPackage> removedApplications;
};
