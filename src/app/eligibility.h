// eligibility - decides which packages of the manifest are removed. A package that stays is protected: everything it
// lists is excluded, even where another row names it too. Does not touch the machine.
#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "app/programme_state.h"
#include "manifest/package_lists.h"
#include "manifest/records.h"
#include "manifest/work_lists.h"

// The names of an inclusion list.
using IncludedNames = std::unordered_set<std::wstring>;

enum class ApplicationChoice {
  NotIncluded,
  Goes,
  KeptByProgramme,  // the user has opted in to the experience programme, which this package contains
};

struct ApplicationPlan {
  ApplicationChoice choice = ApplicationChoice::NotIncluded;
  ProgrammeStep step = ProgrammeStep::None;  // comes first, and may fail: then planAfterFailedMove
};

// True for an included package that contains the experience programme, whose plan depends on the programme's state.
bool needsProgrammeState(const IncludedNames& included, const ApplicationPackage& package);

// Decides on one application. `programme` is only looked at where needsProgrammeState is true. Pure.
ApplicationPlan PlanApplication(const IncludedNames& included, const ApplicationPackage& package,
                                const ProgrammeState& programme);

// The plan to fall back on when the programme's installer package could not be moved.
ApplicationPlan planAfterFailedMove();

// True when everything the package lists stays, even if its product is uninstalled.
bool isProtected(const ApplicationPlan& plan);

// Both lists point to packages of the manifest, in its order.
struct DriverPlan {
  std::vector<const DriverPackage*> eligible;
  std::vector<const DriverPackage*> excluded;  // to be protected
};

// Decides on all drivers. Pure.
DriverPlan PlanDrivers(const ScrubListData& data);

// Adds everything the package lists to the exclusions. Directories and files go to the manifest's own exclusions, which
// are expanded later.
void protectPackage(const ApplicationPackage& package, ScrubListData& data, ExclusionLists& exclusions);
void protectPackage(const DriverPackage& package, ScrubListData& data, ExclusionLists& exclusions);
