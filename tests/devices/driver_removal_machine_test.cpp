// driver_removal_machine_test - removes drivers from a machine full of devices and packages and compares it before and
// after.
#include "devices/setup.h"

#include <functional>
#include <set>

#include "devices/device_fixture.h"

#include "device_registry.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Contents = std::map<std::wstring, std::wstring>;
using Names = std::set<std::wstring>;

// All values of a key and its subkeys, as one string.
std::wstring contentOf(const std::wstring& path) {
  std::wstring content;
  std::vector<std::wstring> pending = {path};
  while (!pending.empty()) {
    const std::wstring key = pending.back();
    pending.pop_back();
    content += L"[" + key + L"]";
    RegistryKey opened;
    ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, opened.put());
    wchar_t name[256];
    BYTE data[2048];
    for (DWORD index = 0;; ++index) {
      DWORD length = 256;
      DWORD size = sizeof(data);
      DWORD type = 0;
      if (::RegEnumValueW(opened.get(), index, name, &length, nullptr, &type, data, &size) != ERROR_SUCCESS) {
        break;
      }
      content += std::wstring(name) + L"=" + std::to_wstring(type) + L":" + std::wstring(data, data + size) + L";";
    }
    for (const std::wstring& subkey : bench::subkeysOf(key)) {
      pending.push_back(key + L"\\" + subkey);
    }
  }
  return content;
}

Contents contentsOf(const std::vector<PlantedDevice>& devices) {
  Contents contents;
  for (const PlantedDevice& device : devices) {
    if (deviceExists(device.id)) {
      const std::wstring driver = bench::readText(bench::deviceKey(device.id), L"Driver");
      contents[device.id] = contentOf(bench::deviceKey(device.id)) +
                            (driver.empty() ? L"no driver" : contentOf(bench::kClassKey + driver));
    }
  }
  return contents;
}

template <class Map>
Names missing(const Map& before, const Map& after) {
  Names names;
  for (const auto& [name, content] : before) {
    if (!after.contains(name)) {
      names.insert(name);
    }
  }
  return names;
}

template <class Map>
Names changed(const Map& before, const Map& after) {
  Names names;
  for (const auto& [name, content] : after) {
    if (const auto old = before.find(name); old == before.end() || old->second != content) {
      names.insert(name);
    }
  }
  return names;
}

const std::wstring kBoard = L"PCI\\VEN_1234&DEV_0000\\0";

PlantedDevice device(const std::wstring& id, const std::wstring& className, const std::wstring& inf,
                     const std::function<void(PlantedDevice&)>& change = {}) {
  PlantedDevice planted = makerDevice(id, className, inf);
  if (change) {
    change(planted);
  }
  return planted;
}

void belongsToSomebodyElse(PlantedDevice& planted) {
  planted.manufacturer = L"Bench";
  planted.drivers[0].provider = L"Bench";
}

const std::vector<PlantedDevice> kDevices = {
    device(kBoard, L"USB", L"usb.inf"),
    device(L"PCI\\VEN_7A11&DEV_0001\\1", L"MEDIA", L"oem1.inf"),
    device(L"PCI\\VEN_7A2E&DEV_0002\\1", L"MEDIA", L"oem2.inf"),
    device(L"PCI\\VEN_1234&DEV_0003\\1", L"MEDIA", L"oem20.inf", belongsToSomebodyElse),
    device(L"PCI\\VEN_7A11&DEV_0004\\1", L"Display", L"oem3.inf"),
    device(L"PCI\\VEN_1234&DEV_0005\\1", L"Display", L"oem21.inf", belongsToSomebodyElse),
    device(L"PCI\\VEN_7A11&DEV_0006\\1", L"Extension", L"oem22.inf"),
    device(L"PCI\\VEN_7A11&DEV_0007\\1", L"System", L"oem4.inf",
           [](PlantedDevice& d) { d.description = L"ORV Link Controller"; }),
    device(L"PCI\\VEN_7A11&DEV_0008\\1", L"System", L"oem5.inf",
           [](PlantedDevice& d) {
             d.parent = kBoard;
             d.compatibleIds = {L"PCI\\CC_0601"};
           }),
    device(L"PCI\\VEN_1234&DEV_0009\\1", L"HDC", L"storage.inf", [](PlantedDevice& d) { d.parent = kBoard; }),
    device(L"PCI\\VEN_1234&DEV_A0A0\\1", L"System", L"oem6.inf",
           [](PlantedDevice& d) { d.lowerFilters = {L"orvpcifd"}; }),
    device(L"USB\\VID_0B11&PID_01\\1", L"Net", L"oem7.inf"),
    device(L"USB\\VID_0B11&PID_02\\1", L"Net", L"oem23.inf"),
    device(L"PCI\\VEN_7A11&DEV_000D\\1", L"System", L"oem24.inf"),
    device(L"PCI\\VEN_7A11&DEV_000E\\1", L"Net", L"net.inf"),
    device(L"PCI\\VEN_7A11&DEV_000F\\1", L"Camera", L"oem8.inf", [](PlantedDevice& d) { d.present = false; }),
};

DriverPackage packageOf(const std::wstring& name, const std::wstring& className,
                        const std::function<void(DriverPackage&)>& change = {}) {
  DriverPackage package;
  package.Name = name;
  package.ClassName = className;
  if (change) {
    change(package);
  }
  return package;
}

const std::vector<DriverPackage> kPlan = {
    packageOf(L"By id", L"Net", [](DriverPackage& p) { p.DeviceID = L"VID_0B11&PID_01"; }),
    packageOf(L"Filter", L"system", [](DriverPackage& p) { p.HardwareIds = {L"DEV_A0A0"}; }),
    packageOf(L"Siblings", L"system",
              [](DriverPackage& p) {
                p.SibblingClassName = L"hdc";
                p.SibblingCompatibleId = L"CC_0601";
              }),
    packageOf(L"Description", L"system", [](DriverPackage& p) { p.DeviceDesc = L"Link Controller"; }),
    packageOf(L"Nothing", L"system", [](DriverPackage& p) { p.SibblingClassName = L"hdc"; }),
    packageOf(L"Net", L"Net"),
    packageOf(L"Sound", L"Media"),
    packageOf(L"Extension", L"Extension"),
    packageOf(L"Graphics", L"Display"),
    packageOf(L"Camera", L"Camera"),
};

class DriverRemovalOnAFullMachine : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    for (const PlantedDevice& planted : kDevices) {
      plantDevice(planted);
    }
    for (const wchar_t* name :
         {L"oem1", L"oem2", L"oem3", L"oem4", L"oem5", L"oem6", L"oem7", L"oem8", L"oem22", L"oem23", L"oem24"}) {
      plantDriverPackage(makerPackage(std::wstring(name) + L".inf", L"Net"));  // the sweep removes none of these
    }
    for (const wchar_t* name : {L"oem20.inf", L"oem21.inf"}) {
      PlantedPackage package = makerPackage(name, L"Display");
      package.provider = L"Bench";
      plantDriverPackage(package);
    }
    plantDriverPackage(makerPackage(L"oem30.inf", L"Net", L"orvdesk.cat"));  // no device uses it any more
    plantDriverPackage(makerPackage(L"oem31.inf", L"Net", L"any.cat"));
  }
};

}  // namespace

TEST_F(DriverRemovalOnAFullMachine, ExactlyTheListedGoesInTheOrderOfTheStages) {
  const Contents devicesBefore = contentsOf(kDevices);
  const auto filesBefore = infFolder();
  ASSERT_EQ(devicesBefore.size(), kDevices.size());

  std::vector<DriverPackage> failed;
  std::vector<DriverPackage> succeeded;
  ::Setup setup;
  setup.RemoveDrivers(kPlan, failed, succeeded, GpuExclusion(), false);

  const Contents devicesAfter = contentsOf(kDevices);
  EXPECT_EQ(missing(devicesBefore, devicesAfter),
            (Names{L"PCI\\VEN_7A11&DEV_0001\\1", L"PCI\\VEN_7A2E&DEV_0002\\1", L"PCI\\VEN_7A11&DEV_0004\\1",
                   L"PCI\\VEN_7A11&DEV_0007\\1", L"PCI\\VEN_7A11&DEV_0008\\1", L"PCI\\VEN_1234&DEV_A0A0\\1",
                   L"USB\\VID_0B11&PID_01\\1", L"PCI\\VEN_7A11&DEV_000F\\1"}));
  EXPECT_THAT(changed(devicesBefore, devicesAfter), IsEmpty());

  Names expectedFiles;
  for (const wchar_t* stem : {L"oem1", L"oem2", L"oem3", L"oem4", L"oem5", L"oem6", L"oem7", L"oem8", L"oem30"}) {
    EXPECT_TRUE(packageIsWiped(std::wstring(stem) + L".inf")) << narrow(stem);
    expectedFiles.insert(std::wstring(stem) + L".inf");
    expectedFiles.insert(std::wstring(stem) + L".PNF");
  }
  const auto filesAfter = infFolder();
  EXPECT_EQ(missing(filesBefore, filesAfter), expectedFiles);
  EXPECT_THAT(changed(filesBefore, filesAfter), IsEmpty());

  std::vector<std::wstring> outcomes;
  for (const DriverPackage& package : succeeded) {
    outcomes.push_back(package.Name);
  }
  EXPECT_THAT(outcomes, ElementsAre(L"Sound", L"Sound", L"Graphics", L"Camera", L"Description", L"Siblings", L"Filter",
                                    L"By id"));
  EXPECT_THAT(failed, IsEmpty());

  Calls expected = {L"CM_Reenumerate_DevNode HTREE\\ROOT\\0 -> 0"};
  for (const auto& [id, inf] : std::vector<std::pair<std::wstring, std::wstring>>{
           {L"PCI\\VEN_7A11&DEV_0001\\1", L"oem1.inf"},
           {L"PCI\\VEN_7A2E&DEV_0002\\1", L"oem2.inf"},
           {L"PCI\\VEN_7A11&DEV_0004\\1", L"oem3.inf"},
           {L"PCI\\VEN_7A11&DEV_000F\\1", L"oem8.inf"},
           {L"PCI\\VEN_7A11&DEV_0007\\1", L"oem4.inf"},
           {L"PCI\\VEN_7A11&DEV_0008\\1", L"oem5.inf"},
           {L"PCI\\VEN_1234&DEV_A0A0\\1", L"oem6.inf"},
           {L"USB\\VID_0B11&PID_01\\1", L"oem7.inf"},
       }) {
    expected.push_back(L"DIF_REMOVE " + id + L" -> 0");
    expected.push_back(L"DiUninstallDriverW " + infPath(inf) + L" -> 0");
  }
  expected.push_back(L"DiUninstallDriverW " + infPath(L"oem30.inf") + L" -> 0");
  expected.push_back(L"CM_Reenumerate_DevNode HTREE\\ROOT\\0 -> 0");
  EXPECT_EQ(recordedCalls(), expected);

  // A second run finds nothing.
  succeeded.clear();
  ::Setup().RemoveDrivers(kPlan, failed, succeeded, GpuExclusion(), false);
  EXPECT_EQ(contentsOf(kDevices), devicesAfter);
  EXPECT_EQ(infFolder(), filesAfter);
  EXPECT_THAT(succeeded, IsEmpty());
  EXPECT_THAT(failed, IsEmpty());
}

TEST_F(DriverRemovalOnAFullMachine, VirtualMachineLosesEveryDisplayDevice) {
  nameMachine(L"Virtual Machine");
  const Contents before = contentsOf(kDevices);
  std::vector<DriverPackage> failed;
  std::vector<DriverPackage> succeeded;
  ::Setup setup;
  setup.RemoveDrivers({}, failed, succeeded, GpuExclusion(), false);
  const Contents after = contentsOf(kDevices);
  EXPECT_EQ(missing(before, after), (Names{L"PCI\\VEN_7A11&DEV_0004\\1", L"PCI\\VEN_1234&DEV_0005\\1"}));
  EXPECT_THAT(changed(before, after), IsEmpty());
  EXPECT_TRUE(packageExists(L"oem3.inf")) << "the packages of these devices stay";
}
