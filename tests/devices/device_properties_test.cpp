// device_properties_test - how one property and the status of a device are read.
#include "devices/device_properties.h"

#include <functional>
#include <optional>

#include "devices/device_fixture.h"
#include "support/link_seam.h"

#include <cfgmgr32.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::wstring kId = L"PCI\\VEN_7A11&DEV_0001\\1";

// While set, the result of SetupDiGetDeviceRegistryPropertyW.
struct Answer {
  DWORD firstError = ERROR_INSUFFICIENT_BUFFER;  // of the call without a buffer
  DWORD secondError = ERROR_SUCCESS;
  DWORD type = REG_SZ;
  std::vector<BYTE> bytes;
};
std::optional<Answer> answer;
std::vector<DWORD> bufferSizes;  // one for each call

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
  }

  std::wstring readString() { return ReadStringProperty(element, SPDRP_DEVICEDESC); }
  std::vector<std::wstring> readTexts() { return ReadMultiStringProperty(element, SPDRP_HARDWAREID); }
  std::uint32_t readNumber() { return ReadDwordProperty(element, SPDRP_CAPABILITIES); }

  DeviceElement element = {INVALID_HANDLE_VALUE, sizedStructure<SP_DEVINFO_DATA>()};
};

using DeviceStatus = DeviceTest;

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
      {std::wstring(L"one", 3), {L"one"}},  // without a terminator
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

TEST_F(DeviceStatus, Rows) {
  struct Row {
    DWORD status;
    DWORD problem;
    DWORD expectedProblem;
  };
  const Row rows[] = {
      {DN_STARTED, 0, 0},
      {DN_STARTED | DN_HAS_PROBLEM, CM_PROB_DISABLED, CM_PROB_DISABLED},
      {DN_STARTED, CM_PROB_DISABLED, 0},  // a problem code without DN_HAS_PROBLEM is ignored
  };
  for (const Row& row : rows) {
    PlantedDevice device = makerDevice(kId, L"MEDIA");
    device.status = row.status;
    device.problem = row.problem;
    DeviceRecord record;
    record.devInst = plantDevice(device);
    record.status = record.problemCode = 99;
    UpdateDeviceStatus(record);
    EXPECT_EQ(record.status, row.status);
    EXPECT_EQ(record.problemCode, row.expectedProblem);
    EXPECT_EQ(record.getDeviceId(), kId);
  }
}

TEST_F(DeviceStatus, OfADeviceThatIsGoneIsNothing) {
  DeviceRecord record;
  record.devInst = 7777;
  record.status = record.problemCode = 99;
  record.deviceId = kId;
  const CapturedLog log;
  UpdateDeviceStatus(record);
  EXPECT_EQ(record.status, 0u);
  EXPECT_EQ(record.problemCode, 0u);
  EXPECT_EQ(record.deviceId, L"") << "read anew";
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DeviceStatus, ThatCannotBeReadIsLoggedAndStays) {
  DeviceRecord record;
  record.devInst = plantDevice(makerDevice(kId, L"MEDIA"));
  record.description = L"ORV Sound";
  record.status = record.problemCode = 99;
  failDeviceCall(kId, L"CM_Get_DevNode_Status", CR_FAILURE);
  const CapturedLog log;
  UpdateDeviceStatus(record);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR Setup::UpdateDeviceStatus- GettingDevice status failed for: ORV Sound"));
  EXPECT_EQ(record.status, 99u);
  EXPECT_EQ(record.problemCode, 99u);
}

TEST_F(DeviceStatus, RecordWithoutADeviceHasNoStatus) {
  DeviceRecord record;
  record.deviceId = kId;
  record.status = record.problemCode = 99;
  const CapturedLog log;
  UpdateDeviceStatus(record);
  EXPECT_EQ(record.deviceId, kId);
  EXPECT_EQ(record.status, 99u);
  EXPECT_EQ(record.problemCode, 99u);
  EXPECT_THAT(log.lines(), IsEmpty());
}
