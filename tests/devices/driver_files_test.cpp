// driver_files_test - which files of a removed device's driver are noted for deletion, and that nothing is left open.
#include "devices/setup.h"

#include <functional>

#include "devices/device_fixture.h"
#include "support/link_seam.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::wstring kId = L"PCI\\VEN_7A11&DEV_0001\\1";
const std::vector<std::wstring> kFiles = {L"C:\\windows\\System32\\drivers\\orvsound.sys",
                                          L"C:\\windows\\System32\\orvsound.dll"};

bool classDriverDetailsFail = false;
bool queueIsRefused = false;
bool copiedFiles = false;  // the class installer was called without a queue, so it copied files
int openQueues = 0;
int queues = 0;
int destroyedClassLists = 0;
std::vector<SP_DEVINSTALL_PARAMS_W> setParameters;  // of each SetupDiSetDeviceInstallParamsW

class DriverFiles : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    classDriverDetailsFail = queueIsRefused = copiedFiles = false;
    openQueues = queues = destroyedClassLists = 0;
    setParameters.clear();
    device = makerDevice(kId, L"MEDIA");
    device.drivers[0].files = kFiles;
    plantDriverPackage(makerPackage(L"oem1.inf", L"MEDIA"));
  }

  // Plants and finds the device, plants the failures, and removes the device.
  void uninstall(
      const std::function<void()>& plantFailures = [] {}, bool gpuExclusionApplied = false, bool factoryReset = false) {
    driverFiles.clear();
    plantDevice(device);
    ::Setup setup;
    const std::vector<DeviceRecord*> found =
        setup.inventory.FindDevices({.className = device.className, .primaryIdFilter = device.id});
    ASSERT_EQ(found.size(), 1u);
    plantFailures();
    EXPECT_TRUE(setup.UninstallDevice(*found[0], gpuExclusionApplied, factoryReset));
    EXPECT_FALSE(deviceExists(kId)) << "the files never decide on the removal";
    EXPECT_EQ(openQueues, 0) << "a file queue was left open";
  }

  PlantedDevice device;
};

}  // namespace

LINK_SEAM(HSPFILEQ, SetupOpenFileQueue, ()) {
  const HSPFILEQ queue = realFunction<decltype(&::SetupOpenFileQueue)>(L"setupapi.dll", "SetupOpenFileQueue")();
  if (queue != INVALID_HANDLE_VALUE) {
    ++openQueues;
    ++queues;
  }
  return queue;
}

LINK_SEAM(BOOL, SetupCloseFileQueue, (HSPFILEQ queue)) {
  --openQueues;
  using Close = BOOL(WINAPI*)(HSPFILEQ);
  return realFunction<Close>(L"setupapi.dll", "SetupCloseFileQueue")(queue);
}

LINK_SEAM(BOOL, SetupDiDestroyDriverInfoList, (HDEVINFO set, PSP_DEVINFO_DATA data, DWORD type)) {
  destroyedClassLists += type == SPDIT_CLASSDRIVER ? 1 : 0;
  return realFunction<decltype(&::SetupDiDestroyDriverInfoList)>(L"setupapi.dll", "SetupDiDestroyDriverInfoList")(
      set, data, type);
}

LINK_SEAM(BOOL, SetupDiGetDriverInfoDetailW,
          (HDEVINFO set, PSP_DEVINFO_DATA data, PSP_DRVINFO_DATA_W driver, PSP_DRVINFO_DETAIL_DATA_W detail, DWORD size,
           PDWORD required)) {
  if (classDriverDetailsFail && driver->DriverType == SPDIT_CLASSDRIVER) {
    ::SetLastError(ERROR_GEN_FAILURE);
    return FALSE;
  }
  return realFunction<decltype(&::SetupDiGetDriverInfoDetailW)>(L"setupapi.dll", "SetupDiGetDriverInfoDetailW")(
      set, data, driver, detail, size, required);
}

LINK_SEAM(BOOL, SetupDiSetDeviceInstallParamsW,
          (HDEVINFO set, PSP_DEVINFO_DATA data, PSP_DEVINSTALL_PARAMS_W parameters)) {
  setParameters.push_back(*parameters);
  if (queueIsRefused && (parameters->Flags & DI_NOVCP)) {
    ::SetLastError(ERROR_GEN_FAILURE);
    return FALSE;
  }
  return realFunction<decltype(&::SetupDiSetDeviceInstallParamsW)>(L"setupapi.dll", "SetupDiSetDeviceInstallParamsW")(
      set, data, parameters);
}

LINK_SEAM(BOOL, SetupDiCallClassInstaller, (DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA data)) {
  copiedFiles = copiedFiles || (function == DIF_INSTALLDEVICEFILES && queueIsRefused);
  return realFunction<decltype(&::SetupDiCallClassInstaller)>(L"setupapi.dll", "SetupDiCallClassInstaller")(function,
                                                                                                            set, data);
}

TEST_F(DriverFiles, AreNotedInTheirOrderAndWrittenToStandardOutput) {
  ::testing::internal::CaptureStdout();
  uninstall();
  std::string output = ::testing::internal::GetCapturedStdout();
  std::erase(output, '\r');
  EXPECT_EQ(driverFiles, kFiles);
  EXPECT_EQ(output, "C:\\windows\\System32\\drivers\\orvsound.sys\nC:\\windows\\System32\\orvsound.dll\n");
  EXPECT_EQ(queues, 1);
  EXPECT_EQ(destroyedClassLists, 1);
}

TEST_F(DriverFiles, CollectionRows) {
  struct Row {
    const wchar_t* className;
    bool gpuExclusionApplied;
    bool factoryReset;
    bool collected;
  };
  const Row rows[] = {
      {L"MEDIA", false, false, true},           {L"MEDIA", true, false, true},
      {L"MEDIA", false, true, false},           {L"MEDIA", true, true, false},
      {L"Display", false, false, true},         {L"Display", true, false, false},
      {L"DISPLAY", true, false, false},         {L"Display", false, true, false},
      {L"ORVDisplayUnit", true, false, false},  {L"System", false, false, false},
      {L"SYSTEM", true, false, false},          {L"system", false, true, false},
      {L"FileSystemUnit", false, false, false},
  };
  for (const Row& row : rows) {
    forgetDevices();
    device.className = row.className;
    device.classGuid = kOtherClassGuid;
    uninstall([] {}, row.gpuExclusionApplied, row.factoryReset);
    EXPECT_EQ(driverFiles, row.collected ? kFiles : std::vector<std::wstring>())
        << narrow(row.className) << (row.gpuExclusionApplied ? ", graphics devices spared" : "")
        << (row.factoryReset ? ", factory reset" : "");
  }
}

TEST_F(DriverFiles, AreThoseOfTheInstalledDriverAlone) {
  PlantedDriver better = makerDriver(L"oem2.inf");
  better.files = {L"C:\\windows\\System32\\better.dll"};
  device.drivers.insert(device.drivers.begin(), better);
  device.installedDriver = 1;
  uninstall();
  EXPECT_EQ(driverFiles, kFiles);
}

TEST_F(DriverFiles, AreAddedToWhatWasNotedBefore) {
  uninstall();
  plantDevice(device);
  ::Setup setup;
  const std::vector<DeviceRecord*> found = setup.inventory.FindDevices({.className = L"MEDIA"});
  ASSERT_EQ(found.size(), 1u);
  setup.UninstallDevice(*found[0], false, false);
  EXPECT_THAT(driverFiles, ElementsAre(kFiles[0], kFiles[1], kFiles[0], kFiles[1]));
}

TEST_F(DriverFiles, DriverWithoutFilesAddsNone) {
  device.drivers[0].files = {};
  uninstall();
  EXPECT_THAT(driverFiles, IsEmpty());
  EXPECT_EQ(destroyedClassLists, 1);
}

TEST_F(DriverFiles, FailuresOfTheCollectionCostTheFilesAlone) {
  struct Row {
    const char* what;
    std::function<void()> plant;
    int destroyedLists;
    int queues;
  };
  const auto failDevice = [](const wchar_t* call) { return [call] { failDeviceCall(kId, call, ERROR_GEN_FAILURE); }; };
  const Row rows[] = {
      {"installation parameters", failDevice(L"SetupDiGetDeviceInstallParamsW"), 0, 0},
      {"list of drivers", failDevice(L"SetupDiBuildDriverInfoList"), 0, 0},
      {"first driver of the list", failDevice(L"SetupDiEnumDriverInfoW"), 0, 0},
      {"driver details", [] { classDriverDetailsFail = true; }, 1, 0},
      {"file queue", [] { failCall(L"SetupOpenFileQueue", ERROR_NOT_ENOUGH_MEMORY); }, 1, 0},
      {"selection of the driver", failDevice(L"SetupDiSetSelectedDriverW"), 1, 1},
      {"queue of the installation parameters", [] { queueIsRefused = true; }, 1, 1},
      {"class installer", failDevice(L"DIF_INSTALLDEVICEFILES"), 1, 1},
  };
  for (const Row& row : rows) {
    SetUp();
    uninstall(row.plant);
    EXPECT_THAT(driverFiles, IsEmpty()) << row.what;
    EXPECT_EQ(destroyedClassLists, row.destroyedLists) << row.what;
    EXPECT_EQ(queues, row.queues) << row.what;
    EXPECT_FALSE(copiedFiles) << row.what;
  }
}

TEST_F(DriverFiles, DriverWithoutInfOrSectionHasNone) {
  for (const bool withoutInf : {false, true}) {
    SetUp();
    (withoutInf ? device.drivers[0].inf : device.drivers[0].section) = L"";
    uninstall();
    EXPECT_THAT(driverFiles, IsEmpty());
    EXPECT_EQ(queues, 0);
    EXPECT_EQ(destroyedClassLists, 1) << "the list is cleaned up on this way out too";
  }
}

TEST_F(DriverFiles, DeviceWithoutAnInstalledDriverHasNone) {
  device.installedDriver = -1;
  uninstall();
  EXPECT_THAT(driverFiles, IsEmpty());
}

// A system that does not support DI_FLAGSEX_INSTALLEDDRIVER.
class DriverFilesTheSlowWay : public DriverFiles {
 protected:
  void uninstallSlowly() {
    uninstall([] { failDeviceCall(kId, L"DI_FLAGSEX_INSTALLEDDRIVER", ERROR_INVALID_FLAGS); });
  }

  // Lists the installed driver after others that differ from it in one field each.
  void plantLookalikes() {
    PlantedDriver otherProvider = device.drivers[0];
    otherProvider.provider = L"Orvane Devices";
    PlantedDriver otherMaker = device.drivers[0];
    otherMaker.manufacturer = L"ORV";
    PlantedDriver otherSection = device.drivers[0];
    otherSection.section = L"Install.Other";
    PlantedDriver otherHardware = device.drivers[0];
    otherHardware.hardwareId = L"PCI\\VEN_7A11&DEV_0001&REV_02";
    std::vector<PlantedDriver> drivers = {otherProvider, otherMaker, otherSection, otherHardware};
    for (PlantedDriver& driver : drivers) {
      driver.files = {L"C:\\windows\\System32\\other.dll"};
    }
    drivers.push_back(device.drivers[0]);
    device.drivers = drivers;
    device.installedDriver = static_cast<int>(drivers.size()) - 1;
  }
};

TEST_F(DriverFilesTheSlowWay, AreThoseOfTheNodeThatFitsInEverything) {
  plantLookalikes();
  uninstallSlowly();
  EXPECT_EQ(driverFiles, kFiles);
  EXPECT_EQ(destroyedClassLists, 1);
}

// The flags without those that the system sets.
DWORD flagsOf(const SP_DEVINSTALL_PARAMS_W& parameters) {
  return parameters.Flags & ~static_cast<DWORD>(DI_DIDCLASS | DI_DIDCOMPAT);
}

TEST_F(DriverFiles, AreAskedForWithTheInstalledDriverAndTheQueueWhichNothingKeeps) {
  uninstall();
  EXPECT_EQ(driverFiles, kFiles);
  ASSERT_GE(setParameters.size(), 3u);
  const auto* const last = &setParameters.back();
  EXPECT_EQ(last[-2].FlagsEx, 0x4000800u);
  EXPECT_EQ(flagsOf(last[-2]), 0u);
  EXPECT_EQ(flagsOf(last[-1]), static_cast<DWORD>(DI_NOVCP));
  EXPECT_NE(last[-1].FileQueue, nullptr);
  EXPECT_EQ(flagsOf(last[0]), 0u);
  EXPECT_EQ(last[0].FileQueue, nullptr) << "the queue is closed when the device goes";
  EXPECT_EQ(last[0].FlagsEx, static_cast<DWORD>(DI_FLAGSEX_ALLOWEXCLUDEDDRVS));
}

TEST_F(DriverFilesTheSlowWay, AsksForASingleInfAndExcludedDrivers) {
  uninstallSlowly();
  EXPECT_EQ(driverFiles, kFiles);
  // After the rejected request for the installed driver.
  const auto refused = std::find_if(setParameters.begin(), setParameters.end(), [](const SP_DEVINSTALL_PARAMS_W& one) {
    return one.FlagsEx & DI_FLAGSEX_INSTALLEDDRIVER;
  });
  ASSERT_GE(setParameters.end() - refused, 2);
  EXPECT_EQ(flagsOf(refused[1]), static_cast<DWORD>(DI_ENUMSINGLEINF));
  EXPECT_EQ(refused[1].FlagsEx, static_cast<DWORD>(DI_FLAGSEX_ALLOWEXCLUDEDDRVS));
}

TEST_F(DriverFilesTheSlowWay, NoNodeThatFitsDestroysTheList) {
  device.installedDriver = -1;  // and the driver key is empty
  uninstallSlowly();
  EXPECT_THAT(driverFiles, IsEmpty());
  EXPECT_EQ(queues, 0);
  EXPECT_EQ(destroyedClassLists, 1);
}

TEST_F(DriverFilesTheSlowWay, DeviceWithoutAManufacturerHasNone) {
  device.drivers[0].manufacturer = kMaker;
  device.manufacturer = L"";
  uninstallSlowly();
  EXPECT_THAT(driverFiles, IsEmpty());
  EXPECT_EQ(destroyedClassLists, 0) << "no list was built";
}
