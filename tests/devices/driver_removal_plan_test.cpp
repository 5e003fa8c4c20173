// driver_removal_plan_test - carrying the plan out: the stages, what is spared, the outcome lists and the closing.
#include "devices/setup.h"

#include "devices/device_fixture.h"
#include "support/link_seam.h"

#include <cfgmgr32.h>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

std::vector<ULONG> reenumerationFlags;

const std::wstring kSound = L"PCI\\VEN_7A11&DEV_0001\\1";
const std::wstring kGraphics = L"PCI\\VEN_7A11&DEV_0004\\1";
const std::wstring kForeignGraphics = L"PCI\\VEN_1234&DEV_0005\\1";
const std::wstring kReenumeration = L"CM_Reenumerate_DevNode HTREE\\ROOT\\0 -> 0";
constexpr char kByClass[] = "DEBUG Devices to Uninstall by classname";
constexpr char kByDescription[] = "DEBUG Devices to Uninstall by devicesByDevDesc";
constexpr char kByDeviceId[] = "DEBUG Devices to Uninstall by devicesByDeviceID's";
constexpr char kCleanerStarted[] = "DEBUG ----------CleanDriverStore::Started-------------";

DriverPackage packageOf(const std::wstring& name, const std::wstring& className, const std::wstring& deviceId = L"") {
  DriverPackage package;
  package.Name = name;
  package.ClassName = className;
  package.DeviceID = deviceId;
  return package;
}

std::vector<std::wstring> namesOf(const std::vector<DriverPackage>& packages) {
  std::vector<std::wstring> names;
  for (const DriverPackage& package : packages) {
    names.push_back(package.Name);
  }
  return names;
}

class DriverRemovalPlan : public DeviceTest {
 protected:
  static PlantedDevice withFile(PlantedDevice device, const std::wstring& file) {
    device.drivers[0].files = {file};
    return device;
  }

  void remove(const std::vector<DriverPackage>& packages, bool factoryReset = false) {
    failed.clear();
    succeeded.clear();
    const CapturedLog log;
    ::Setup setup;
    setup.RemoveDrivers(packages, failed, succeeded, exclusion, factoryReset);
    lines = log.lines();
  }

  // The lines behind the first one and before the second.
  Lines between(const std::string& first, const std::string& second) const {
    const auto begin = std::find(lines.begin(), lines.end(), first);
    const auto end = std::find(lines.begin(), lines.end(), second);
    return begin == lines.end() || end < begin ? Lines{"no such lines"} : Lines(begin + 1, end);
  }

  GpuExclusion exclusion;
  std::vector<DriverPackage> failed;
  std::vector<DriverPackage> succeeded;
  Lines lines;
};

using GraphicsExclusion = DriverRemovalPlan;
using FactoryReset = DriverRemovalPlan;
using DisplayDevices = DriverRemovalPlan;

}  // namespace

LINK_SEAM(CONFIGRET, CM_Reenumerate_DevNode, (DEVINST device, ULONG flags)) {
  reenumerationFlags.push_back(flags);
  return realFunction<decltype(&::CM_Reenumerate_DevNode)>(L"cfgmgr32.dll", "CM_Reenumerate_DevNode")(device, flags);
}

TEST_F(DriverRemovalPlan, EmptyPlanWalksThroughEveryStage) {
  remove({});
  EXPECT_THAT(lines, ElementsAre(kByClass, kByDescription, "DEBUG Devices to Uninstall by devicesBySibblings",
                                 "DEBUG Devices to Uninstall by devicesByHWID's", kByDeviceId, kCleanerStarted,
                                 "DEBUG ----------CleanDriverStore::Ended-------------"));
  EXPECT_THAT(recordedCalls(), ElementsAre(kReenumeration, kReenumeration));
  EXPECT_THAT(failed, IsEmpty());
  EXPECT_THAT(succeeded, IsEmpty());
}

TEST_F(DriverRemovalPlan, FirstStageLogsTheDeviceAndItsOutcome) {
  PlantedDevice device = makerDevice(kSound, L"MEDIA");
  device.hardwareIds = {L"PCI\\VEN_7A11&DEV_0001&REV_01", L"PCI\\VEN_7A11&DEV_0001"};
  device.drivers[0].hardwareId = L"PCI\\VEN_7A11&DEV_0001";
  plantDevice(device);
  plantDriverPackage(makerPackage(L"oem1.inf", L"MEDIA"));
  remove({packageOf(L"Sound", L"MEDIA")});
  EXPECT_THAT(
      between(kByClass, kByDescription),
      ElementsAre("DEBUG Class Name: MEDIA ----- Description: ORV MEDIA ----- DeviceId: PCI\\VEN_7A11&DEV_0001\\1",
                  "DEBUG Hardware ID's", "DEBUG PCI\\VEN_7A11&DEV_0001&REV_01", "DEBUG PCI\\VEN_7A11&DEV_0001",
                  "DEBUG Successfully removed PCI\\VEN_7A11&DEV_0001\\1",
                  "DEBUG Removing driver:\n\t\t\t\t\t\t\tVersion: 1.0.0.0\n\t\t\t\t\t\t\tProviderName: Orvane Devices, "
                  "Inc.\n\t\t\t\t\t\t\tHardwareID: PCI\\VEN_7A11&DEV_0001",
                  "DEBUG Successfully uninstalled C:\\windows\\INF\\oem1.inf",
                  "DEBUG Successfully Uninstalled: Description: ORV MEDIA "));
  EXPECT_THAT(namesOf(succeeded), ElementsAre(L"Sound"));
}

TEST_F(DriverRemovalPlan, LaterStagesLogTheDeviceAndItsOutcome) {
  PlantedDevice device = makerDevice(kSound, L"MEDIA", L"audio.inf");
  device.drivers.insert(device.drivers.begin(), makerDriver(L"oem1.inf"));
  plantDevice(device);
  failDeviceCall(kSound, L"DIF_REMOVE", ERROR_ACCESS_DENIED);
  failDeviceCall(kSound, L"DiUninstallDevice", ERROR_ACCESS_DENIED);
  remove({packageOf(L"Sound", L"MEDIA", L"DEV_0001")});
  EXPECT_THAT(between(kByDeviceId, kCleanerStarted),
              ElementsAre("DEBUG getClassName: MEDIA-----getDescription: ORV MEDIA-----getDeviceId: "
                          "PCI\\VEN_7A11&DEV_0001\\1",
                          "DEBUG Hardware ID's", "DEBUG PCI\\VEN_7A11&DEV_0001",
                          "ERROR SetupDiCallClassInstaller Failed. Error code is: 5",
                          "DEBUG Failed Uninstallion: Description: ORV MEDIA "));
  EXPECT_THAT(namesOf(failed), ElementsAre(L"Sound"));
  EXPECT_THAT(succeeded, IsEmpty());
}

TEST_F(DriverRemovalPlan, PackageOfSeveralDevicesHasAnOutcomeForEach) {
  for (const wchar_t* instance : {L"1", L"2", L"3"}) {
    const std::wstring id = std::wstring(L"PCI\\VEN_7A11&DEV_0001\\") + instance;
    plantDevice(makerDevice(id, L"MEDIA"));
    if (std::wstring(instance) == L"2") {
      failDeviceCall(id, L"DIF_REMOVE", ERROR_ACCESS_DENIED);
      failDeviceCall(id, L"DiUninstallDevice", ERROR_ACCESS_DENIED);
    }
  }
  DriverPackage package = packageOf(L"Sound", L"MEDIA");
  package.Services = {L"orvsound"};
  remove({package, packageOf(L"Absent", L"Camera")});
  EXPECT_THAT(namesOf(succeeded), ElementsAre(L"Sound", L"Sound"));
  EXPECT_THAT(namesOf(failed), ElementsAre(L"Sound"));
  EXPECT_THAT(succeeded[0].Services, ElementsAre(L"orvsound")) << "the whole package";
  EXPECT_TRUE(deviceExists(L"PCI\\VEN_7A11&DEV_0001\\2"));
}

TEST_F(DriverRemovalPlan, OutcomesAreAddedToWhatTheListsHold) {
  plantDevice(makerDevice(kSound, L"MEDIA"));
  failed = {packageOf(L"Failed before", L"Net")};
  succeeded = {packageOf(L"Done before", L"Net")};
  ::Setup setup;
  setup.RemoveDrivers({packageOf(L"Sound", L"MEDIA")}, failed, succeeded, exclusion, false);
  EXPECT_THAT(namesOf(failed), ElementsAre(L"Failed before"));
  EXPECT_THAT(namesOf(succeeded), ElementsAre(L"Done before", L"Sound"));
}

TEST_F(DriverRemovalPlan, ExtensionDevicesAreListedAndLeftToTheCleaner) {
  const std::wstring id = L"PCI\\VEN_7A11&DEV_0006\\1";
  plantDevice(makerDevice(id, L"Extension"));
  remove({packageOf(L"Extension", L"extension")});
  EXPECT_THAT(between(kByClass, kByDescription),
              ElementsAre("DEBUG Class Name: Extension ----- Description: ORV Extension ----- DeviceId: "
                          "PCI\\VEN_7A11&DEV_0006\\1",
                          "DEBUG Hardware ID's", "DEBUG PCI\\VEN_7A11&DEV_0006"));
  EXPECT_TRUE(deviceExists(id));
  EXPECT_THAT(failed, IsEmpty());
  EXPECT_THAT(succeeded, IsEmpty());
}

TEST_F(DriverRemovalPlan, ExtensionDeviceFoundByItsIdIsRemoved) {
  const std::wstring id = L"PCI\\VEN_7A11&DEV_0006\\1";
  plantDevice(makerDevice(id, L"Extension"));
  remove({packageOf(L"Extension", L"Extension", L"DEV_0006")});
  EXPECT_FALSE(deviceExists(id));
  EXPECT_THAT(namesOf(succeeded), ElementsAre(L"Extension"));
}

TEST_F(DriverRemovalPlan, DeviceWithoutHardwareIdsStaysAndCountsAsRemoved) {
  PlantedDevice device = makerDevice(kSound, L"MEDIA");
  device.hardwareIds = {};
  plantDevice(device);
  remove({packageOf(L"Sound", L"MEDIA")});
  EXPECT_THAT(between(kByClass, kByDescription),
              ElementsAre("DEBUG Class Name: MEDIA ----- Description: ORV MEDIA ----- DeviceId: "
                          "PCI\\VEN_7A11&DEV_0001\\1",
                          "DEBUG Hardware ID's", "ERROR Setup::UninstallDevice - Cancelling! empty or no Hardware IDs!",
                          "DEBUG Successfully Uninstalled: Description: ORV MEDIA "));
  EXPECT_TRUE(deviceExists(kSound));
  EXPECT_THAT(namesOf(succeeded), ElementsAre(L"Sound"));
}

TEST_F(DriverRemovalPlan, EveryEnumerationIsWaitedFor) {
  nameMachine(L"Virtual Machine");
  reenumerationFlags.clear();
  remove({});
  EXPECT_EQ(reenumerationFlags, std::vector<ULONG>(3, CM_REENUMERATE_SYNCHRONOUS));
}

TEST_F(DriverRemovalPlan, TreeThatCannotBeEnumeratedChangesNothing) {
  plantDevice(makerDevice(kSound, L"MEDIA"));
  failCall(L"CM_Locate_DevNodeW", CR_FAILURE);
  remove({packageOf(L"Sound", L"MEDIA")});
  EXPECT_FALSE(deviceExists(kSound));
  EXPECT_THAT(recordedCalls(), Not(Contains(kReenumeration)));

  SetUp();
  plantDevice(makerDevice(kSound, L"MEDIA"));
  failCall(L"CM_Reenumerate_DevNode", CR_FAILURE);
  remove({packageOf(L"Sound", L"MEDIA")});
  EXPECT_FALSE(deviceExists(kSound));
  EXPECT_THAT(namesOf(succeeded), ElementsAre(L"Sound"));
}

TEST_F(GraphicsExclusion, NamedDeviceIsSpared) {
  PlantedDevice graphics = makerDevice(kGraphics, L"Display");
  graphics.hardwareIds = {L"PCI\\VEN_7A11&DEV_0004&SUBSYS_22", L"PCI\\VEN_7A11&DEV_0004"};
  plantDevice(graphics);
  exclusion = {{{L"DEV_0004", L"SUBSYS_11"}, {L"DEV_0004", L"SUBSYS_22"}}, true};
  remove({packageOf(L"Graphics", L"Display")});
  EXPECT_THAT(between(kByClass, kByDescription),
              ElementsAre("DEBUG Class Name: Display ----- Description: ORV Display ----- DeviceId: "
                          "PCI\\VEN_7A11&DEV_0004\\1",
                          "DEBUG Hardware ID's", "DEBUG PCI\\VEN_7A11&DEV_0004&SUBSYS_22", "DEBUG DEV_0004-SUBSYS_11",
                          "DEBUG DEV_0004-SUBSYS_22", "DEBUG Excluding GPU: PCI\\VEN_7A11&DEV_0004&SUBSYS_22"));
  EXPECT_TRUE(deviceExists(kGraphics));
  EXPECT_THAT(failed, IsEmpty());
  EXPECT_THAT(succeeded, IsEmpty());
}

TEST_F(GraphicsExclusion, Rows) {
  struct Row {
    const char* name;
    const wchar_t* className;
    std::vector<std::wstring> hardwareIds;
    bool excludeGpus;
    bool spared;
  };
  const Row rows[] = {
      {"both pieces", L"Display", {L"PCI\\DEV_0004&SUBSYS_22"}, true, true},
      {"both pieces the other way about", L"Display", {L"PCI\\SUBSYS_22&DEV_0004"}, true, true},
      {"in a later id", L"Display", {L"PCI\\OTHER", L"PCI\\DEV_0004&SUBSYS_22"}, true, true},
      {"one piece", L"Display", {L"PCI\\DEV_0004&SUBSYS_33"}, true, false},
      {"the other piece", L"Display", {L"PCI\\DEV_0005&SUBSYS_22"}, true, false},
      {"a piece in each of two ids", L"Display", {L"PCI\\DEV_0004", L"PCI\\SUBSYS_22"}, true, false},
      {"in another case", L"Display", {L"PCI\\dev_0004&subsys_22"}, true, false},
      {"the option was not given", L"Display", {L"PCI\\DEV_0004&SUBSYS_22"}, false, false},
      {"no display device", L"MEDIA", {L"PCI\\DEV_0004&SUBSYS_22"}, true, false},
      {"class in another case", L"DISPLAY", {L"PCI\\DEV_0004&SUBSYS_22"}, true, true},
      {"class that contains the word", L"OrvDisplayUnit", {L"PCI\\DEV_0004&SUBSYS_22"}, true, true},
  };
  for (const Row& row : rows) {
    forgetDevices();
    PlantedDevice graphics = makerDevice(kGraphics, row.className);
    graphics.classGuid = kOtherClassGuid;
    graphics.hardwareIds = row.hardwareIds;
    plantDevice(graphics);
    exclusion = {{{L"DEV_0004", L"SUBSYS_22"}}, row.excludeGpus};
    remove({packageOf(L"Graphics", row.className)});
    EXPECT_EQ(deviceExists(kGraphics), row.spared) << row.name;
    EXPECT_EQ(namesOf(succeeded).size(), row.spared ? 0u : 1u) << row.name;
  }
}

TEST_F(GraphicsExclusion, WithoutNamesAppliesFromTheFirstDisplayDeviceOn) {
  plantDevice(withFile(makerDevice(kSound, L"MEDIA", L"oem1.inf"), L"C:\\sound.dll"));
  plantDevice(withFile(makerDevice(kGraphics, L"Display", L"oem2.inf"), L"C:\\graphics.dll"));
  exclusion.excludeGpus = true;
  remove({packageOf(L"Sound", L"MEDIA"), packageOf(L"Graphics", L"Display")});
  EXPECT_FALSE(deviceExists(kGraphics));
  EXPECT_THAT(driverFiles, ElementsAre(L"C:\\sound.dll")) << "the files may be those of a spared device";
}

TEST_F(GraphicsExclusion, ReachesTheCleanerAndHoldsBackNoOtherStage) {
  plantDevice(makerDevice(kGraphics, L"Display", L"oem1.inf"));
  const std::wstring byId = L"PCI\\VEN_7A11&DEV_0008\\1";
  plantDevice(withFile(makerDevice(byId, L"Display", L"oem2.inf"), L"C:\\graphics.dll"));
  plantDriverPackage(makerPackage(L"oem1.inf", L"Display", L"orvdispext.cat"));
  failPackageCall(L"oem1.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
  failPackageCall(L"oem1.inf", L"SetupUninstallOEMInfW", 0x800F023D);
  exclusion = {{{L"VEN_7A11", L"DEV_0004"}, {L"VEN_7A11", L"DEV_0008"}}, true};
  remove({packageOf(L"Graphics", L"Display"), packageOf(L"By id", L"Display", L"DEV_0008")});
  EXPECT_TRUE(deviceExists(kGraphics));
  EXPECT_FALSE(deviceExists(byId)) << "a device that was found by its id is never spared";
  EXPECT_THAT(driverFiles, ElementsAre(L"C:\\graphics.dll"));
  EXPECT_THAT(recordedCalls(), Not(Contains(L"SetupDiRemoveDevice " + kGraphics + L" -> 0")));
}

TEST_F(GraphicsExclusion, AppliesOnlyOnceAHardwareIdWasLookedAt) {
  PlantedDevice graphics = makerDevice(kGraphics, L"Display");
  graphics.hardwareIds = {};
  plantDevice(graphics);
  plantDriverPackage(makerPackage(L"oem1.inf", L"Display", L"orvdispext.cat"));
  failPackageCall(L"oem1.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
  failPackageCall(L"oem1.inf", L"SetupUninstallOEMInfW", 0x800F023D);
  exclusion = {{{L"VEN_7A11", L"DEV_0004"}}, true};
  remove({packageOf(L"Graphics", L"Display")});
  // The cleaner takes no graphics device for spared, so that the extension counts as dealt with.
  EXPECT_THAT(recordedCalls(), Contains(L"SetupDiRemoveDevice " + kGraphics + L" -> 0"));
}

TEST_F(FactoryReset, DisplayDevicesOfTheFirstStageStay) {
  plantDevice(makerDevice(kGraphics, L"Display"));
  plantDevice(withFile(makerDevice(kSound, L"MEDIA", L"oem2.inf"), L"C:\\sound.dll"));
  remove({packageOf(L"Graphics", L"Display"), packageOf(L"Sound", L"MEDIA")}, /*factoryReset=*/true);
  const Lines stage = between(kByClass, kByDescription);
  ASSERT_GE(stage.size(), 3u);
  EXPECT_EQ(stage[1], "DEBUG Hardware ID's");
  EXPECT_EQ(stage[2], "DEBUG Excluding display driver in factory reset");
  EXPECT_TRUE(deviceExists(kGraphics));
  EXPECT_FALSE(deviceExists(kSound));
  EXPECT_THAT(namesOf(succeeded), ElementsAre(L"Sound"));
  EXPECT_THAT(driverFiles, IsEmpty());
}

TEST_F(FactoryReset, DisplayDeviceFoundByItsIdGoes) {
  plantDevice(makerDevice(kGraphics, L"Display"));
  remove({packageOf(L"Graphics", L"Display", L"DEV_0004")}, /*factoryReset=*/true);
  EXPECT_FALSE(deviceExists(kGraphics));
}

TEST_F(FactoryReset, DoesNotApplyTheGraphicsExclusion) {
  plantDevice(makerDevice(kGraphics, L"Display", L"oem1.inf"));
  plantDriverPackage(makerPackage(L"oem1.inf", L"Display"));
  exclusion = {{{L"VEN_7A11", L"DEV_0004"}}, true};
  remove({packageOf(L"Graphics", L"Display")}, /*factoryReset=*/true);
  EXPECT_THAT(lines, Not(Contains("DEBUG VEN_7A11-DEV_0004")));
  EXPECT_THAT(lines, Contains("ERROR CleanDriverStore::Skipping display driver in factory reset"));
}

TEST_F(DisplayDevices, AllGoOnAVirtualMachine) {
  nameMachine(L"Virtual Machine");
  const std::wstring absent = L"PCI\\VEN_1234&DEV_0006\\1";
  plantDevice(makerDevice(kGraphics, L"Display"));
  plantDevice(makerDevice(kForeignGraphics, L"Display"));
  plantDevice(makerDevice(kSound, L"MEDIA", L"audio.inf"));
  PlantedDevice unplugged = makerDevice(absent, L"Display");
  unplugged.present = false;
  plantDevice(unplugged);
  exclusion = {{{L"VEN_7A11", L"DEV_0004"}}, true};  // holds nothing back here
  remove({});
  EXPECT_THAT(recordedCalls(),
              ElementsAre(kReenumeration, kReenumeration, L"SetupDiRemoveDevice " + kGraphics + L" -> 0",
                          L"SetupDiRemoveDevice " + kForeignGraphics + L" -> 0",
                          L"SetupDiRemoveDevice " + absent + L" -> 0", kReenumeration));
  EXPECT_TRUE(deviceExists(kSound));
  EXPECT_THAT(succeeded, IsEmpty());
}

TEST_F(DisplayDevices, AllGoAfterADisplayExtension) {
  plantDevice(makerDevice(kForeignGraphics, L"Display", L"oem9.inf"));
  plantDriverPackage(makerPackage(L"oem1.inf", L"Extension", L"orvgpuke.cat"));
  remove({});
  EXPECT_THAT(recordedCalls(),
              ElementsAre(kReenumeration, L"DiUninstallDriverW " + infPath(L"oem1.inf") + L" -> 0", kReenumeration,
                          L"SetupDiRemoveDevice " + kForeignGraphics + L" -> 0", kReenumeration));
}

TEST_F(DisplayDevices, OneThatRefusesDoesNotKeepTheOthers) {
  nameMachine(L"Virtual Machine");
  plantDevice(makerDevice(kGraphics, L"Display"));
  plantDevice(makerDevice(kForeignGraphics, L"Display"));
  failDeviceCall(kGraphics, L"SetupDiRemoveDevice", ERROR_ACCESS_DENIED);
  remove({});
  EXPECT_TRUE(deviceExists(kGraphics));
  EXPECT_FALSE(deviceExists(kForeignGraphics));
}

TEST_F(DisplayDevices, StayInAFactoryReset) {
  nameMachine(L"Virtual Machine");
  plantDevice(makerDevice(kForeignGraphics, L"Display", L"oem9.inf"));
  plantDriverPackage(makerPackage(L"oem1.inf", L"Extension", L"orvgpuke.cat"));
  remove({}, /*factoryReset=*/true);
  EXPECT_TRUE(deviceExists(kForeignGraphics));
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
  EXPECT_THAT(recordedCalls(),
              ElementsAre(kReenumeration, L"DiUninstallDriverW " + infPath(L"oem1.inf") + L" -> 0", kReenumeration));
}

TEST_F(DisplayDevices, NoneIsNoFailure) {
  nameMachine(L"Virtual Machine");
  remove({});
  EXPECT_THAT(recordedCalls(), ElementsAre(kReenumeration, kReenumeration, kReenumeration));
}
