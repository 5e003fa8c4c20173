// driver_store_plan - decides which packages of the driver store the sweep takes, by class, catalog and provider of
// their INF files. Reads nothing of the machine.
#pragma once

#include "devices/device_records.h"

enum class PackageFate {
  NotTheMakers,  // or of no kind that is swept
  KeptInFactoryReset,
  Remove,
};

struct PlannedPackage {
  PackageFate fate = PackageFate::NotTheMakers;
  const wchar_t* keptLine = nullptr;  // for the log, of a package that a factory reset keeps
  bool isDisplayDriver = false;       // a graphics device that is kept may still use it
  bool isDisplayExtension = false;    // with it, every display device has to go as well
};

// The package is told by its texts without regard to case.
PlannedPackage PlanPackageRemoval(const InfRecord& inf, bool factoryReset);
