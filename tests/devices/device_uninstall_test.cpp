// device_uninstall_test - taking one device off the system: both ways of removing it, its driver packages, restarts.
#include "devices/setup.h"

#include <optional>

#include "devices/device_fixture.h"
#include "support/link_seam.h"

#include <cfgmgr32.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::wstring kId = L"PCI\\VEN_7A11&DEV_0001\\1";
constexpr DWORD kPackageInUse = 0x800F023D;

// While set, the result of looking up newdev.dll.
std::optional<HMODULE> newdevModule;

const Lines kRemoved = {"DEBUG Successfully removed PCI\\VEN_7A11&DEV_0001\\1"};

std::string removingLine(const std::string& version = "1.0.0.0", const std::string& provider = "Orvane Devices, Inc.",
                         const std::string& hardwareId = "PCI\\VEN_7A11&DEV_0001") {
  return "DEBUG Removing driver:\n\t\t\t\t\t\t\tVersion: " + version + "\n\t\t\t\t\t\t\tProviderName: " + provider +
         "\n\t\t\t\t\t\t\tHardwareID: " + hardwareId;
}

class DeviceUninstall : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    newdevModule.reset();
    device = makerDevice(kId, L"MEDIA");
    plantDriverPackage(makerPackage(L"oem1.inf", L"MEDIA"));
  }

  // Plants the device and finds it.
  DeviceRecord& plant() {
    plantDevice(device);
    setup = std::make_unique<::Setup>();
    const std::vector<DeviceRecord*> found =
        setup->inventory.FindDevices({.className = device.className, .primaryIdFilter = device.id});
    EXPECT_EQ(found.size(), 1u);
    return *found.at(0);
  }

  // Removes it and keeps the log lines.
  bool uninstall(DeviceRecord& record) {
    const CapturedLog log;
    const bool handled = setup->UninstallDevice(record, false, false);
    lines = log.lines();
    return handled;
  }

  bool plantAndUninstall() { return uninstall(plant()); }

  PlantedDevice device;
  std::unique_ptr<::Setup> setup;
  Lines lines;
};

}  // namespace

LINK_SEAM(HMODULE, GetModuleHandleW, (LPCWSTR name)) {
  if (newdevModule && name && std::wstring(name) == L"newdev") {
    return *newdevModule;
  }
  return realFunction<decltype(&::GetModuleHandleW)>(L"kernel32.dll", "GetModuleHandleW")(name);
}

TEST_F(DeviceUninstall, DeviceGoesFirstAndThenItsPackage) {
  EXPECT_TRUE(plantAndUninstall());
  EXPECT_THAT(recordedCalls(),
              ElementsAre(L"DIF_REMOVE " + kId + L" -> 0", L"DiUninstallDriverW " + infPath(L"oem1.inf") + L" -> 0"));
  EXPECT_THAT(lines,
              ElementsAre(kRemoved[0], removingLine(), "DEBUG Successfully uninstalled C:\\windows\\INF\\oem1.inf"));
  EXPECT_FALSE(deviceExists(kId));
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
  EXPECT_FALSE(deviceRebootNeeded);
}

TEST_F(DeviceUninstall, DeviceWithoutHardwareIdsIsNotTouched) {
  device.hardwareIds = {};
  EXPECT_TRUE(plantAndUninstall());
  EXPECT_THAT(lines, ElementsAre("ERROR Setup::UninstallDevice - Cancelling! empty or no Hardware IDs!"));
  EXPECT_THAT(recordedCalls(), IsEmpty());
  EXPECT_TRUE(deviceExists(kId));
  EXPECT_TRUE(packageExists(L"oem1.inf"));
}

TEST_F(DeviceUninstall, DeviceThatIsNotInTheSetCountsAsHandled) {
  ::Setup earlier;
  DeviceRecord& record = plant();
  const CapturedLog log;
  EXPECT_TRUE(earlier.UninstallDevice(record, false, false));
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR Setup::UninstallDevice - Cancelling! SetupDiEnumDeviceInfo no more items!",
                          "ERROR Setup::UninstallDevice - Cancelling! didn't find device ORV MEDIA!"));
  EXPECT_THAT(recordedCalls(), IsEmpty());
  EXPECT_TRUE(deviceExists(kId));
}

TEST_F(DeviceUninstall, ElementThatCannotBeEnumeratedIsPassedOver) {
  const std::wstring broken = L"PCI\\VEN_1234&DEV_0001\\1";
  plantDevice(makerDevice(broken, L"MEDIA", L"oem2.inf"));
  DeviceRecord& record = plant();
  failDeviceCall(broken, L"SetupDiEnumDeviceInfo", ERROR_GEN_FAILURE);
  EXPECT_TRUE(uninstall(record));
  EXPECT_FALSE(deviceExists(kId));
  EXPECT_TRUE(deviceExists(broken));
}

TEST_F(DeviceUninstall, FallbackRemovesWhatTheClassInstallerRefuses) {
  for (const wchar_t* call : {L"SetupDiSetClassInstallParamsW", L"DIF_REMOVE"}) {
    forgetCalls();
    plantDriverPackage(makerPackage(L"oem1.inf", L"MEDIA"));
    DeviceRecord& record = plant();
    failDeviceCall(kId, call, ERROR_ACCESS_DENIED);
    EXPECT_TRUE(uninstall(record)) << narrow(call);
    EXPECT_THAT(lines, ElementsAre("ERROR SetupDiCallClassInstaller Failed. Error code is: 5",
                                   "DEBUG Successfully removed device PCI\\VEN_7A11&DEV_0001\\1 via DiUninstallDevice",
                                   removingLine(), "DEBUG Successfully uninstalled C:\\windows\\INF\\oem1.inf"));
    Calls calls = {L"DiUninstallDevice " + kId + L" -> 0", L"DiUninstallDriverW " + infPath(L"oem1.inf") + L" -> 0"};
    if (std::wstring(call) == L"DIF_REMOVE") {
      calls.insert(calls.begin(), L"DIF_REMOVE " + kId + L" -> 5");
    }
    EXPECT_EQ(recordedCalls(), calls);
    EXPECT_FALSE(deviceExists(kId));
    EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
  }
}

TEST_F(DeviceUninstall, BothWaysFailingKeepsTheDrivers) {
  DeviceRecord& record = plant();
  failDeviceCall(kId, L"DIF_REMOVE", ERROR_ACCESS_DENIED);
  failDeviceCall(kId, L"DiUninstallDevice", ERROR_GEN_FAILURE);
  EXPECT_FALSE(uninstall(record));
  EXPECT_THAT(lines, ElementsAre("ERROR SetupDiCallClassInstaller Failed. Error code is: 5"));
  EXPECT_THAT(recordedCalls(), ElementsAre(L"DIF_REMOVE " + kId + L" -> 5", L"DiUninstallDevice " + kId + L" -> 31"));
  EXPECT_TRUE(deviceExists(kId));
  EXPECT_TRUE(packageExists(L"oem1.inf"));
}

TEST_F(DeviceUninstall, RestartFlagsOfTheClassInstaller) {
  for (const DWORD flags : {0ul, static_cast<DWORD>(DI_NEEDREBOOT), static_cast<DWORD>(DI_NEEDRESTART),
                            static_cast<DWORD>(DI_NEEDREBOOT | DI_NEEDRESTART)}) {
    deviceRebootNeeded = false;
    device.rebootFlags = flags;
    device.drivers = {};
    EXPECT_TRUE(plantAndUninstall());
    Lines expected = kRemoved;
    if (flags != 0) {
      expected.push_back("DEBUG Reboot needed to finish removing device");
    }
    EXPECT_EQ(lines, expected) << flags;
    EXPECT_EQ(deviceRebootNeeded, flags != 0) << flags;
  }
}

TEST_F(DeviceUninstall, NeedOfARestartIsNeverTakenBack) {
  deviceRebootNeeded = true;
  EXPECT_TRUE(plantAndUninstall());
  EXPECT_TRUE(deviceRebootNeeded);
}

TEST_F(DeviceUninstall, FallbackTellsOfARestartAndMakesNoneDue) {
  device.fallbackNeedsReboot = true;
  device.rebootFlags = DI_NEEDREBOOT;
  device.drivers = {};
  DeviceRecord& record = plant();
  failDeviceCall(kId, L"DIF_REMOVE", ERROR_ACCESS_DENIED);
  EXPECT_TRUE(uninstall(record));
  EXPECT_THAT(lines, ElementsAre("ERROR SetupDiCallClassInstaller Failed. Error code is: 5",
                                 "DEBUG Successfully removed device PCI\\VEN_7A11&DEV_0001\\1 via DiUninstallDevice",
                                 "DEBUG \tReboot needed to finish removing device"));
  EXPECT_FALSE(deviceRebootNeeded);
}

TEST_F(DeviceUninstall, UnreadableRestartFlagKeepsTheDriversGoing) {
  device.rebootFlags = DI_NEEDREBOOT;
  DeviceRecord& record = plant();
  failDeviceCall(kId, L"SetupDiGetDeviceInstallParamsW after removal", ERROR_GEN_FAILURE);
  EXPECT_TRUE(uninstall(record));
  EXPECT_THAT(lines,
              ElementsAre(kRemoved[0], "ERROR Unable to check for reboot flag via SetupDiGetDeviceInstallParams: 31",
                          removingLine(), "DEBUG Successfully uninstalled C:\\windows\\INF\\oem1.inf"));
  EXPECT_FALSE(deviceRebootNeeded);
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
}

TEST_F(DeviceUninstall, PackageThatAsksForARestartMakesItDue) {
  PlantedPackage package = makerPackage(L"oem1.inf", L"MEDIA");
  package.needsReboot = true;
  plantDriverPackage(package);
  EXPECT_TRUE(plantAndUninstall());
  EXPECT_THAT(lines,
              ElementsAre(kRemoved[0], removingLine(), "DEBUG Successfully uninstalled C:\\windows\\INF\\oem1.inf",
                          "DEBUG \tReboot is requested by driver."));
  EXPECT_TRUE(deviceRebootNeeded);
}

TEST_F(DeviceUninstall, DriverOfTheSystemKeepsItsPackage) {
  device.drivers = {makerDriver(L"display.inf")};
  EXPECT_TRUE(plantAndUninstall());
  EXPECT_THAT(lines, ElementsAre(kRemoved[0],
                                 "DEBUG C:\\windows\\INF\\display.inf - INF is not oem, will not remove it from the "
                                 "driver store"));
  EXPECT_THAT(recordedCalls(), ElementsAre(L"DIF_REMOVE " + kId + L" -> 0"));
}

TEST_F(DeviceUninstall, NodesAreDealtWithInTheirOrder) {
  plantDriverPackage(makerPackage(L"oem2.inf", L"MEDIA"));
  device.drivers = {makerDriver(L"oem2.inf"), makerDriver(L"display.inf"), makerDriver(L"oem1.inf")};
  EXPECT_TRUE(plantAndUninstall());
  EXPECT_THAT(recordedCalls(),
              ElementsAre(L"DIF_REMOVE " + kId + L" -> 0", L"DiUninstallDriverW " + infPath(L"oem2.inf") + L" -> 0",
                          L"DiUninstallDriverW " + infPath(L"oem1.inf") + L" -> 0"));
}

TEST_F(DeviceUninstall, NodeWithoutAnInfIsNamedSo) {
  DeviceRecord& record = plant();
  record.drivers[0]->inf = nullptr;
  failDeviceCall(kId, L"SetupDiBuildDriverInfoList", ERROR_GEN_FAILURE);  // or the node would be read again
  EXPECT_TRUE(uninstall(record));
  EXPECT_THAT(lines,
              ElementsAre("ERROR GetDriverDetails SetupDiBuildDriverInfoList Failed. Error code is: 31", kRemoved[0],
                          "DEBUG NULLPTR - INF is not oem, will not remove it from the driver store"));
}

TEST_F(DeviceUninstall, NodesAreReadAnewBeforeTheRemoval) {
  DeviceRecord& record = plant();
  record.drivers[0]->provider = L"orvane devices, inc.";
  PlantedDriver added = makerDriver(L"oem2.inf");
  added.version = L"2.3.4.5";
  plantDriverNode(kId, added);
  plantDriverPackage(makerPackage(L"oem2.inf", L"MEDIA"));
  EXPECT_TRUE(uninstall(record));
  EXPECT_THAT(lines,
              ElementsAre(kRemoved[0], removingLine(), "DEBUG Successfully uninstalled C:\\windows\\INF\\oem1.inf",
                          removingLine("2.3.4.5"), "DEBUG Successfully uninstalled C:\\windows\\INF\\oem2.inf"));
}

TEST_F(DeviceUninstall, SecondAttemptSeesAllNodesAgain) {
  plantDriverPackage(makerPackage(L"oem2.inf", L"MEDIA"));
  device.drivers = {makerDriver(L"oem2.inf"), makerDriver(L"oem1.inf")};
  device.installedDriver = 1;
  DeviceRecord& record = plant();
  failDeviceCall(kId, L"DIF_REMOVE", ERROR_ACCESS_DENIED, 1);
  failDeviceCall(kId, L"DiUninstallDevice", ERROR_ACCESS_DENIED, 1);
  EXPECT_FALSE(uninstall(record));
  driverFiles.clear();
  EXPECT_TRUE(uninstall(record));
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
  EXPECT_TRUE(packageIsWiped(L"oem2.inf")) << "not the installed driver, whose files the first attempt asked for";
}

TEST_F(DeviceUninstall, PackageInUseByAnotherDeviceGoesAndLeavesThatOneItsNextDriver) {
  const std::wstring other = L"PCI\\VEN_1234&DEV_0001\\1";
  PlantedDevice shares = makerDevice(other, L"MEDIA");
  PlantedDriver next = makerDriver(L"wdmaudio.inf");
  next.provider = L"Microsoft";
  shares.drivers.push_back(next);
  plantDevice(shares);
  EXPECT_TRUE(plantAndUninstall());
  EXPECT_THAT(lines,
              ElementsAre(kRemoved[0], removingLine(), "DEBUG Successfully uninstalled C:\\windows\\INF\\oem1.inf"));
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
  EXPECT_THAT(recordedCalls(),
              ElementsAre(L"DIF_REMOVE " + kId + L" -> 0", L"DiUninstallDriverW " + infPath(L"oem1.inf") + L" -> 0"))
      << "Windows refuses nothing here, so that the second way is not asked";
  setup = std::make_unique<::Setup>();
  const std::vector<DeviceRecord*> found =
      setup->inventory.FindDevices({.className = L"MEDIA", .primaryIdFilter = other});
  ASSERT_EQ(found.size(), 1u);
  ASSERT_EQ(found[0]->drivers.size(), 1u);
  EXPECT_EQ(found[0]->drivers[0]->provider, L"Microsoft");
  EXPECT_EQ(found[0]->problemCode, 0u);
}

TEST_F(DeviceUninstall, RefusedPackageGoesTheSecondWay) {
  DeviceRecord& record = plant();
  failPackageCall(L"oem1.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
  EXPECT_TRUE(uninstall(record));
  EXPECT_THAT(lines,
              ElementsAre(kRemoved[0], removingLine(),
                          "DEBUG Uninstall of driver failed with error code 5 - " + systemText(ERROR_ACCESS_DENIED),
                          "DEBUG Calling SetupUninstallOEMInf for inf: oem1.inf. Provider: "));
  EXPECT_THAT(recordedCalls(),
              ElementsAre(L"DIF_REMOVE " + kId + L" -> 0", L"DiUninstallDriverW " + infPath(L"oem1.inf") + L" -> 5",
                          L"SetupUninstallOEMInfW oem1.inf -> 0"));
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
}

TEST_F(DeviceUninstall, PackageGoesByForceThoughADeviceUsesIt) {
  const std::wstring other = L"PCI\\VEN_1234&DEV_0001\\1";
  plantDevice(makerDevice(other, L"MEDIA"));
  DeviceRecord& record = plant();
  failPackageCall(L"oem1.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
  EXPECT_TRUE(uninstall(record));
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
  EXPECT_TRUE(deviceExists(other));
}

TEST_F(DeviceUninstall, PackageThatIsRefusedTwiceStays) {
  DeviceRecord& record = plant();
  failPackageCall(L"oem1.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
  failPackageCall(L"oem1.inf", L"SetupUninstallOEMInfW", ERROR_GEN_FAILURE);
  EXPECT_TRUE(uninstall(record));
  EXPECT_THAT(lines,
              ElementsAre(kRemoved[0], removingLine(),
                          "DEBUG Uninstall of driver failed with error code 5 - " + systemText(ERROR_ACCESS_DENIED),
                          "DEBUG Calling SetupUninstallOEMInf for inf: oem1.inf. Provider: ",
                          "ERROR SetupUninstallOEMInf Failed for inf: oem1.inf. Error code is: 31"));
  EXPECT_TRUE(packageExists(L"oem1.inf"));
  EXPECT_FALSE(deviceExists(kId));
}

TEST_F(DeviceUninstall, PackageInUseGetsALineOfItsOwn) {
  DeviceRecord& record = plant();
  failPackageCall(L"oem1.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
  failPackageCall(L"oem1.inf", L"SetupUninstallOEMInfW", kPackageInUse);
  EXPECT_TRUE(uninstall(record));
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[4],
            "ERROR SetupUninstallOEMInf Failed for inf: oem1.inf. Error code is: " + numberText(kPackageInUse));
  EXPECT_EQ(lines[5], "ERROR SetupUninstallOEMInf Failed for INF is in use: oem1.inf");
}

TEST_F(DeviceUninstall, SystemWithoutTheFirstWayTakesTheSecondWithoutAWord) {
  // Without the library, and with a library that lacks the function.
  for (const HMODULE module : {static_cast<HMODULE>(nullptr), ::GetModuleHandleW(L"kernel32")}) {
    forgetCalls();
    plantDriverPackage(makerPackage(L"oem1.inf", L"MEDIA"));
    DeviceRecord& record = plant();
    newdevModule = module;
    EXPECT_TRUE(uninstall(record));
    newdevModule.reset();
    EXPECT_THAT(lines, ElementsAre(kRemoved[0], removingLine(),
                                   "DEBUG Calling SetupUninstallOEMInf for inf: oem1.inf. Provider: "));
    EXPECT_THAT(recordedCalls(), ElementsAre(L"DIF_REMOVE " + kId + L" -> 0", L"SetupUninstallOEMInfW oem1.inf -> 0"));
  }
}

TEST_F(DeviceUninstall, SecondNodeOfTheSameInfFailsAndChangesNothing) {
  device.drivers = {makerDriver(L"oem1.inf"), makerDriver(L"oem1.inf")};
  EXPECT_TRUE(plantAndUninstall());
  EXPECT_THAT(lines,
              ElementsAre(kRemoved[0], removingLine(), "DEBUG Successfully uninstalled C:\\windows\\INF\\oem1.inf",
                          removingLine(),
                          "DEBUG Uninstall of driver failed with error code 2 - " + systemText(ERROR_FILE_NOT_FOUND),
                          "DEBUG Calling SetupUninstallOEMInf for inf: oem1.inf. Provider: ",
                          "ERROR SetupUninstallOEMInf Failed for inf: oem1.inf. Error code is: 2"));
}

TEST_F(DeviceUninstall, NeighboursStay) {
  const std::wstring neighbour = L"PCI\\VEN_7A11&DEV_0001\\2";
  plantDevice(makerDevice(neighbour, L"MEDIA", L"oem2.inf"));
  plantDriverPackage(makerPackage(L"oem2.inf", L"MEDIA"));
  auto expected = infFolder();
  expected.erase(L"oem1.inf");
  expected.erase(L"oem1.PNF");
  EXPECT_TRUE(plantAndUninstall());
  EXPECT_EQ(infFolder(), expected);
  EXPECT_TRUE(deviceExists(neighbour));
}
