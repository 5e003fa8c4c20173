// eligibility_test - which packages the plans choose, and what the others protect.
#include "app/eligibility.h"

#include <gmock/gmock.h>

#include "app/package_selection_fixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const IncludedNames kIncluded = {L"Listed", L"Common"};

ApplicationPackage application(const std::wstring& name, bool isCommon = false) {
  ApplicationPackage package = applicationWithRows(name);
  package.CommonApp = isCommon;
  return package;
}

// A user who has opted in, with the installer package in the control panel's folder.
ProgrammeState optedIn(DWORD graphics) {
  return {1, graphics, L"C:\\Lumio\\UXF.msi", L"C:\\Programme"};
}

}  // namespace

TEST(PlanOfAnApplication, NamesAreComparedWholeAndWithCase) {
  EXPECT_EQ(PlanApplication(kIncluded, application(L"Listed"), {}).choice, ApplicationChoice::Goes);
  for (const wchar_t* name : {L"listed", L"Listed ", L"Liste", L""}) {
    const ApplicationPlan plan = PlanApplication(kIncluded, application(name), {});
    EXPECT_EQ(plan.choice, ApplicationChoice::NotIncluded);
    EXPECT_TRUE(isProtected(plan));
  }
}

TEST(PlanOfAnApplication, OnlyAnIncludedCommonPackageAsksForTheProgramme) {
  EXPECT_TRUE(needsProgrammeState(kIncluded, application(L"Common", true)));
  EXPECT_FALSE(needsProgrammeState(kIncluded, application(L"Common")));
  EXPECT_FALSE(needsProgrammeState(kIncluded, application(L"Other", true)));
  const ApplicationPlan plan = PlanApplication(kIncluded, application(L"Listed"), optedIn(0));
  EXPECT_EQ(plan.choice, ApplicationChoice::Goes);
  EXPECT_EQ(plan.step, ProgrammeStep::None);
}

TEST(PlanOfAnApplication, MovedProgrammeProtectsItsRowsWhetherOrNotThePackageGoes) {
  const ApplicationPlan both = PlanApplication(kIncluded, application(L"Common", true), optedIn(1));
  EXPECT_EQ(both.choice, ApplicationChoice::Goes);
  EXPECT_TRUE(isProtected(both));
  const ApplicationPlan tuningAlone = PlanApplication(kIncluded, application(L"Common", true), optedIn(0));
  EXPECT_EQ(tuningAlone.choice, ApplicationChoice::KeptByProgramme);
  EXPECT_TRUE(isProtected(tuningAlone));
}

TEST(PlanOfAnApplication, ProgrammeThatCouldNotBeMovedIsGivenUpWithAllItsRows) {
  const ApplicationPlan plan = planAfterFailedMove();
  EXPECT_EQ(plan.choice, ApplicationChoice::Goes);
  EXPECT_EQ(plan.step, ProgrammeStep::GiveUp);
  EXPECT_FALSE(isProtected(plan));
}

TEST(PlanOfDrivers, SortsThePackagesInTheOrderOfTheManifest) {
  ScrubListData data;
  data.InclusionDrivers = {L"Second", L"First", L"Missing"};
  data.DriverPackages = {driverWithRows(L"First"), driverWithRows(L"Kept"), driverWithRows(L"Second"),
                         driverWithRows(L"second")};
  const DriverPlan plan = PlanDrivers(data);
  EXPECT_THAT(plan.eligible, ElementsAre(&data.DriverPackages[0], &data.DriverPackages[2]));
  EXPECT_THAT(plan.excluded, ElementsAre(&data.DriverPackages[1], &data.DriverPackages[3]));
  EXPECT_THAT(PlanDrivers(ScrubListData()).eligible, IsEmpty());
}

TEST(ProtectedPackage, AddsAllItsListsToTheExclusions) {
  ScrubListData data;
  ExclusionLists exclusions;
  protectPackage(application(L"Kept"), data, exclusions);
  EXPECT_EQ(exclusionsOf(data, exclusions), exclusionsFor(application(L"Kept")));
  protectPackage(driverWithRows(L"Driver"), data, exclusions);
  EXPECT_THAT(exclusions.excludedServices, ElementsAre(L"Driver service"));
  EXPECT_THAT(data.ExcludedDirectories, ElementsAre(L"Kept directory", L"Driver directory"));
}
