#include "app/package_selection.h"

#include <utility>

#include "app/eligibility.h"
#include "app/installed_applications.h"
#include "app/programme_package.h"
#include "applications/forced_removal.h"
#include "system/log.h"

namespace {

constexpr wchar_t kProgrammeTask[] = L"StartUXF";

// Carries out what the plan asks for and returns the plan that holds after it.
ApplicationPlan carryOutProgrammeStep(ApplicationPlan plan, const ProgrammeState& programme) {
  if (plan.step == ProgrammeStep::MovePackage && !moveProgrammePackage(programme)) {
    plan = planAfterFailedMove();
  }
  if (plan.step == ProgrammeStep::GiveUp) {
    giveUpProgramme();
  }
  return plan;
}

}  // namespace

void selectEligibleApplications(ScrubListData& data, EligiblePackages& packages, ExclusionLists& exclusions) {
  LogDebug(L"-----------Applications Eligible to Unistall-------------");
  const IncludedNames included(data.InclusionApplications.begin(), data.InclusionApplications.end());
  for (const ApplicationPackage& package : data.ApplicationPackages) {
    // Read again for each package: the previous one may have changed it.
    const ProgrammeState programme = needsProgrammeState(included, package) ? FindProgrammeState() : ProgrammeState();
    const ApplicationPlan plan = carryOutProgrammeStep(PlanApplication(included, package, programme), programme);
    if (isProtected(plan)) {
      LogDebug(L"Excluding:\t%s", package.Name.c_str());
      protectPackage(package, data, exclusions);
    }
    if (plan.step == ProgrammeStep::MovePackage) {
      exclusions.excludedScheduledTasks.emplace_back(kProgrammeTask);
    }
    if (plan.choice == ApplicationChoice::Goes) {
      LogDebug(L"%s", package.Name.c_str());
      packages.eligibleApplications.push_back(package);
    } else if (plan.choice == ApplicationChoice::KeptByProgramme) {
      LogDebug(L"HLX not opted to :\t%s", package.Name.c_str());
    }
  }
}

void selectEligibleDrivers(ScrubListData& data, EligiblePackages& packages, ExclusionLists& exclusions) {
  LogDebug(L"-----------Drivers Eligible to Unistall-------------");
  const DriverPlan plan = PlanDrivers(data);
  for (const DriverPackage* package : plan.eligible) {
    LogDebug(L"%s", package->Name.c_str());
    packages.eligibleDrivers.push_back(*package);
  }
  for (const DriverPackage* package : plan.excluded) {
    protectPackage(*package, data, exclusions);  // not logged, unlike an application
  }
}

void filterInstalledApplications(const ScrubListData& data, EligiblePackages& packages) {
  std::vector<ApplicationPackage>& applications = packages.eligibleApplications;
  const std::vector<bool> isInstalled = FindInstalled(applications);
  applications = PlanInstalled(std::move(applications), isInstalled);

  const ControlPanelVersion version = FindControlPanelVersion();
  LogDebug(L"Application List to Uninstall:-------------");
  for (ApplicationPackage& application : applications) {
    LogDebug(L"%s - %s", application.Name.c_str(), application.UpgradeID.c_str());
    if (isToBeWiped(application, version)) {
      application.UninstallResult = ForceRemoveRelatedProducts(application.UpgradeID);
      LogDebug(L"Wiped LMBranding application\t:\t%s\t:\t%d", application.Name.c_str(), application.UninstallResult);
    }
  }

  LogDebug(L"UWP Apps to Uninstall:-------------");
  for (const std::wstring& pattern : data.InclusionUWP) {
    LogDebug(L"%s", pattern.c_str());
  }
}
