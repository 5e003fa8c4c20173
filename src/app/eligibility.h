// eligibility - which packages of the manifest are to go. What is not chosen is protected: everything that it lists
// goes to the exclusions, so that no other row can name it. Decides and fills lists; changes nothing on the machine.
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
  KeptByProgramme,  // its user has opted in to the experience programme, which the package carries
};

struct ApplicationPlan {
  ApplicationChoice choice = ApplicationChoice::NotIncluded;
  ProgrammeStep step = ProgrammeStep::None;  // comes first, and may fail: then planAfterFailedMove
};

// True when the package carries the experience programme and is included, so that the plan depends on its state.
bool needsProgrammeState(const IncludedNames& included, const ApplicationPackage& package);

// What becomes of one application. `programme` matters only where needsProgrammeState is true.
ApplicationPlan PlanApplication(const IncludedNames& included, const ApplicationPackage& package,
                                const ProgrammeState& programme);

// What becomes of it when the programme's package could not be moved.
ApplicationPlan planAfterFailedMove();

// True when what the package lists stays, also where its product goes.
bool isProtected(const ApplicationPlan& plan);

struct DriverPlan {
  std::vector<DriverPackage> eligible;         // in the order of the manifest, like the others
  std::vector<const DriverPackage*> excluded;  // to be protected; of the manifest
};

DriverPlan PlanDrivers(const ScrubListData& data);

// Adds all that the package lists to the exclusions. Directories and files go to those of the manifest, which are
// expanded later.
void protectPackage(const ApplicationPackage& package, ScrubListData& data, ExclusionLists& exclusions);
void protectPackage(const DriverPackage& package, ScrubListData& data, ExclusionLists& exclusions);
