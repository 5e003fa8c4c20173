// device_removal_plan_test - what becomes of matched devices, on hand-made records, without a machine.
#include "devices/device_removal_plan.h"

#include <gmock/gmock.h>

#include "support/text.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

DeviceRecord device(const std::wstring& className, const std::vector<std::wstring>& hardwareIds) {
  DeviceRecord record;
  record.className = className;
  record.description = L"ORV " + className;
  record.deviceId = L"PCI\\1";
  record.hardwareIds = hardwareIds;
  return record;
}

DriverMatch matchOf(DeviceRecord& record, const std::wstring& name = L"Package") {
  DriverMatch match = {&record, {}};
  match.driver.Name = name;
  return match;
}

const GpuExclusion kKeepOne = {{{L"VEN_7A11", L"DEV_1"}}, true};

}  // namespace

TEST(DeviceFates, OfDevicesMatchedByTheirClass) {
  struct Row {
    const char* name;
    DeviceRecord record;
    GpuExclusion exclusion;
    bool factoryReset;
    DeviceFate fate;
    bool gpuExclusionApplied;
  };
  const std::vector<std::wstring> named = {L"PCI\\VEN_7A11&DEV_1"};
  Row rows[] = {
      {"sound", device(L"MEDIA", named), kKeepOne, false, DeviceFate::Remove, false},
      {"named display device", device(L"Display", named), kKeepOne, false, DeviceFate::KeptGraphicsDevice, true},
      {"another display device", device(L"Display", {L"DEV_2"}), kKeepOne, false, DeviceFate::Remove, true},
      {"none is named", device(L"Display", named), {{}, true}, false, DeviceFate::Remove, true},
      {"the option was not given", device(L"Display", named), {}, false, DeviceFate::Remove, false},
      {"no hardware id", device(L"Display", {}), kKeepOne, false, DeviceFate::Remove, false},
      {"factory reset", device(L"Display", named), kKeepOne, true, DeviceFate::KeptInFactoryReset, false},
      {"sound in a factory reset", device(L"MEDIA", named), kKeepOne, true, DeviceFate::Remove, false},
      {"extension", device(L"Extension", named), {}, false, DeviceFate::LeftToStoreCleaner, false},
  };
  for (Row& row : rows) {
    MatchLists matches;
    matches.devicesByClassName = {matchOf(row.record)};
    const DeviceRemovalPlan plan = PlanDeviceRemoval(matches, row.exclusion, row.factoryReset);
    EXPECT_EQ(plan.stages[0].devices[0].fate, row.fate) << row.name;
    EXPECT_EQ(plan.gpuExclusionApplied, row.gpuExclusionApplied) << row.name;
  }
}

TEST(DeviceFates, OfDevicesMatchedByAnotherRuleAreRemoval) {
  DeviceRecord display = device(L"Display", {L"PCI\\VEN_7A11&DEV_1"});
  DeviceRecord extension = device(L"Extension", {});
  MatchLists matches;
  matches.devicesByDeviceID = {matchOf(display), matchOf(extension)};
  const DeviceRemovalPlan plan = PlanDeviceRemoval(matches, kKeepOne, true);
  for (const PlannedDevice& planned : plan.stages[4].devices) {
    EXPECT_EQ(planned.fate, DeviceFate::Remove);
    EXPECT_FALSE(planned.gpuExclusionApplied);
  }
  EXPECT_FALSE(plan.gpuExclusionApplied);
}

TEST(DeviceFates, KnowOfTheExclusionFromTheFirstDisplayDeviceOn) {
  DeviceRecord before = device(L"MEDIA", {L"A"});
  DeviceRecord display = device(L"Display", {L"B"});
  DeviceRecord behind = device(L"MEDIA", {L"C"});
  MatchLists matches;
  matches.devicesByClassName = {matchOf(before), matchOf(display), matchOf(behind)};
  const DeviceRemovalPlan plan = PlanDeviceRemoval(matches, kKeepOne, false);
  EXPECT_FALSE(plan.stages[0].devices[0].gpuExclusionApplied);
  EXPECT_TRUE(plan.stages[0].devices[1].gpuExclusionApplied);
  EXPECT_TRUE(plan.stages[0].devices[2].gpuExclusionApplied);
}

TEST(RemovalStages, StandInTheirOrderWithTheirDevices) {
  DeviceRecord record = device(L"MEDIA", {L"A", L"B"});
  MatchLists matches;
  matches.devicesByClassName = {matchOf(record, L"class")};
  matches.devicesByDevDesc = {matchOf(record, L"description")};
  matches.devicesBySibblings = {matchOf(record, L"siblings")};
  matches.devicesByHWID = {matchOf(record, L"hardware id")};
  matches.devicesByDeviceID = {matchOf(record, L"device id")};
  std::vector<std::string> stages;
  for (const RemovalStage& stage : PlanDeviceRemoval(matches, {}, false).stages) {
    stages.push_back(narrow(stage.header) + ": " + narrow(stage.devices.at(0).match.driver.Name));
  }
  EXPECT_THAT(stages, ElementsAre("Devices to Uninstall by classname: class",
                                  "Devices to Uninstall by devicesByDevDesc: description",
                                  "Devices to Uninstall by devicesBySibblings: siblings",
                                  "Devices to Uninstall by devicesByHWID's: hardware id",
                                  "Devices to Uninstall by devicesByDeviceID's: device id"));
}

TEST(RemovalStages, HaveTheLinesOfEachDevice) {
  DeviceRecord record = device(L"Display", {L"A", L"VEN_7A11&DEV_1", L"C"});
  MatchLists matches;
  matches.devicesByClassName = {matchOf(record)};
  matches.devicesByDevDesc = {matchOf(record)};
  const DeviceRemovalPlan plan = PlanDeviceRemoval(matches, kKeepOne, false);
  EXPECT_THAT(
      plan.stages[0].devices[0].lines,
      ElementsAre(L"Class Name: Display ----- Description: ORV Display ----- DeviceId: PCI\\1", L"Hardware ID's", L"A",
                  L"VEN_7A11-DEV_1", L"VEN_7A11&DEV_1", L"VEN_7A11-DEV_1", L"Excluding GPU: VEN_7A11&DEV_1"));
  EXPECT_THAT(plan.stages[1].devices[0].lines,
              ElementsAre(L"getClassName: Display-----getDescription: ORV Display-----getDeviceId: PCI\\1",
                          L"Hardware ID's", L"A", L"VEN_7A11&DEV_1", L"C"));
}

TEST(RemovalStages, AreFiveAlsoWithoutADevice) {
  const DeviceRemovalPlan plan = PlanDeviceRemoval({}, {}, false);
  ASSERT_EQ(plan.stages.size(), 5u);
  for (const RemovalStage& stage : plan.stages) {
    EXPECT_THAT(stage.devices, IsEmpty());
  }
}
