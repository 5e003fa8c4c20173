// package_lists - the manifest's packages as a run sorts them: those that are to go, and what became of them. Plain
// data, copies of the manifest's records.
#pragma once

#include <vector>

#include "manifest/records.h"

// The packages that were chosen to go. Once the drivers have been dealt with, their list holds those that were acted
// on, and only those.
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
