// driver_nodes_test - how the driver nodes of a device are read.
#include "devices/driver_nodes.h"

#include "devices/device_fixture.h"
#include "devices/device_inventory.h"
#include "support/link_seam.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::wstring kId = L"PCI\\VEN_7A11&DEV_0001\\1";

// Which call for a driver's details fails, counted from 1; 0 for none.
int failingDetailCall = 0;
int detailCalls = 0;

class DriverNodes : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    failingDetailCall = 0;
    detailCalls = 0;
  }

  // Plants a device with the drivers and finds its record and element in a new inventory.
  DeviceRecord& record(const std::vector<PlantedDriver>& drivers) {
    PlantedDevice device = makerDevice(kId, L"MEDIA");
    device.drivers = drivers;
    plantDevice(device);
    opened = std::make_unique<DeviceInventory>();
    const std::vector<DeviceRecord*> found = opened->FindDevices({.className = L"MEDIA"});
    EXPECT_EQ(found.size(), 1u);
    element = opened->locate(*found.at(0)).value();
    detailCalls = 0;
    return *found.at(0);
  }

  std::unique_ptr<DeviceInventory> opened;
  DeviceElement element;
};

}  // namespace

LINK_SEAM(BOOL, SetupDiGetDriverInfoDetailW,
          (HDEVINFO set, PSP_DEVINFO_DATA data, PSP_DRVINFO_DATA_W driver, PSP_DRVINFO_DETAIL_DATA_W detail, DWORD size,
           PDWORD required)) {
  if (++detailCalls == failingDetailCall) {
    ::SetLastError(ERROR_GEN_FAILURE);
    return FALSE;
  }
  return realFunction<decltype(&::SetupDiGetDriverInfoDetailW)>(L"setupapi.dll", "SetupDiGetDriverInfoDetailW")(
      set, data, driver, detail, size, required);
}

TEST_F(DriverNodes, AreReadInTheOrderOfThePlatform) {
  PlantedDriver own = makerDriver(L"oem12.inf");
  own.description = L"ORV Sound";
  own.version = L"31.0.101.65535";
  own.hardwareId = L"PCI\\VEN_7A11&DEV_0001&REV_07";
  own.date = L"2023-02-28";
  PlantedDriver system = makerDriver(L"display.inf");
  system.provider = L"Bench";
  system.manufacturer = L"(Standard)";
  const DeviceRecord& device = record({own, system});
  ASSERT_EQ(device.drivers.size(), 2u);
  const DriverInfo& first = *device.drivers[0];
  EXPECT_EQ(first.manufacturer, kMaker);
  EXPECT_EQ(first.provider, kMaker);
  EXPECT_EQ(first.description, L"ORV Sound");
  EXPECT_EQ(first.version, L"31.0.101.65535");
  EXPECT_EQ(first.hardwareId, L"PCI\\VEN_7A11&DEV_0001&REV_07");
  EXPECT_EQ(first.inf->infPath, infPath(L"oem12.inf"));
  EXPECT_TRUE(first.inf->isOem);
  EXPECT_EQ(first.inf->date.wYear, 2023);
  EXPECT_EQ(first.inf->date.wMonth, 2);
  EXPECT_EQ(first.inf->date.wDay, 28);
  for (const std::wstring& text :
       {first.inf->provider, first.inf->className, first.inf->signature, first.inf->catalogFile}) {
    EXPECT_EQ(text, L"") << "the driver store cleaner's alone";
  }
  EXPECT_EQ(device.drivers[1]->provider, L"Bench");
  EXPECT_EQ(device.drivers[1]->manufacturer, L"(Standard)");
  EXPECT_EQ(device.drivers[1]->inf->infPath, infPath(L"display.inf"));
  EXPECT_FALSE(device.drivers[1]->inf->isOem);
}

TEST_F(DriverNodes, AreReadAlsoWhereTheyAreExcludedFromSelection) {
  PlantedDriver excluded = makerDriver(L"oem1.inf");
  excluded.excluded = true;
  PlantedDriver selectable = makerDriver(L"oem2.inf");
  selectable.excluded = false;
  const DeviceRecord& device = record({excluded, selectable});
  ASSERT_EQ(device.drivers.size(), 2u);
  EXPECT_EQ(device.drivers[0]->inf->infPath, infPath(L"oem1.inf"));
  EXPECT_EQ(device.drivers[1]->inf->infPath, infPath(L"oem2.inf"));
}

TEST_F(DriverNodes, AreThoseOfTheMomentInEachReading) {
  DeviceRecord& device = record({makerDriver(L"oem1.inf")});
  plantDriverNode(kId, makerDriver(L"oem2.inf"));
  GetDriverDetails(element, device);
  EXPECT_EQ(device.drivers.size(), 2u);
}

TEST_F(DriverNodes, AreReadWhereTheParametersCannotBeRead) {
  DeviceRecord& device = record({makerDriver(L"oem1.inf")});
  failDeviceCall(kId, L"SetupDiGetDeviceInstallParamsW", ERROR_GEN_FAILURE);
  PlantedDriver selectable = makerDriver(L"oem2.inf");
  selectable.excluded = false;
  plantDriverNode(kId, selectable);
  const CapturedLog log;
  GetDriverDetails(element, device);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(device.drivers.size(), 2u) << "the request of the first reading holds";
}

TEST_F(DriverNodes, StayWhenTheListCannotBeBuilt) {
  DeviceRecord& device = record({makerDriver(L"oem1.inf")});
  failDeviceCall(kId, L"SetupDiBuildDriverInfoList", ERROR_GEN_FAILURE);
  const CapturedLog log;
  GetDriverDetails(element, device);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR GetDriverDetails SetupDiBuildDriverInfoList Failed. Error code is: 31"));
  EXPECT_EQ(device.drivers.size(), 1u);
}

TEST_F(DriverNodes, AreReplacedByWhatWasReadBeforeTheWalkEnded) {
  // Two calls for each node: one for the size, one for the details.
  struct Row {
    int failingCall;
    std::size_t nodes;
  };
  for (const Row& row : {Row{0, 3}, Row{1, 0}, Row{2, 0}, Row{3, 1}, Row{4, 1}, Row{5, 2}, Row{6, 2}}) {
    failingDetailCall = 0;
    DeviceRecord& device = record({makerDriver(L"oem1.inf"), makerDriver(L"oem2.inf"), makerDriver(L"oem3.inf")});
    failingDetailCall = row.failingCall;
    const CapturedLog log;
    GetDriverDetails(element, device);
    EXPECT_EQ(device.drivers.size(), row.nodes) << "call " << row.failingCall;
    EXPECT_THAT(log.lines(), IsEmpty());
  }
}

TEST_F(DriverNodes, NodeThatCannotBeEnumeratedEndsTheWalkWithItsDetails) {
  DeviceRecord& device = record({makerDriver(L"oem1.inf")});
  failDeviceCall(kId, L"SetupDiEnumDriverInfoW", ERROR_GEN_FAILURE);
  GetDriverDetails(element, device);
  EXPECT_THAT(device.drivers, IsEmpty());
}

TEST(OemInf, Rows) {
  const std::pair<const wchar_t*, bool> rows[] = {
      {L"C:\\Windows\\INF\\oem12.inf", true},
      {L"C:\\Windows\\INF\\oem", true},
      {L"\\oem.inf", true},
      {L"C:\\Windows\\INF\\oemulator.inf", true},
      {L"C:\\Windows\\INF\\OEM12.INF", false},
      {L"C:\\Windows\\INF\\Oem12.inf", false},
      {L"C:\\Windows\\INF\\display.inf", false},
      {L"C:\\Windows\\INF\\oe", false},
      {L"C:\\Windows\\INF\\", false},
      {L"C:\\oem1\\display.inf", false},
      {L"oem12.inf", false},
      {L"C:/Windows/INF/oem12.inf", false},
      {L"", false},
  };
  for (const auto& [path, isOem] : rows) {
    EXPECT_EQ(IsOemInf(path), isOem) << narrow(path);
  }
}
