// device_inventory_test - which devices a query finds, and what their records hold.
#include "devices/device_inventory.h"

#include "devices/device_fixture.h"
#include "devices/device_properties.h"
#include "devices/setup.h"
#include "support/link_seam.h"

#include <cfgmgr32.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::wstring kId = L"PCI\\VEN_7A11&DEV_0001\\1";

std::vector<HDEVINFO> releasedSets;

class DeviceQueries : public DeviceTest {
 protected:
  static std::vector<std::wstring> find(const std::wstring& className, const std::wstring& secondary = L"",
                                        const std::wstring& primary = L"") {
    const CapturedLog log;
    DeviceInventory inventory;
    const std::vector<std::wstring> ids = idsOf(
        inventory.FindDevices({.className = className, .primaryIdFilter = primary, .secondaryIdFilter = secondary}));
    EXPECT_THAT(log.lines(), IsEmpty());
    return ids;
  }
};

}  // namespace

LINK_SEAM(BOOL, SetupDiDestroyDeviceInfoList, (HDEVINFO set)) {
  releasedSets.push_back(set);
  return realFunction<decltype(&::SetupDiDestroyDeviceInfoList)>(L"setupapi.dll", "SetupDiDestroyDeviceInfoList")(set);
}

TEST_F(DeviceQueries, FilterRows) {
  struct Row {
    const wchar_t* id;
    const wchar_t* secondary;
    const wchar_t* primary;
    bool found;
  };
  const Row rows[] = {
      {L"PCI\\VEN_7A11&DEV_0001\\1", L"", L"", true},
      {L"PCI\\VEN_7A2E&DEV_0001\\1", L"", L"", true},
      {L"PCI\\VEN_7A12&DEV_0001\\1", L"", L"", false},
      // A different id: the registry keeps the letter case in which a key was first created.
      {L"PCI\\ven_7a11&DEV_CA5E\\1", L"", L"", false},
      {L"PCI\\VEN_1234&DEV_0001\\1", L"", L"DEV_0001", true},
      {L"PCI\\VEN_7A11&DEV_0001\\1", L"", L"DEV_0002", false},
      {L"PCI\\VEN_7A11&DEV_0001\\1", L"", L"dev_0001", false},
      {L"PCI\\VEN_1234&DEV_A0A0\\1", L"0A0", L"", true},
      {L"PCI\\VEN_7A11&DEV_0001\\1", L"0A0", L"", false},
      // The primary filter takes precedence if both are given.
      {L"PCI\\VEN_1234&DEV_A0A0\\1", L"0A0", L"DEV_0002", false},
      {L"PCI\\VEN_1234&DEV_0002\\1", L"0A0", L"DEV_0002", true},
  };
  for (const Row& row : rows) {
    forgetDevices();
    plantDevice(makerDevice(row.id, L"MEDIA"));
    EXPECT_EQ(find(L"MEDIA", row.secondary, row.primary).size(), row.found ? 1u : 0u)
        << narrow(row.id) << ", secondary " << narrow(row.secondary) << ", primary " << narrow(row.primary);
  }
}

TEST_F(DeviceQueries, ClassIsComparedWithoutCase) {
  plantDevice(makerDevice(kId, L"MEDIA"));
  EXPECT_THAT(find(L"media"), ElementsAre(kId));
  EXPECT_THAT(find(L"Media"), ElementsAre(kId));
  EXPECT_THAT(find(L"Med"), IsEmpty());
  EXPECT_THAT(find(L"MediaX"), IsEmpty());
}

TEST_F(DeviceQueries, DeviceWithoutClassMatchesTheEmptyClassAlone) {
  plantDevice(makerDevice(kId, L""));
  EXPECT_THAT(find(L"MEDIA"), IsEmpty());
  EXPECT_THAT(find(L"system"), IsEmpty());
  EXPECT_THAT(find(L""), ElementsAre(kId));
}

TEST_F(DeviceQueries, FindsInTheOrderOfTheSet) {
  const std::wstring first = L"PCI\\VEN_7A2E&DEV_0009\\1";
  const std::wstring last = L"ACPI\\VEN_7A11&DEV_0001\\1";
  plantDevice(makerDevice(first, L"MEDIA"));
  plantDevice(makerDevice(L"PCI\\VEN_7A11&DEV_0005\\1", L"Net"));
  plantDevice(makerDevice(last, L"MEDIA"));
  EXPECT_THAT(find(L"MEDIA"), ElementsAre(first, last));
}

TEST_F(DeviceQueries, AbsentDevicesAreFoundToo) {
  const std::wstring present = L"PCI\\VEN_7A11&DEV_0002\\1";
  const std::wstring neighbour = L"PCI\\VEN_1234&DEV_0003\\1";
  // The status that an absent device had when it was last present is not reported.
  PlantedDevice device = makerDevice(kId, L"MEDIA");
  device.present = false;
  device.status = 0x0180200A | DN_HAS_PROBLEM;
  device.problem = CM_PROB_FAILED_START;
  plantDevice(device);
  device.id = present;
  device.present = true;
  plantDevice(device);
  plantDevice(makerDevice(neighbour, L"Net"));
  DeviceInventory inventory;
  const std::vector<DeviceRecord*> found = inventory.FindDevices({.className = L"MEDIA", .withSiblings = true});
  ASSERT_THAT(idsOf(found), ElementsAre(kId, present));
  EXPECT_TRUE(found[0]->propertiesLoaded);
  EXPECT_EQ(found[0]->getDescription(), L"ORV MEDIA");
  EXPECT_EQ(found[0]->drivers.size(), 1u);
  EXPECT_EQ(found[0]->status, 0u);
  EXPECT_EQ(found[0]->problemCode, 0u);
  EXPECT_THAT(found[0]->siblings, IsEmpty());
  EXPECT_EQ(found[1]->status, device.status);
  EXPECT_EQ(found[1]->problemCode, static_cast<DWORD>(CM_PROB_FAILED_START));
  EXPECT_THAT(idsOf(found[1]->siblings), ElementsAre(neighbour));

  // Unplugged while its record is in use.
  plantDword(L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum\\" + present + L"\\Bench", L"Present", 0);
  UpdateDeviceStatus(*found[1]);
  EXPECT_EQ(found[1]->status, 0u);
  EXPECT_EQ(found[1]->problemCode, 0u);
}

TEST_F(DeviceQueries, RecordHoldsEveryProperty) {
  PlantedDevice device = makerDevice(kId, L"MEDIA");
  device.friendlyName = L"Sound of the bench";
  device.hardwareIds = {L"PCI\\VEN_7A11&DEV_0001&REV_01", L"PCI\\VEN_7A11&DEV_0001"};
  device.compatibleIds = {L"PCI\\VEN_7A11&CC_0403", L"PCI\\CC_0403"};
  device.lowerFilters = {L"orvpcifd", L"other"};
  device.status = 0x0180200A | DN_HAS_PROBLEM;
  device.problem = CM_PROB_FAILED_START;
  device.installState = 2;
  device.capabilities = 0x84;
  device.configFlags = 0x20;
  const DWORD devInst = plantDevice(device);
  DeviceInventory inventory;
  const std::vector<DeviceRecord*> found = inventory.FindDevices({.className = L"media"});
  ASSERT_EQ(found.size(), 1u);
  const DeviceRecord& record = *found[0];
  EXPECT_TRUE(record.propertiesLoaded);
  EXPECT_EQ(record.hardwareIds, device.hardwareIds);
  EXPECT_EQ(record.compatibleIds, device.compatibleIds);
  EXPECT_EQ(record.lowerFilters, device.lowerFilters);
  EXPECT_EQ(record.friendlyName, L"Sound of the bench");
  EXPECT_EQ(record.getDescription(), L"ORV MEDIA");
  EXPECT_EQ(record.classGuid, L"{4d36e96c-e325-11ce-bfc1-08002be10318}");
  EXPECT_EQ(record.getClassName(), L"MEDIA") << "in the case that the system gives";
  EXPECT_EQ(record.getDeviceId(), kId);
  EXPECT_EQ(record.installState, 2u);
  EXPECT_EQ(record.capabilities, 0x84u);
  EXPECT_EQ(record.configFlags, 0x20u);
  EXPECT_EQ(record.status, device.status);
  EXPECT_EQ(record.problemCode, static_cast<DWORD>(CM_PROB_FAILED_START));
  EXPECT_EQ(record.devInst, devInst);
  EXPECT_THAT(record.siblings, IsEmpty());
  EXPECT_EQ(record.drivers.size(), 1u);
}

TEST_F(DeviceQueries, AbsentPropertiesLeaveTheirFieldsEmpty) {
  PlantedDevice device;
  device.id = kId;
  device.className = L"MEDIA";
  plantDevice(device);
  DeviceInventory inventory;
  const CapturedLog log;
  const std::vector<DeviceRecord*> found = inventory.FindDevices({.className = L"MEDIA"});
  ASSERT_EQ(found.size(), 1u);
  const DeviceRecord& record = *found[0];
  EXPECT_TRUE(record.propertiesLoaded);
  EXPECT_EQ(record.description, L"");
  EXPECT_EQ(record.friendlyName, L"");
  EXPECT_THAT(record.hardwareIds, IsEmpty());
  EXPECT_THAT(record.compatibleIds, IsEmpty());
  EXPECT_THAT(record.lowerFilters, IsEmpty());
  EXPECT_THAT(record.drivers, IsEmpty());
  EXPECT_EQ(record.problemCode, 0u);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DeviceQueries, DeviceWhoseIdCannotBeReadFailsEveryFilter) {
  for (const wchar_t* call : {L"CM_Get_Device_ID_Size", L"CM_Get_Device_IDW"}) {
    plantDevice(makerDevice(kId, L"MEDIA"));
    failDeviceCall(kId, call, CR_FAILURE);
    EXPECT_THAT(find(L"MEDIA"), IsEmpty()) << narrow(call);
    EXPECT_THAT(find(L"MEDIA", L"DEV_0001"), IsEmpty()) << narrow(call);
    EXPECT_THAT(find(L"MEDIA", L"", L"DEV_0001"), IsEmpty()) << narrow(call);
  }
}

TEST_F(DeviceQueries, ElementThatCannotBeEnumeratedCostsItselfAlone) {
  const std::wstring broken = L"PCI\\VEN_7A11&DEV_0002\\1";
  plantDevice(makerDevice(broken, L"MEDIA"));
  plantDevice(makerDevice(kId, L"MEDIA"));
  failDeviceCall(broken, L"SetupDiEnumDeviceInfo", ERROR_GEN_FAILURE, 1);
  DeviceInventory inventory;
  const std::vector<DeviceRecord*> found = inventory.FindDevices({.className = L"MEDIA"});
  ASSERT_THAT(idsOf(found), ElementsAre(kId));
  EXPECT_TRUE(found[0]->propertiesLoaded);
}

TEST_F(DeviceQueries, DetailsEndAtAnElementThatCannotBeEnumerated) {
  const std::wstring first = L"PCI\\VEN_7A11&DEV_0003\\1";
  const std::wstring broken = L"PCI\\VEN_7A11&DEV_0002\\1";
  plantDevice(makerDevice(first, L"MEDIA"));
  plantDevice(makerDevice(broken, L"MEDIA"));
  plantDevice(makerDevice(kId, L"MEDIA"));
  failDeviceCall(broken, L"SetupDiEnumDeviceInfo", ERROR_GEN_FAILURE);
  DeviceInventory inventory;
  const std::vector<DeviceRecord*> found = inventory.FindDevices({.className = L"MEDIA"});
  ASSERT_THAT(idsOf(found), ElementsAre(first, kId));
  EXPECT_TRUE(found[0]->propertiesLoaded);
  EXPECT_FALSE(found[1]->propertiesLoaded);
  EXPECT_EQ(found[1]->getClassName(), L"MEDIA") << "known from the query itself";
  EXPECT_THAT(found[1]->hardwareIds, IsEmpty());
}

TEST_F(DeviceQueries, EachQueryMakesRecordsOfItsOwnThatStayReadable) {
  PlantedDevice device = makerDevice(kId, L"MEDIA");
  plantDevice(device);
  DeviceInventory inventory;
  const std::vector<DeviceRecord*> earlier = inventory.FindDevices({.className = L"MEDIA", .withSiblings = true});
  ASSERT_EQ(earlier.size(), 1u);
  for (int query = 0; query < 50; ++query) {
    const std::vector<DeviceRecord*> later = inventory.FindDevices({.className = L"MEDIA", .withSiblings = true});
    ASSERT_EQ(later.size(), 1u);
    EXPECT_NE(later[0], earlier[0]);
    later[0]->description = L"changed";
    later[0]->drivers.clear();
  }
  EXPECT_EQ(earlier[0]->getDeviceId(), kId);
  EXPECT_EQ(earlier[0]->getDescription(), L"ORV MEDIA");
  EXPECT_EQ(earlier[0]->hardwareIds, device.hardwareIds);
  ASSERT_EQ(earlier[0]->drivers.size(), 1u);
  EXPECT_EQ(earlier[0]->drivers[0]->inf->infPath, infPath(L"oem1.inf"));
}

TEST_F(DeviceQueries, QueriesChangeNothing) {
  plantDevice(makerDevice(kId, L"MEDIA"));
  plantDriverPackage(makerPackage(L"oem1.inf", L"MEDIA"));
  DeviceInventory inventory;
  inventory.FindDevices({.className = L"MEDIA", .withSiblings = true});
  EXPECT_THAT(recordedCalls(), IsEmpty());
  EXPECT_TRUE(deviceExists(kId));
  EXPECT_TRUE(packageExists(L"oem1.inf"));
}

TEST_F(DeviceQueries, SetThatCannotBeOpenedIsLoggedAndFindsNothing) {
  plantDevice(makerDevice(kId, L"MEDIA"));
  DeviceInventory working;
  const std::vector<DeviceRecord*> found = working.FindDevices({.className = L"MEDIA"});
  ASSERT_EQ(found.size(), 1u);

  failCall(L"SetupDiGetClassDevsW", ERROR_ACCESS_DENIED);
  const CapturedLog log;
  ::Setup setup;
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR Setup::UninstallDevice - Cancelling! SetupDiGetClassDevs invalid handle value!"));
  EXPECT_TRUE(working.isValid());
  EXPECT_FALSE(setup.inventory.isValid());
  EXPECT_THAT(setup.inventory.FindDevices({.className = L"MEDIA", .withSiblings = true}), IsEmpty());
  EXPECT_TRUE(setup.UninstallDevice(*found[0], false, false));
  EXPECT_TRUE(deviceExists(kId));
}

TEST_F(DeviceQueries, SetIsReleasedOnceAndOnlyIfItWasOpened) {
  releasedSets.clear();
  EXPECT_TRUE(DeviceInventory().isValid());
  ASSERT_EQ(releasedSets.size(), 1u);
  EXPECT_NE(releasedSets[0], INVALID_HANDLE_VALUE);
  failCall(L"SetupDiGetClassDevsW", ERROR_ACCESS_DENIED);
  EXPECT_FALSE(DeviceInventory().isValid());
  EXPECT_EQ(releasedSets.size(), 1u);
}

TEST_F(DeviceQueries, DevicesThatComeLaterAreNotInTheSet) {
  DeviceInventory inventory;
  plantDevice(makerDevice(kId, L"MEDIA"));
  EXPECT_THAT(inventory.FindDevices({.className = L"MEDIA"}), IsEmpty());
  EXPECT_THAT(find(L"MEDIA"), ElementsAre(kId));
}
