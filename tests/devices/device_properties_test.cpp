// device_properties_test - how one property, the driver nodes and the status of a device are read.
#include "devices/setup.h"

#include <functional>
#include <optional>

#include "devices/device_fixture.h"
#include "support/link_seam.h"

#include <cfgmgr32.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::wstring kId = L"PCI\\VEN_7A11&DEV_0001\\1";

// What SetupDiGetDeviceRegistryPropertyW answers while it is set.
struct Answer {
  DWORD firstError = ERROR_INSUFFICIENT_BUFFER;  // of the call without a buffer
  DWORD secondError = ERROR_SUCCESS;
  DWORD type = REG_SZ;
  std::vector<BYTE> bytes;
};
std::optional<Answer> answer;
std::vector<DWORD> bufferSizes;  // one for each call

// The call for a driver's details that is to fail, counted from 1; 0 for none.
int failingDetailCall = 0;
int detailCalls = 0;

std::vector<BYTE> bytesOf(const std::wstring& text) {
  const auto* begin = reinterpret_cast<const BYTE*>(text.data());
  return {begin, begin + text.size() * sizeof(wchar_t)};
}

class DeviceProperties : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    answer.reset();
    bufferSizes.clear();
    failingDetailCall = 0;
    detailCalls = 0;
  }

  std::wstring readString() { return setup.ReadStringProperty(data, SPDRP_DEVICEDESC); }
  std::vector<std::wstring> readTexts() { return setup.ReadMultiStringProperty(data, SPDRP_HARDWAREID); }
  std::uint32_t readNumber() { return setup.ReadDwordProperty(data, SPDRP_CAPABILITIES); }

  ::Setup setup;
  SP_DEVINFO_DATA data = {sizeof(SP_DEVINFO_DATA), {}, 0, 0};
};

class DriverNodes : public DeviceProperties {
 protected:
  // A device with the drivers, its record in a set of its own, and the set's data of it.
  DeviceRecord& record(const std::vector<PlantedDriver>& drivers) {
    PlantedDevice device = makerDevice(kId, L"MEDIA");
    device.drivers = drivers;
    data.DevInst = plantDevice(device);
    opened = std::make_unique<::Setup>();
    const std::vector<DeviceRecord*> found = opened->FindDevices(L"MEDIA", false, L"", L"");
    EXPECT_EQ(found.size(), 1u);
    detailCalls = 0;
    return *found.at(0);
  }

  std::unique_ptr<::Setup> opened;
};

}  // namespace

LINK_SEAM(BOOL, SetupDiGetDeviceRegistryPropertyW,
          (HDEVINFO set, PSP_DEVINFO_DATA data, DWORD property, PDWORD type, PBYTE buffer, DWORD size,
           PDWORD required)) {
  if (!answer) {
    return realFunction<decltype(&::SetupDiGetDeviceRegistryPropertyW)>(
        L"setupapi.dll", "SetupDiGetDeviceRegistryPropertyW")(set, data, property, type, buffer, size, required);
  }
  bufferSizes.push_back(size);
  const bool first = bufferSizes.size() == 1;
  if (type) {
    *type = answer->type;
  }
  if (required) {
    *required = static_cast<DWORD>(answer->bytes.size());
  }
  if (!first && answer->secondError == ERROR_SUCCESS) {
    std::copy_n(answer->bytes.begin(), std::min<std::size_t>(size, answer->bytes.size()), buffer);
  }
  ::SetLastError(first ? answer->firstError : answer->secondError);
  return ::GetLastError() == ERROR_SUCCESS;
}

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

TEST_F(DeviceProperties, TextIsReadWithASecondCallOfTheReportedSize) {
  answer = Answer{.bytes = bytesOf(std::wstring(L"Sound\0", 6))};
  EXPECT_EQ(readString(), L"Sound");
  EXPECT_THAT(bufferSizes, ElementsAre(0u, 12u));
}

TEST_F(DeviceProperties, AbsentPropertyIsNotAskedForTwice) {
  for (const DWORD error : {static_cast<DWORD>(ERROR_INVALID_DATA), static_cast<DWORD>(ERROR_NO_SUCH_DEVINST)}) {
    answer = Answer{.firstError = error, .bytes = bytesOf(std::wstring(L"x\0\0", 3))};
    bufferSizes.clear();
    EXPECT_EQ(readString(), L"");
    EXPECT_THAT(bufferSizes, ElementsAre(0u));
    answer->type = REG_MULTI_SZ;
    bufferSizes.clear();
    EXPECT_THAT(readTexts(), IsEmpty());
    EXPECT_THAT(bufferSizes, ElementsAre(0u));
    bufferSizes.clear();
    EXPECT_EQ(readNumber(), 0u);
    EXPECT_THAT(bufferSizes, ElementsAre(0u));
  }
}

TEST_F(DeviceProperties, AnotherFailureOfTheFirstCallGoesOnWithTheBufferThereIs) {
  answer = Answer{.firstError = ERROR_ACCESS_DENIED, .bytes = bytesOf(std::wstring(L"x\0\0", 3))};
  EXPECT_EQ(readString(), L"");
  EXPECT_THAT(bufferSizes, ElementsAre(0u, 0u));
  answer->type = REG_MULTI_SZ;
  bufferSizes.clear();
  EXPECT_THAT(readTexts(), IsEmpty());
  EXPECT_THAT(bufferSizes, ElementsAre(0u, 0u));
  bufferSizes.clear();
  EXPECT_EQ(readNumber(), 0u);
  EXPECT_THAT(bufferSizes, ElementsAre(0u, 0u));
}

TEST_F(DeviceProperties, FailureOfTheSecondCallGivesNothing) {
  answer = Answer{.secondError = ERROR_GEN_FAILURE, .bytes = bytesOf(std::wstring(L"x\0\0", 3))};
  EXPECT_EQ(readString(), L"");
  answer->type = REG_MULTI_SZ;
  bufferSizes.clear();
  EXPECT_THAT(readTexts(), IsEmpty());
  bufferSizes.clear();
  EXPECT_EQ(readNumber(), 0u);
}

TEST_F(DeviceProperties, TextMustBeOfTypeSz) {
  for (const DWORD type : {REG_NONE, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_MULTI_SZ}) {
    answer = Answer{.type = type, .bytes = bytesOf(std::wstring(L"Sound\0", 6))};
    bufferSizes.clear();
    EXPECT_EQ(readString(), L"") << type;
  }
}

TEST_F(DeviceProperties, ListMustBeOfTypeMultiSz) {
  for (const DWORD type : {REG_NONE, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_SZ}) {
    answer = Answer{.type = type, .bytes = bytesOf(std::wstring(L"one\0two\0\0", 9))};
    bufferSizes.clear();
    EXPECT_THAT(readTexts(), IsEmpty()) << type;
  }
}

TEST_F(DeviceProperties, ListIsSplitAtEachEndUntilTheEmptyText) {
  struct Row {
    std::wstring value;
    std::vector<std::wstring> texts;
  };
  const Row rows[] = {
      {std::wstring(L"one\0two\0three\0\0", 15), {L"one", L"two", L"three"}},
      {std::wstring(L"b\0a\0b\0\0", 7), {L"b", L"a", L"b"}},
      {std::wstring(L"one\0\0two\0\0", 10), {L"one"}},
      {std::wstring(L"\0one\0\0", 6), {}},
      {std::wstring(L"\0", 1), {}},
      {std::wstring(L"one\0", 4), {L"one"}},
      {std::wstring(L"one", 3), {L"one"}},  // without any end
      {L"", {}},
  };
  for (const Row& row : rows) {
    answer = Answer{.type = REG_MULTI_SZ, .bytes = bytesOf(row.value)};
    bufferSizes.clear();
    EXPECT_EQ(readTexts(), row.texts) << row.value.size() << " characters";
  }
}

TEST_F(DeviceProperties, HalfACharacterAtTheEndIsRead) {
  answer = Answer{.type = REG_MULTI_SZ, .bytes = bytesOf(L"one")};
  answer->bytes.push_back('x');
  EXPECT_EQ(readTexts(), std::vector<std::wstring>{L"onex"});
}

TEST_F(DeviceProperties, TextWithoutItsEndIsReadToTheEndOfTheValue) {
  answer = Answer{.bytes = bytesOf(L"Sound")};
  EXPECT_EQ(readString(), L"Sound");
}

TEST_F(DeviceProperties, NumberIsTheFirstByteOfAnyType) {
  struct Row {
    DWORD type;
    std::vector<BYTE> bytes;
    std::uint32_t number;
  };
  const Row rows[] = {
      {REG_DWORD, {0x84, 0, 0, 0}, 0x84}, {REG_DWORD, {0x20, 0x01, 0, 0}, 0x20}, {REG_DWORD, {0, 0x01, 0, 0}, 0},
      {REG_BINARY, {0xFF}, 0xFF},         {REG_SZ, {'7', 0, 0, 0}, '7'},
  };
  for (const Row& row : rows) {
    answer = Answer{.type = row.type, .bytes = row.bytes};
    bufferSizes.clear();
    EXPECT_EQ(readNumber(), row.number) << row.type;
  }
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
  opened->GetDriverDetails(data, device);
  EXPECT_EQ(device.drivers.size(), 2u);
}

TEST_F(DriverNodes, AreReadWhereTheParametersCannotBeRead) {
  DeviceRecord& device = record({makerDriver(L"oem1.inf")});
  failDeviceCall(kId, L"SetupDiGetDeviceInstallParamsW", ERROR_GEN_FAILURE);
  PlantedDriver selectable = makerDriver(L"oem2.inf");
  selectable.excluded = false;
  plantDriverNode(kId, selectable);
  const CapturedLog log;
  opened->GetDriverDetails(data, device);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(device.drivers.size(), 2u) << "the request of the first reading holds";
}

TEST_F(DriverNodes, StayWhenTheListCannotBeBuilt) {
  DeviceRecord& device = record({makerDriver(L"oem1.inf")});
  failDeviceCall(kId, L"SetupDiBuildDriverInfoList", ERROR_GEN_FAILURE);
  const CapturedLog log;
  opened->GetDriverDetails(data, device);
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
    opened->GetDriverDetails(data, device);
    EXPECT_EQ(device.drivers.size(), row.nodes) << "call " << row.failingCall;
    EXPECT_THAT(log.lines(), IsEmpty());
  }
}

TEST_F(DriverNodes, NodeThatCannotBeEnumeratedEndsTheWalkWithItsDetails) {
  DeviceRecord& device = record({makerDriver(L"oem1.inf")});
  failDeviceCall(kId, L"SetupDiEnumDriverInfoW", ERROR_GEN_FAILURE);
  opened->GetDriverDetails(data, device);
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

TEST_F(DriverNodes, StatusRows) {
  struct Row {
    DWORD status;
    DWORD problem;
    DWORD expectedProblem;
  };
  const Row rows[] = {
      {DN_STARTED, 0, 0},
      {DN_STARTED | DN_HAS_PROBLEM, CM_PROB_DISABLED, CM_PROB_DISABLED},
      {DN_STARTED, CM_PROB_DISABLED, 0},  // a code without the bit does not count
  };
  for (const Row& row : rows) {
    PlantedDevice device = makerDevice(kId, L"MEDIA");
    device.status = row.status;
    device.problem = row.problem;
    DeviceRecord record;
    record.devInst = plantDevice(device);
    record.status = record.problemCode = 99;
    setup.UpdateDeviceStatus(record);
    EXPECT_EQ(record.status, row.status);
    EXPECT_EQ(record.problemCode, row.expectedProblem);
    EXPECT_EQ(record.getDeviceId(), kId);
  }
}

TEST_F(DriverNodes, StatusOfADeviceThatIsGoneIsNothing) {
  DeviceRecord record;
  record.devInst = 7777;
  record.status = record.problemCode = 99;
  record.deviceId = kId;
  const CapturedLog log;
  setup.UpdateDeviceStatus(record);
  EXPECT_EQ(record.status, 0u);
  EXPECT_EQ(record.problemCode, 0u);
  EXPECT_EQ(record.deviceId, L"") << "read anew";
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DriverNodes, StatusThatCannotBeReadIsLoggedAndStays) {
  DeviceRecord record;
  record.devInst = plantDevice(makerDevice(kId, L"MEDIA"));
  record.description = L"ORV Sound";
  record.status = record.problemCode = 99;
  failDeviceCall(kId, L"CM_Get_DevNode_Status", CR_FAILURE);
  const CapturedLog log;
  setup.UpdateDeviceStatus(record);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR Setup::UpdateDeviceStatus- GettingDevice status failed for: ORV Sound"));
  EXPECT_EQ(record.status, 99u);
  EXPECT_EQ(record.problemCode, 99u);
}

TEST_F(DriverNodes, RecordWithoutADeviceHasNoStatus) {
  DeviceRecord record;
  record.deviceId = kId;
  record.status = record.problemCode = 99;
  const CapturedLog log;
  setup.UpdateDeviceStatus(record);
  EXPECT_EQ(record.deviceId, kId);
  EXPECT_EQ(record.status, 99u);
  EXPECT_EQ(record.problemCode, 99u);
  EXPECT_THAT(log.lines(), IsEmpty());
}
