// driver_matching_test - the match rules as tables: the device, the package, and the stage in which the device is
// removed.
#include "devices/setup.h"

#include <functional>
#include <utility>

#include "devices/driver_matching_fixture.h"

namespace {

struct Row {
  std::string name;
  PlantedDevice device;
  DriverPackage package;
  Lines listed;  // the stages that the device is in
};

PlantedDevice filterDevice() {
  PlantedDevice device = makerDevice(L"PCI\\VEN_1234&DEV_A0A0\\1", L"System");
  device.hardwareIds = {L"PCI\\VEN_1234&DEV_A0A0&REV_01", L"PCI\\VEN_1234&DEV_A0A0"};
  device.lowerFilters = {L"orvpcifd", L"other"};
  return device;
}

DriverPackage filterPackage(const std::vector<std::wstring>& ids = {L"DEV_A0A0"}) {
  DriverPackage package = packageOf(L"system");
  package.HardwareIds = ids;
  return package;
}

template <class Record, class Change>
Record with(Record record, Change change) {
  change(record);
  return record;
}

void expectRows(const std::vector<Row>& rows, const std::function<Lines(const std::vector<DriverPackage>&)>& match) {
  for (const Row& row : rows) {
    forgetDevices();
    plantDevice(row.device);
    EXPECT_EQ(match({row.package}), row.listed) << row.name;
    EXPECT_EQ(deviceExists(row.device.id), row.listed.empty()) << row.name;
  }
}

}  // namespace

TEST_F(DriverMatching, PciFilterDriverRows) {
  const std::string listed = "hardware id PCI\\VEN_1234&DEV_A0A0\\1";
  using Device = PlantedDevice;
  expectRows(
      {
          {"all three", filterDevice(), filterPackage(), {listed}},
          {"the device id of the package is ignored",
           filterDevice(),
           with(filterPackage(), [](DriverPackage& p) { p.DeviceID = L"DEV_9999"; }),
           {listed}},
          {"the package names it by two ids",
           filterDevice(),
           filterPackage({L"DEV_A0A0", L"REV_01"}),
           {listed, listed}},
          {"one of two ids fits", filterDevice(), filterPackage({L"DEV_9999", L"REV_01"}), {listed}},
          {"an empty id fits anything", filterDevice(), filterPackage({L""}), {listed}},
          {"only the second hardware id fits",
           with(filterDevice(), [](Device& d) { d.hardwareIds[0] = L"PCI\\OTHER"; }),
           filterPackage(),
           {}},
          {"hardware id in another case", filterDevice(), filterPackage({L"dev_a0a0"}), {}},
          {"no hardware id", with(filterDevice(), [](Device& d) { d.hardwareIds = {}; }), filterPackage(), {}},
          {"no lower filter", with(filterDevice(), [](Device& d) { d.lowerFilters = {}; }), filterPackage(), {}},
          {"the filter stands second",
           with(filterDevice(), [](Device& d) { std::swap(d.lowerFilters[0], d.lowerFilters[1]); }),
           filterPackage(),
           {}},
          {"the filter is part of a name",
           with(filterDevice(), [](Device& d) { d.lowerFilters = {L"xorvpcifd2"}; }),
           filterPackage(),
           {listed}},
          {"the filter in another case",
           with(filterDevice(), [](Device& d) { d.lowerFilters = {L"OrvPciFd"}; }),
           filterPackage(),
           {}},
          {"the device id lacks 0A0",
           with(filterDevice(), [](Device& d) { d.id = L"PCI\\VEN_7A11&DEV_A0B0\\1"; }),
           filterPackage(),
           {}},
          {"a driver of the system's",
           with(filterDevice(), [](Device& d) { d.drivers[0].inf = infPath(L"pci.inf"); }),
           filterPackage(),
           {}},
          {"class in another case is no filter rule",
           filterDevice(),
           with(filterPackage(), [](DriverPackage& p) { p.ClassName = L"System"; }),
           {}},
      },
      [this](const auto& packages) { return match(packages); });
}

TEST_F(DriverMatching, DeviceIdRows) {
  const auto byId = [](const std::wstring& className, const std::wstring& id) {
    return with(packageOf(className), [&id](DriverPackage& p) { p.DeviceID = id; });
  };
  const PlantedDevice foreign = makerDevice(L"USB\\VID_1234&PID_77\\1", L"Display");
  expectRows(
      {
          {"a device of any vendor", foreign, byId(L"Display", L"PID_77"), {"device id USB\\VID_1234&PID_77\\1"}},
          {"class without case", foreign, byId(L"display", L"PID_77"), {"device id USB\\VID_1234&PID_77\\1"}},
          {"another class", foreign, byId(L"MEDIA", L"PID_77"), {}},
          {"another id", foreign, byId(L"Display", L"PID_78"), {}},
          {"id in another case", foreign, byId(L"Display", L"pid_77"), {}},
          {"a system device without hardware ids in the package",
           with(foreign, [](PlantedDevice& d) { d.className = L"System"; }),
           byId(L"system", L"PID_77"),
           {"device id USB\\VID_1234&PID_77\\1"}},
          {"description and siblings are ignored",
           foreign,
           with(byId(L"Display", L"PID_77"),
                [](DriverPackage& p) {
                  p.DeviceDesc = L"another";
                  p.SibblingClassName = L"net";
                  p.SibblingCompatibleId = L"X";
                }),
           {"device id USB\\VID_1234&PID_77\\1"}},
          {"no driver of the maker",
           with(foreign,
                [](PlantedDevice& d) {
                  d.drivers[0].provider = L"Bench";
                  d.drivers[0].manufacturer = L"Bench";
                }),
           byId(L"Display", L"PID_77"),
           {}},
      },
      [this](const auto& packages) { return match(packages); });
}

TEST_F(DriverMatching, ClassRows) {
  const PlantedDevice device = makerDevice(kId, L"MEDIA");
  const std::string listed = "class PCI\\VEN_7A11&DEV_0001\\1";
  expectRows(
      {
          {"the maker's vendor id", device, packageOf(L"MEDIA"), {listed}},
          {"class without case", device, packageOf(L"media"), {listed}},
          {"another class", device, packageOf(L"Net"), {}},
          {"no class", device, packageOf(L""), {}},
          {"another vendor", makerDevice(L"PCI\\VEN_1234&DEV_0001\\1", L"MEDIA"), packageOf(L"MEDIA"), {}},
          {"hardware ids are the filter rule's alone",
           device,
           with(packageOf(L"MEDIA"), [](DriverPackage& p) { p.HardwareIds = {L"NONE"}; }),
           {listed}},
          {"a description is the system rule's alone",
           device,
           with(packageOf(L"MEDIA"), [](DriverPackage& p) { p.DeviceDesc = L"another"; }),
           {listed}},
          {"class System in another case goes by its class",
           makerDevice(kId, L"System"),
           packageOf(L"System"),
           {listed}},
          {"the same with the fields of the system rules",
           makerDevice(kId, L"System"),
           with(packageOf(L"SYSTEM"),
                [](DriverPackage& p) {
                  p.HardwareIds = {L"NONE"};
                  p.DeviceDesc = L"another";
                }),
           {listed}},
      },
      [this](const auto& packages) { return match(packages); });
}

TEST_F(DriverMatching, DescriptionRows) {
  const auto described = [](const std::wstring& text) {
    return with(packageOf(L"system"), [&text](DriverPackage& p) { p.DeviceDesc = text; });
  };
  const PlantedDevice device =
      with(makerDevice(kId, L"System"), [](PlantedDevice& d) { d.description = L"ORV Link Controller"; });
  const std::string listed = "description PCI\\VEN_7A11&DEV_0001\\1";
  expectRows(
      {
          {"whole", device, described(L"ORV Link Controller"), {listed}},
          {"a part", device, described(L"Link"), {listed}},
          {"in another case", device, described(L"link"), {}},
          {"another text", device, described(L"ORV Link Controller 2"), {}},
          {"the siblings are not looked at",
           device,
           with(described(L"Link"),
                [](DriverPackage& p) {
                  p.SibblingClassName = L"net";
                  p.SibblingCompatibleId = L"X";
                }),
           {listed}},
          {"no device description",
           with(device, [](PlantedDevice& d) { d.description = L""; }),
           described(L"Link"),
           {}},
      },
      [this](const auto& packages) { return match(packages); });
}

TEST_F(DriverMatching, SiblingRows) {
  struct SiblingRow {
    const char* name;
    const wchar_t* siblingClass;
    std::vector<std::wstring> compatibleIds;         // the device's own
    std::vector<std::wstring> siblingCompatibleIds;  // must not matter
    const wchar_t* wantedClass;
    const wchar_t* wantedId;
    bool listed;
  };
  const SiblingRow rows[] = {
      {"both fit", L"HDC", {L"PCI\\CC_0601"}, {}, L"hdc", L"CC_0601", true},
      {"the class as a part", L"HDC", {L"PCI\\CC_0601"}, {}, L"dc", L"CC_0601", true},
      {"the wanted class has capitals", L"HDC", {L"PCI\\CC_0601"}, {}, L"HDC", L"CC_0601", false},
      {"another class", L"Net", {L"PCI\\CC_0601"}, {}, L"hdc", L"CC_0601", false},
      {"the second compatible id", L"HDC", {L"PCI\\A", L"PCI\\CC_0601"}, {}, L"hdc", L"CC_0601", true},
      {"id in another case", L"HDC", {L"PCI\\CC_0601"}, {}, L"hdc", L"cc_0601", false},
      {"only the sibling has the id", L"HDC", {L"PCI\\A"}, {L"PCI\\CC_0601"}, L"hdc", L"CC_0601", false},
      {"no compatible ids", L"HDC", {}, {L"PCI\\CC_0601"}, L"hdc", L"CC_0601", false},
      {"both ids fit and it is listed once",
       L"HDC",
       {L"PCI\\CC_0601&A", L"PCI\\CC_0601"},
       {},
       L"hdc",
       L"CC_0601",
       true},
      {"only the class is wanted", L"HDC", {L"PCI\\CC_0601"}, {}, L"hdc", L"", false},
      {"only the id is wanted", L"HDC", {L"PCI\\CC_0601"}, {}, L"", L"CC_0601", false},
      {"nothing is wanted", L"HDC", {L"PCI\\CC_0601"}, {}, L"", L"", false},
  };
  for (const SiblingRow& row : rows) {
    forgetDevices();
    PlantedDevice parent = makerDevice(kParent, L"USB");
    plantDevice(parent);
    PlantedDevice device = makerDevice(kId, L"System");
    device.parent = kParent;
    device.compatibleIds = row.compatibleIds;
    plantDevice(device);
    PlantedDevice sibling = makerDevice(L"PCI\\VEN_1234&DEV_0002\\1", row.siblingClass);
    sibling.parent = kParent;
    sibling.compatibleIds = row.siblingCompatibleIds;
    plantDevice(sibling);
    DriverPackage package = packageOf(L"system");
    package.SibblingClassName = row.wantedClass;
    package.SibblingCompatibleId = row.wantedId;
    EXPECT_EQ(match({package}), row.listed ? Lines{"siblings PCI\\VEN_7A11&DEV_0001\\1"} : Lines()) << row.name;
    EXPECT_TRUE(deviceExists(sibling.id)) << row.name;
  }
}

TEST_F(DriverMatching, QualifyingDriverRows) {
  struct NodeRow {
    const char* name;
    std::vector<PlantedDriver> drivers;
    bool listed;
  };
  const auto node = [](const wchar_t* inf, const wchar_t* manufacturer, const wchar_t* provider) {
    PlantedDriver driver = makerDriver(inf);
    driver.manufacturer = manufacturer;
    driver.provider = provider;
    return driver;
  };
  const NodeRow rows[] = {
      {"KTLTech as manufacturer", {node(L"oem1.inf", L"KTLTech", L"Bench")}, true},
      {"Orvane Devices as manufacturer", {node(L"oem1.inf", L"Orvane Devices, Inc.", L"Bench")}, true},
      {"KTL Tech as manufacturer", {node(L"oem1.inf", L"The KTL Tech", L"Bench")}, true},
      {"orv in a longer word", {node(L"oem1.inf", L"Corvus", L"Bench")}, true},
      {"KTLTech as provider", {node(L"oem1.inf", L"Bench", L"KTLTECH")}, true},
      {"Orvane Devices as provider", {node(L"oem1.inf", L"Bench", L"ORVANE DEVICES")}, true},
      {"KTL Tech as provider", {node(L"oem1.inf", L"Bench", L"ktl tech")}, true},
      {"neither", {node(L"oem1.inf", L"Bench", L"KTL")}, false},
      {"the maker's from the system's own INF", {node(L"orv.inf", L"ORV", L"ORV")}, false},
      {"OEM in capitals", {node(L"OEM1.INF", L"ORV", L"ORV")}, false},
      {"both properties in two nodes", {node(L"oem1.inf", L"B", L"B"), node(L"pci.inf", L"ORV", L"ORV")}, false},
      {"the second node", {node(L"pci.inf", L"ORV", L"ORV"), node(L"oem1.inf", L"B", L"ORV")}, true},
      {"no node", {}, false},
  };
  for (const NodeRow& row : rows) {
    forgetDevices();
    PlantedDevice device = makerDevice(kId, L"MEDIA");
    device.drivers = row.drivers;
    plantDevice(device);
    EXPECT_EQ(match({packageOf(L"MEDIA")}), row.listed ? Lines{"class PCI\\VEN_7A11&DEV_0001\\1"} : Lines())
        << row.name;
  }
}
