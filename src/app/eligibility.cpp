#include "app/eligibility.h"

namespace {

void appendAll(std::vector<std::wstring>& target, const std::vector<std::wstring>& rows) {
  target.insert(target.end(), rows.begin(), rows.end());
}

// The rows that both kinds of package have.
template <class Package>
void protectCommonRows(const Package& package, ScrubListData& data, ExclusionLists& exclusions) {
  appendAll(exclusions.excludedRegistryKeys, package.RegistryKeys);
  appendAll(data.ExcludedDirectories, package.Directories);
  appendAll(exclusions.excludedRegistryValues, package.RegistryValues);
}

}  // namespace

bool needsProgrammeState(const IncludedNames& included, const ApplicationPackage& package) {
  return package.CommonApp && included.contains(package.Name);
}

ApplicationPlan PlanApplication(const IncludedNames& included, const ApplicationPackage& package,
                                const ProgrammeState& programme) {
  if (!included.contains(package.Name)) {
    return {ApplicationChoice::NotIncluded, ProgrammeStep::None};
  }
  if (!package.CommonApp) {
    return {ApplicationChoice::Goes, ProgrammeStep::None};
  }
  const ProgrammePlan plan = PlanProgramme(programme);
  return {plan.packageGoes ? ApplicationChoice::Goes : ApplicationChoice::KeptByProgramme, plan.step};
}

ApplicationPlan planAfterFailedMove() {
  return {ApplicationChoice::Goes, ProgrammeStep::GiveUp};
}

bool isProtected(const ApplicationPlan& plan) {
  return plan.choice == ApplicationChoice::NotIncluded || plan.step == ProgrammeStep::MovePackage;
}

DriverPlan PlanDrivers(const ScrubListData& data) {
  const IncludedNames included(data.InclusionDrivers.begin(), data.InclusionDrivers.end());
  DriverPlan plan;
  for (const DriverPackage& package : data.DriverPackages) {
    (included.contains(package.Name) ? plan.eligible : plan.excluded).push_back(&package);
  }
  return plan;
}

void protectPackage(const ApplicationPackage& package, ScrubListData& data, ExclusionLists& exclusions) {
  protectCommonRows(package, data, exclusions);
  appendAll(data.ExcludedFiles, package.Files);
  appendAll(exclusions.excludedProcesses, package.Process);
}

void protectPackage(const DriverPackage& package, ScrubListData& data, ExclusionLists& exclusions) {
  protectCommonRows(package, data, exclusions);
  appendAll(exclusions.excludedServices, package.Services);
}
