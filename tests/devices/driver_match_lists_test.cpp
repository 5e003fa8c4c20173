// driver_match_lists_test - what matching logs, and devices that match several packages or rules.
#include "devices/setup.h"

#include "devices/driver_matching_fixture.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using DriverMatchLists = DriverMatching;

}  // namespace

TEST_F(DriverMatchLists, NodesAreLoggedUpToTheOneThatQualifies) {
  PlantedDevice device = makerDevice(kId, L"MEDIA");
  device.drivers.insert(device.drivers.begin(), makerDriver(L"audio.inf"));
  device.drivers[0].version = L"10.0.19041.1";
  device.drivers.push_back(makerDriver(L"oem3.inf"));
  plantDevice(device);
  match({packageOf(L"MEDIA")});
  EXPECT_THAT(matchingLines(),
              ElementsAre("DEBUG ---------toCheck: PCI\\VEN_7A11&DEV_0001\\1------------",
                          "DEBUG ---------Device data------------ORV MEDIA - 10.0.19041.1 - Orvane Devices, Inc. - "
                          "Orvane Devices, Inc.",
                          "DEBUG ---------INF data------------ -  -  - 0",
                          "DEBUG ---------Device data------------ORV MEDIA - 1.0.0.0 - Orvane Devices, Inc. - "
                          "Orvane Devices, Inc.",
                          "DEBUG ---------INF data------------ -  -  - 1"));
}

TEST_F(DriverMatchLists, PackageWithoutAClassIsNamedInTheLog) {
  plantDevice(makerDevice(kId, L"MEDIA"));
  DriverPackage package = packageOf(L"");
  package.DeviceID = L"DEV_0001";
  package.HardwareIds = {L"DEV_0001"};
  EXPECT_THAT(match({package}), IsEmpty());
  EXPECT_THAT(matchingLines(), ElementsAre("DEBUG No ClassName Specified for the driver\t:\tPackage"));
}

TEST_F(DriverMatchLists, SiblingRuleLogsWhatItLooksAt) {
  plantDevice(makerDevice(kParent, L"USB"));
  PlantedDevice device = makerDevice(kId, L"System");
  device.parent = kParent;
  device.compatibleIds = {L"PCI\\A", L"PCI\\CC_0601"};
  plantDevice(device);
  for (const wchar_t* siblingClass : {L"Net", L"HDC"}) {
    PlantedDevice sibling = makerDevice(std::wstring(L"PCI\\VEN_1234&DEV_0002\\") + siblingClass, siblingClass);
    sibling.parent = kParent;
    plantDevice(sibling);
  }
  DriverPackage package = packageOf(L"system");
  package.SibblingClassName = L"hdc";
  package.SibblingCompatibleId = L"CC_0601";
  match({package});
  EXPECT_THAT(matchingLines(),
              ElementsAre("DEBUG ---------sibblingClassName to find: hdc-----sibblingCompatibleId to find: "
                          "CC_0601------------",
                          "DEBUG ---------sibblingClassName: hdc------------",
                          "DEBUG ---------sibblingCompatibleId: PCI\\A------------",
                          "DEBUG ---------sibblingCompatibleId: PCI\\CC_0601------------",
                          "DEBUG ---------toCheck: PCI\\VEN_7A11&DEV_0001\\1------------",
                          "DEBUG ---------Device data------------ORV System - 1.0.0.0 - Orvane Devices, Inc. - "
                          "Orvane Devices, Inc.",
                          "DEBUG ---------INF data------------ -  -  - 1"));
}

TEST_F(DriverMatchLists, DeviceOfTwoPackagesIsListedForTheFirst) {
  plantDevice(makerDevice(kId, L"MEDIA"));
  DriverPackage second = packageOf(L"media");
  second.Name = L"Second";
  EXPECT_THAT(match({packageOf(L"MEDIA"), second}), ElementsAre("class PCI\\VEN_7A11&DEV_0001\\1"));
  ASSERT_EQ(succeeded.size(), 1u);
  EXPECT_EQ(succeeded[0].Name, L"Package");
  EXPECT_THAT(failed, IsEmpty());
  EXPECT_THAT(lines, Contains("DEBUG ---------getDeviceId: PCI\\VEN_7A11&DEV_0001\\1------------"));
}

TEST_F(DriverMatchLists, DeviceWhoseIdBeginsAListedIdCountsAsListed) {
  plantDevice(makerDevice(kId + L"0", L"MEDIA"));
  plantDevice(makerDevice(kId, L"MEDIA"));
  EXPECT_THAT(match({packageOf(L"MEDIA")}), ElementsAre("class PCI\\VEN_7A11&DEV_0001\\10"));
  EXPECT_TRUE(deviceExists(kId));
  // In the other order both are listed.
  forgetDevices();
  plantDevice(makerDevice(kId, L"MEDIA"));
  plantDevice(makerDevice(kId + L"0", L"MEDIA"));
  EXPECT_THAT(match({packageOf(L"MEDIA")}),
              ElementsAre("class PCI\\VEN_7A11&DEV_0001\\1", "class PCI\\VEN_7A11&DEV_0001\\10"));
}

TEST_F(DriverMatchLists, DeviceCanComeIntoTwoLists) {
  PlantedDevice device = makerDevice(kId, L"MEDIA");
  plantDevice(device);
  DriverPackage byId = packageOf(L"MEDIA");
  byId.DeviceID = L"DEV_0001";
  EXPECT_THAT(match({byId, packageOf(L"MEDIA")}),
              ElementsAre("class PCI\\VEN_7A11&DEV_0001\\1", "device id PCI\\VEN_7A11&DEV_0001\\1"));
}

TEST_F(DriverMatchLists, FieldsThatTakeNoPart) {
  plantDevice(makerDevice(kId, L"MEDIA"));
  DriverPackage package = packageOf(L"MEDIA");
  package.InfName = L"another.inf";
  package.PID = L"PID";
  package.ProductVersion = L"9.9";
  package.CompatibleId = L"NONE";
  package.BasicInf = {{L"true", L"basic.inf"}};
  EXPECT_THAT(match({package}), ElementsAre("class PCI\\VEN_7A11&DEV_0001\\1"));
}

TEST_F(DriverMatchLists, NodesThatWereTestedOnceStayInLowerCase) {
  PlantedDevice device = makerDevice(L"PCI\\VEN_1234&DEV_A0A0\\1", L"System");
  device.lowerFilters = {L"orvpcifd"};
  plantDevice(device);
  DriverPackage package = packageOf(L"system");
  package.HardwareIds = {L"DEV_A0A0", L"VEN_1234"};
  match({package});
  EXPECT_THAT(matchingLines(),
              ElementsAre("DEBUG ---------Device data------------ORV System - 1.0.0.0 - Orvane Devices, Inc. - "
                          "Orvane Devices, Inc.",
                          "DEBUG ---------INF data------------ -  -  - 1",
                          "DEBUG ---------Device data------------ORV System - 1.0.0.0 - orvane devices, inc. - "
                          "orvane devices, inc.",
                          "DEBUG ---------INF data------------ -  -  - 1"));
}

TEST_F(DriverMatchLists, DeviceThatIsListedTwiceHasTwoOutcomes) {
  PlantedDevice device = makerDevice(L"PCI\\VEN_1234&DEV_A0A0\\1", L"System");
  device.lowerFilters = {L"orvpcifd"};
  plantDevice(device);
  DriverPackage package = packageOf(L"system");
  package.HardwareIds = {L"DEV_A0A0", L"VEN_1234"};
  match({package});
  EXPECT_EQ(succeeded.size(), 2u) << "one for each attempt; a device that is gone already counts as handled";
  EXPECT_THAT(failed, IsEmpty());
  EXPECT_FALSE(deviceExists(device.id));
}
