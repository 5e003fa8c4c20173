// package_selection_test - which packages the inclusion lists choose, and how everything that the others list is
// protected.

#include "app/package_selection_fixture.h"

namespace {

constexpr char kApplicationsHeader[] = "DEBUG -----------Applications Eligible to Unistall-------------";
constexpr char kDriversHeader[] = "DEBUG -----------Drivers Eligible to Unistall-------------";

using EligibleApplications = SelectionTest;
using EligibleDrivers = SelectionTest;

}  // namespace

TEST_F(EligibleApplications, WithoutPackagesThereIsTheHeaderAlone) {
  data.InclusionApplications = {L"Named but without a record"};
  EXPECT_EQ(selectApplications(), (Lines{kApplicationsHeader}));
  EXPECT_TRUE(packages.eligibleApplications.empty());
  EXPECT_EQ(exclusionsOf(data, exclusions), Exclusions());
}

TEST_F(EligibleApplications, IncludedPackagesAreCopiedInManifestOrderAndNotProtected) {
  data.InclusionApplications = {L"Second", L"First", L"Missing"};
  data.ApplicationPackages = {applicationWithRows(L"First"), applicationWithRows(L"Second")};
  data.ApplicationPackages[0].UpgradeID = L"{code}";
  data.ApplicationPackages[0].CommandLine = L"command";
  EXPECT_EQ(selectApplications(), (Lines{kApplicationsHeader, "DEBUG First", "DEBUG Second"}));
  ASSERT_EQ(namesOf(packages.eligibleApplications), (Names{L"First", L"Second"}));
  EXPECT_EQ(packages.eligibleApplications[0].UpgradeID, L"{code}");
  EXPECT_EQ(packages.eligibleApplications[0].CommandLine, L"command");
  EXPECT_EQ(packages.eligibleApplications[0].Files, (Names{L"First file"}));
  EXPECT_EQ(exclusionsOf(data, exclusions), Exclusions());
  EXPECT_EQ(namesOf(data.ApplicationPackages), (Names{L"First", L"Second"}));
}

TEST_F(EligibleApplications, NamesAreComparedWholeAndWithCase) {
  data.InclusionApplications = {L"Settings"};
  for (const wchar_t* name : {L"settings", L"SETTINGS", L"Setting", L"Settings ", L" Settings", L"Settings64", L""}) {
    data.ApplicationPackages.push_back(applicationWithRows(name));
  }
  selectApplications();
  EXPECT_EQ(namesOf(packages.eligibleApplications), Names());
  EXPECT_EQ(exclusions.excludedProcesses.size(), data.ApplicationPackages.size());
}

TEST_F(EligibleApplications, PackageThatIsNotIncludedIsProtectedWithAllItsLists) {
  const ApplicationPackage package = applicationWithRows(L"Kept");
  data.ApplicationPackages = {package};
  EXPECT_EQ(selectApplications(), (Lines{kApplicationsHeader, "DEBUG Excluding:\tKept"}));
  EXPECT_TRUE(packages.eligibleApplications.empty());
  EXPECT_EQ(exclusionsOf(data, exclusions), exclusionsFor(package));
}

TEST_F(EligibleApplications, RowsAreAppendedBehindWhatIsThereWithTheirDuplicates) {
  exclusions.excludedRegistryKeys = {L"there key"};
  exclusions.excludedRegistryValues = {L"there value"};
  exclusions.excludedProcesses = {L"there process"};
  data.ExcludedDirectories = {L"there directory"};
  data.ExcludedFiles = {L"there file"};
  ApplicationPackage first = applicationWithRows(L"First");
  first.RegistryKeys = {L"b", L"a", L"b"};
  first.Directories = {L"d", L"there directory"};
  first.RegistryValues = {L"v", L"v"};
  first.Files = {L"", L"f"};
  first.Process = {L"p.exe", L"P.EXE"};
  data.ApplicationPackages = {first, applicationWithRows(L"Going"), first};
  data.InclusionApplications = {L"Going"};
  EXPECT_EQ(selectApplications(),
            (Lines{kApplicationsHeader, "DEBUG Excluding:\tFirst", "DEBUG Going", "DEBUG Excluding:\tFirst"}));
  Exclusions expected;
  expected.registryKeys = {L"there key", L"b", L"a", L"b", L"b", L"a", L"b"};
  expected.directories = {L"there directory", L"d", L"there directory", L"d", L"there directory"};
  expected.registryValues = {L"there value", L"v", L"v", L"v", L"v"};
  expected.files = {L"there file", L"", L"f", L"", L"f"};
  expected.processes = {L"there process", L"p.exe", L"P.EXE", L"p.exe", L"P.EXE"};
  EXPECT_EQ(exclusionsOf(data, exclusions), expected);
}

TEST_F(EligibleApplications, CommonPackageThatIsNotIncludedIsProtectedLikeAnyOther) {
  ApplicationPackage package = applicationWithRows(L"Common");
  package.CommonApp = true;
  data.ApplicationPackages = {package};
  EXPECT_EQ(selectApplications(), (Lines{kApplicationsHeader, "DEBUG Excluding:\tCommon"}));
  EXPECT_EQ(exclusionsOf(data, exclusions), exclusionsFor(package));
}

TEST_F(EligibleApplications, SameNameTwiceGivesTwoRecords) {
  data.InclusionApplications = {L"Twice"};
  data.ApplicationPackages = {applicationWithRows(L"Twice"), applicationWithRows(L"Twice")};
  EXPECT_EQ(selectApplications(), (Lines{kApplicationsHeader, "DEBUG Twice", "DEBUG Twice"}));
  EXPECT_EQ(packages.eligibleApplications.size(), 2u);
}

TEST_F(EligibleApplications, NamesWithPercentSignsAreLoggedAsTheyStand) {
  data.InclusionApplications = {L"100%s"};
  data.ApplicationPackages = {applicationWithRows(L"100%s"), applicationWithRows(L"%n%d")};
  EXPECT_EQ(selectApplications(), (Lines{kApplicationsHeader, "DEBUG 100%s", "DEBUG Excluding:\t%n%d"}));
}

TEST_F(EligibleDrivers, IncludedPackagesAreCopiedInManifestOrderAndNotProtected) {
  data.InclusionDrivers = {L"Second", L"First", L"Missing"};
  data.DriverPackages = {driverWithRows(L"First"), driverWithRows(L"Second")};
  data.DriverPackages[1].InfName = L"second.inf";
  EXPECT_EQ(selectDrivers(), (Lines{kDriversHeader, "DEBUG First", "DEBUG Second"}));
  ASSERT_EQ(namesOf(packages.eligibleDrivers), (Names{L"First", L"Second"}));
  EXPECT_EQ(packages.eligibleDrivers[1].InfName, L"second.inf");
  EXPECT_EQ(packages.eligibleDrivers[1].Services, (Names{L"Second service"}));
  EXPECT_EQ(exclusionsOf(data, exclusions), Exclusions());
}

TEST_F(EligibleDrivers, NamesAreComparedWholeAndWithCase) {
  data.InclusionDrivers = {L"Display"};
  data.DriverPackages = {driverWithRows(L"display"), driverWithRows(L"Displays"), driverWithRows(L"Displa")};
  selectDrivers();
  EXPECT_EQ(namesOf(packages.eligibleDrivers), Names());
}

TEST_F(EligibleDrivers, PackageThatIsNotIncludedIsProtectedWithoutALine) {
  data.DriverPackages = {driverWithRows(L"Kept")};
  EXPECT_EQ(selectDrivers(), (Lines{kDriversHeader}));
  Exclusions expected;
  expected.registryKeys = {L"Kept key"};
  expected.directories = {L"Kept directory"};
  expected.registryValues = {L"Kept value"};
  expected.services = {L"Kept service"};
  EXPECT_EQ(exclusionsOf(data, exclusions), expected);
}

TEST_F(EligibleDrivers, RowsAreAppendedBehindTheApplicationsOnesWithTheirDuplicates) {
  data.ApplicationPackages = {applicationWithRows(L"Kept application")};
  DriverPackage driver = driverWithRows(L"Kept");
  driver.Services = {L"s", L"s"};
  driver.Directories = {L"Kept application directory"};
  data.DriverPackages = {driver, driver};
  exclusions.excludedServices = {L"there"};
  selectApplications();
  selectDrivers();
  Exclusions expected = exclusionsFor(data.ApplicationPackages[0]);
  expected.registryKeys.insert(expected.registryKeys.end(), {L"Kept key", L"Kept key"});
  expected.directories.insert(expected.directories.end(), 2, L"Kept application directory");
  expected.registryValues.insert(expected.registryValues.end(), {L"Kept value", L"Kept value"});
  expected.services = {L"there", L"s", L"s", L"s", L"s"};
  EXPECT_EQ(exclusionsOf(data, exclusions), expected);
}

TEST_F(EligibleDrivers, ApplicationNamesMeanNothingToDrivers) {
  data.InclusionApplications = {L"Shared name"};
  data.DriverPackages = {driverWithRows(L"Shared name")};
  data.ApplicationPackages = {applicationWithRows(L"Shared name")};
  selectApplications();
  selectDrivers();
  EXPECT_EQ(packages.eligibleApplications.size(), 1u);
  EXPECT_TRUE(packages.eligibleDrivers.empty());
}
