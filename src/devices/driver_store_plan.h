// driver_store_plan - decides which packages of the driver store are removed, by the class, catalog file and provider
// in their INF files. Does not access the machine.
#pragma once

#include "devices/device_records.h"

enum class PackageFate {
  NotTheMakers,  // or of a kind that the sweep does not remove
  KeptInFactoryReset,
  Remove,
};

struct PlannedPackage {
  PackageFate fate = PackageFate::NotTheMakers;
  const wchar_t* keptLine = nullptr;  // logged for a package that a factory reset keeps
  bool isDisplayDriver = false;       // may be in use by a graphics device that is kept
  bool isDisplayExtension = false;    // once handled, all display devices have to be removed
};

// Compares case-insensitively. Pure.
PlannedPackage PlanPackageRemoval(const InfRecord& inf, bool factoryReset);
