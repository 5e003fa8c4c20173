// installed_applications_test - which of the chosen applications the plan keeps. package_selection_installed_test has
// what the installer and the registry are asked.
#include "app/installed_applications.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;

namespace {

ApplicationPackage application(const std::wstring& name, const std::wstring& upgradeCode = L"") {
  ApplicationPackage package;
  package.Name = name;
  package.UpgradeID = upgradeCode;
  return package;
}

auto named(const wchar_t* name) {
  return Field(&PackageRecord::Name, std::wstring(name));
}

}  // namespace

TEST(PlanOfInstalledApplications, KeepsTheFirstInstalledOneOfEachUpgradeCode) {
  const std::vector<ApplicationPackage> applications = {application(L"Gone", L"{a}"), application(L"First", L"{a}"),
                                                        application(L"Second", L"{a}"), application(L"Case", L"{A}")};
  EXPECT_THAT(PlanInstalled(applications, {false, true, true, true}), ElementsAre(named(L"First"), named(L"Case")));
  EXPECT_THAT(PlanInstalled(applications, {false, false, false, false}), IsEmpty());
  EXPECT_THAT(PlanInstalled({}, {}), IsEmpty());
}

TEST(WipedApplication, IsTheOnePackageOfTheOneVersion) {
  EXPECT_TRUE(isToBeWiped(application(L"LMBranding64"), {21, 40}));
  for (const ControlPanelVersion& version : {ControlPanelVersion{21, 41}, {20, 40}, {40, 21}, {0, 0}}) {
    EXPECT_FALSE(isToBeWiped(application(L"LMBranding64"), version)) << version.major << '.' << version.minor;
  }
  for (const wchar_t* name : {L"LMBranding", L"lmbranding64", L""}) {
    EXPECT_FALSE(isToBeWiped(application(name), {21, 40}));
  }
}
