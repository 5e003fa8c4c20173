// match_rules_test - the device query of a package and the matches among hand-made records, without a machine.
#include "devices/match_rules.h"

#include <memory>

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::unique_ptr<DriverInfo> node(const std::wstring& provider, bool isOem = true) {
  auto driver = std::make_unique<DriverInfo>();
  driver->description = L"Sound";
  driver->version = L"1.2.3.4";
  driver->manufacturer = L"Bench";
  driver->provider = provider;
  driver->inf = std::make_unique<InfRecord>();
  driver->inf->isOem = isOem;
  return driver;
}

DeviceRecord device(const std::wstring& id, const std::wstring& provider = L"ORV") {
  DeviceRecord record;
  record.deviceId = id;
  record.drivers.push_back(node(provider));
  return record;
}

DriverPackage package(const std::wstring& className) {
  DriverPackage driver;
  driver.Name = L"Package";
  driver.ClassName = className;
  return driver;
}

std::vector<std::wstring> idsIn(const std::vector<DriverMatch>& matches) {
  std::vector<std::wstring> ids;
  for (const DriverMatch& match : matches) {
    ids.push_back(match.device->deviceId);
  }
  return ids;
}

}  // namespace

TEST(DeviceQueryOfAPackage, Rows) {
  DriverPackage filter = package(L"system");
  filter.HardwareIds = {L"DEV_A0A0"};
  filter.DeviceID = L"ignored";
  DriverPackage byId = package(L"Net");
  byId.DeviceID = L"PID_77";
  struct Row {
    DriverPackage driver;
    std::wstring primary;
    std::wstring secondary;
    bool withSiblings;
  };
  const Row rows[] = {{filter, L"", L"0A0", false},
                      {byId, L"PID_77", L"", true},
                      {package(L"MEDIA"), L"", L"", true},
                      {package(L"system"), L"", L"", true}};
  for (const Row& row : rows) {
    const std::optional<DeviceQuery> query = PlanDeviceQuery(row.driver);
    ASSERT_TRUE(query.has_value());
    EXPECT_EQ(query->className, row.driver.ClassName);
    EXPECT_EQ(query->primaryIdFilter, row.primary);
    EXPECT_EQ(query->secondaryIdFilter, row.secondary);
    EXPECT_EQ(query->withSiblings, row.withSiblings);
  }
}

TEST(DeviceQueryOfAPackage, IsNoneWithoutAClass) {
  DriverPackage driver = package(L"");
  driver.DeviceID = L"PID_77";
  EXPECT_FALSE(PlanDeviceQuery(driver).has_value());
}

TEST(Matches, ComeIntoTheListOfTheRule) {
  DriverPackage byId = package(L"MEDIA");
  byId.DeviceID = L"1";
  DriverPackage described = package(L"system");
  described.DeviceDesc = L"Link";
  DriverPackage companion = package(L"system");
  companion.SibblingClassName = L"hdc";
  companion.SibblingCompatibleId = L"CC_0601";
  DriverPackage filter = package(L"system");
  filter.HardwareIds = {L"DEV_A0A0"};
  DeviceRecord sibling;
  sibling.className = L"HDC";
  DeviceRecord record = device(L"1");
  record.description = L"ORV Link";
  record.siblings = {&sibling};
  record.compatibleIds = {L"PCI\\CC_0601"};
  record.hardwareIds = {L"PCI\\DEV_A0A0"};
  record.lowerFilters = {L"orvpcifd"};
  MatchLists lists;
  for (const DriverPackage& driver : {package(L"MEDIA"), byId, described, companion, filter, package(L"system")}) {
    PlanMatches(driver, {&record}, lists);
  }
  for (const auto* list : {&lists.devicesByClassName, &lists.devicesByDeviceID, &lists.devicesByDevDesc,
                           &lists.devicesBySibblings, &lists.devicesByHWID}) {
    EXPECT_THAT(idsIn(*list), ElementsAre(L"1"));
  }
  EXPECT_EQ(lists.devicesByDeviceID[0].driver.DeviceID, L"1") << "with the package whose rule it met";
}

TEST(Matches, TellHowEachDeviceWasExamined) {
  MatchLists lists;
  DeviceRecord first = device(L"1", L"Bench");
  DeviceRecord second = device(L"2");
  second.drivers.push_back(node(L"ORV"));
  EXPECT_THAT(PlanMatches(package(L"MEDIA"), {&first, &second}, lists),
              ElementsAre(L"---------toCheck: 1------------",
                          L"---------Device data------------Sound - 1.2.3.4 - Bench - Bench",
                          L"---------INF data------------ -  -  - 1", L"---------toCheck: 2------------",
                          L"---------Device data------------Sound - 1.2.3.4 - Bench - ORV",
                          L"---------INF data------------ -  -  - 1"));
  EXPECT_THAT(idsIn(lists.devicesByClassName), ElementsAre(L"2"));
  EXPECT_THAT(PlanMatches(package(L"MEDIA"), {&second}, lists),
              ElementsAre(L"---------toCheck: 2------------", L"---------getDeviceId: 2------------"));
  EXPECT_EQ(first.drivers[0]->manufacturer, L"bench") << "in lower case once it was examined";
  EXPECT_EQ(second.drivers[0]->provider, L"orv");
  EXPECT_EQ(second.drivers[1]->provider, L"ORV") << "behind the node that has qualified the device";
}

TEST(Matches, OfAPackageWithoutARuleAreNone) {
  MatchLists lists;
  DeviceRecord record = device(L"1");
  EXPECT_THAT(PlanMatches(package(L"system"), {&record}, lists), IsEmpty());
  EXPECT_THAT(lists.devicesByDevDesc, IsEmpty());
  EXPECT_THAT(lists.devicesBySibblings, IsEmpty());
}
