// device_siblings_test - the other children of a device's parent, whatever the configuration manager answers.
#include "devices/device_inventory.h"

#include "devices/device_fixture.h"
#include "support/link_seam.h"

#include <cfgmgr32.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::wstring kParent = L"PCI\\VEN_1234&DEV_0000\\0";
const std::wstring kFirst = L"PCI\\VEN_7A11&DEV_0001\\1";
const std::wstring kSecond = L"PCI\\VEN_7A11&DEV_0002\\1";
const std::wstring kThird = L"PCI\\VEN_7A11&DEV_0003\\1";

// While on, CM_Get_Sibling returns the scripted nodes, one per call, and then no more.
bool walkIsScripted = false;
std::vector<DEVINST> scriptedWalk;
std::vector<DEVINST> askedOf;

class DeviceSiblings : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    walkIsScripted = false;
    askedOf.clear();
    PlantedDevice parent = makerDevice(kParent, L"System");
    plantDevice(parent);
    for (const std::wstring& id : {kFirst, kSecond, kThird}) {
      numbers.push_back(plantChild(id));
    }
  }

  static DWORD plantChild(const std::wstring& id) {
    PlantedDevice device = makerDevice(id, id == kSecond ? L"MEDIA" : L"Net");
    device.parent = kParent;
    return plantDevice(device);
  }

  // The siblings of the second child, which is the only device of its class.
  std::vector<DeviceRecord*> siblings() {
    const std::vector<DeviceRecord*> found = inventory().FindDevices({.className = L"MEDIA", .withSiblings = true});
    return found.size() == 1 ? found[0]->siblings : std::vector<DeviceRecord*>{nullptr};
  }

  DeviceInventory& inventory() {
    inventories.push_back(std::make_unique<DeviceInventory>());
    return *inventories.back();
  }

  std::vector<DWORD> numbers;

 private:
  std::vector<std::unique_ptr<DeviceInventory>> inventories;
};

}  // namespace

LINK_SEAM(CONFIGRET, CM_Get_Sibling, (PDEVINST next, DEVINST current, ULONG flags)) {
  askedOf.push_back(current);
  if (!walkIsScripted) {
    return realFunction<decltype(&::CM_Get_Sibling)>(L"cfgmgr32.dll", "CM_Get_Sibling")(next, current, flags);
  }
  if (scriptedWalk.empty()) {
    return CR_NO_SUCH_DEVNODE;
  }
  *next = scriptedWalk.front();
  scriptedWalk.erase(scriptedWalk.begin());
  return CR_SUCCESS;
}

TEST_F(DeviceSiblings, AreTheOtherChildrenInTheirOrder) {
  EXPECT_THAT(idsOf(siblings()), ElementsAre(kFirst, kThird));
}

TEST_F(DeviceSiblings, OfTheFirstChildFollowIt) {
  const std::vector<DeviceRecord*> found = inventory().FindDevices({.className = L"Net", .withSiblings = true});
  ASSERT_THAT(idsOf(found), ElementsAre(kFirst, kThird));
  EXPECT_THAT(idsOf(found[0]->siblings), ElementsAre(kSecond, kThird));
  EXPECT_THAT(idsOf(found[1]->siblings), ElementsAre(kFirst, kSecond));
}

TEST_F(DeviceSiblings, AreNotLookedForUnlessAsked) {
  const std::vector<DeviceRecord*> found = inventory().FindDevices({.className = L"MEDIA"});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_THAT(found[0]->siblings, IsEmpty());
  EXPECT_THAT(askedOf, IsEmpty());
}

TEST_F(DeviceSiblings, HaveAllTheirFieldsButNoSiblings) {
  const std::vector<DeviceRecord*> found = siblings();
  ASSERT_EQ(found.size(), 2u);
  EXPECT_TRUE(found[0]->propertiesLoaded);
  EXPECT_EQ(found[0]->getClassName(), L"Net");
  EXPECT_EQ(found[0]->getDescription(), L"ORV Net");
  EXPECT_THAT(found[0]->hardwareIds, ElementsAre(L"PCI\\VEN_7A11&DEV_0001"));
  EXPECT_EQ(found[0]->drivers.size(), 1u);
  EXPECT_NE(found[0]->status, 0u);
  EXPECT_EQ(found[0]->devInst, numbers[0]);
  EXPECT_THAT(found[0]->siblings, IsEmpty());
}

TEST_F(DeviceSiblings, NeedNotBeOfTheMaker) {
  PlantedDevice other = makerDevice(L"USB\\VID_1234\\1", L"USB");
  other.parent = kParent;
  plantDevice(other);
  EXPECT_THAT(idsOf(siblings()), ElementsAre(kFirst, kThird, other.id));
}

TEST_F(DeviceSiblings, OnlyChildHasNone) {
  PlantedDevice child = makerDevice(L"PCI\\VEN_7A11&DEV_0009\\1", L"Camera");
  child.parent = kFirst;
  plantDevice(child);
  const std::vector<DeviceRecord*> found = inventory().FindDevices({.className = L"Camera", .withSiblings = true});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_THAT(found[0]->siblings, IsEmpty());
  EXPECT_TRUE(found[0]->propertiesLoaded);
}

TEST_F(DeviceSiblings, UnknownParentGivesNone) {
  for (const CONFIGRET result : {CR_NO_SUCH_DEVNODE, CR_FAILURE}) {
    plantChild(kSecond);
    failDeviceCall(kSecond, L"CM_Get_Parent", result);
    EXPECT_THAT(siblings(), IsEmpty()) << result;
  }
}

TEST_F(DeviceSiblings, ParentWithoutChildrenGivesNone) {
  failDeviceCall(kParent, L"CM_Get_Child", CR_NO_SUCH_DEVNODE);
  EXPECT_THAT(siblings(), IsEmpty());
  EXPECT_THAT(askedOf, IsEmpty());
}

TEST_F(DeviceSiblings, AnotherFailureOfTheFirstChildDoesNotEndTheWalk) {
  failDeviceCall(kParent, L"CM_Get_Child", CR_FAILURE);
  walkIsScripted = true;
  scriptedWalk = {numbers[0], numbers[1], numbers[2]};
  const std::vector<DeviceRecord*> found = siblings();
  ASSERT_EQ(found.size(), 3u);
  EXPECT_FALSE(found[0]->propertiesLoaded) << "the first child is unknown";
  EXPECT_EQ(found[1]->getDeviceId(), kFirst);
  EXPECT_EQ(found[2]->getDeviceId(), kThird);
}

TEST_F(DeviceSiblings, BusyConfigurationManagerIsAskedAgainForTheSameNode) {
  constexpr DWORD kFailures = 25;
  failDeviceCall(kFirst, L"CM_Get_Sibling", CR_FAILURE, kFailures);
  EXPECT_THAT(idsOf(siblings()), ElementsAre(kFirst, kThird));
  std::vector<DEVINST> expected(kFailures + 1, numbers[0]);
  expected.push_back(numbers[1]);
  expected.push_back(numbers[2]);
  EXPECT_EQ(askedOf, expected);
}

TEST_F(DeviceSiblings, NodeThatComesTwiceIsListedOnce) {
  walkIsScripted = true;
  scriptedWalk = {numbers[2], numbers[0], numbers[1], numbers[2], numbers[1]};
  EXPECT_THAT(idsOf(siblings()), ElementsAre(kFirst, kThird));
  EXPECT_THAT(askedOf, ElementsAre(numbers[0], numbers[2], numbers[0], numbers[1], numbers[2], numbers[1]));
}

TEST_F(DeviceSiblings, WalkWithoutSiblingsLeavesWhatTheRecordHad) {
  DeviceInventory& one = inventory();
  const std::vector<DeviceRecord*> found = one.FindDevices({.className = L"MEDIA", .withSiblings = true});
  ASSERT_EQ(found.size(), 1u);
  DeviceRecord only;
  only.devInst = numbers[0];
  only.siblings = {found[0]};
  walkIsScripted = true;
  scriptedWalk = {numbers[0]};
  one.FindSiblings(only);
  EXPECT_THAT(only.siblings, ElementsAre(found[0]));
}

TEST_F(DeviceSiblings, WalkWithSiblingsReplacesWhatTheRecordHad) {
  DeviceInventory& one = inventory();
  const std::vector<DeviceRecord*> found = one.FindDevices({.className = L"MEDIA", .withSiblings = true});
  ASSERT_EQ(found.size(), 1u);
  one.FindSiblings(*found[0]);
  EXPECT_THAT(idsOf(found[0]->siblings), ElementsAre(kFirst, kThird));
}
