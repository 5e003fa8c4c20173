// stale_service_keys_test - deleting the service keys of graphics kernel drivers that no device uses.
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"
#include "support/text.h"
#include "system/registry.h"
#include "system/services.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

namespace {

const std::wstring kPci = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum\\PCI";
const std::wstring kServices = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services";
// Below HKEY_LOCAL_MACHINE, as they are opened.
const std::wstring kPciPath = L"SYSTEM\\CurrentControlSet\\Enum\\PCI\\";
const std::wstring kServicesPath = L"SYSTEM\\CurrentControlSet\\Services";
const std::wstring kDevice = L"VEN_7A11&DEV_0001&SUBSYS_00000000&REV_00";

// Calls that are to fail, by the path or the name that they are given; everything else is called through.
std::map<std::wstring, LSTATUS> openFailures;
std::map<std::wstring, LSTATUS> treeFailures;
std::map<std::wstring, LSTATUS> enumerationFailures;
std::map<HKEY, std::wstring> openedKeys;  // what each handle was opened for last
std::map<std::wstring, REGSAM> accesses;  // by the path that was opened

std::string deletingLine(const std::wstring& name) {
  return "DEBUG Deleting service regkey SYSTEM\\CurrentControlSet\\Services\\" + narrow(name);
}

std::wstring driverName(const std::wstring& kind) {
  return L"orv" + kind + L"g";
}

class StaleServiceKeys : public ::testing::Test {
 protected:
  void SetUp() override {
    openFailures.clear();
    treeFailures.clear();
    enumerationFailures.clear();
    openedKeys.clear();
    accesses.clear();
    removeKey(kPci);
    plantKey(kPci);
  }
  void TearDown() override {
    removeKey(kPci);
    for (const std::wstring& service : services_) {
      removeKey(kServices + L"\\" + service);
    }
  }

  void plantService(const std::wstring& name) {
    services_.push_back(name);
    plantString(kServices + L"\\" + name, L"ImagePath", L"system32\\drivers\\" + name + L".sys");
  }
  static bool serviceExists(const std::wstring& name) { return keyExists(kServices + L"\\" + name); }

  static void plantDevice(const std::wstring& device, const std::wstring& instance, const std::wstring& service,
                          DWORD type = REG_SZ) {
    plantString(kPci + L"\\" + device + L"\\" + instance, L"Service", service, type);
  }

  static void deleteStaleKeys() { DeleteStaleDisplayServiceKeys(PlanStaleDisplayServices(FindDisplayServices())); }

  // The error that leaves the search or the deletion.
  static void expectRaised(DWORD code, const char* text) {
    try {
      deleteStaleKeys();
      FAIL() << "nothing was raised";
    } catch (const RegKeyError& error) {
      EXPECT_EQ(error.code(), std::error_code(static_cast<int>(code), std::system_category()));
      EXPECT_THAT(error.what(), StartsWith(text));
    }
  }

  CapturedLog log;

 private:
  std::vector<std::wstring> services_;
};

}  // namespace

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, const wchar_t* path, DWORD options, REGSAM access, HKEY* key)) {
  if (const auto failure = openFailures.find(path ? path : L""); failure != openFailures.end()) {
    return failure->second;
  }
  const LSTATUS status =
      realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(root, path, options, access, key);
  if (path && status == ERROR_SUCCESS) {
    openedKeys[*key] = path;
    accesses[path] = access;
  }
  return status;
}

LINK_SEAM(LSTATUS, RegDeleteTreeW, (HKEY key, const wchar_t* name)) {
  if (const auto failure = treeFailures.find(name ? name : L""); failure != treeFailures.end()) {
    return failure->second;
  }
  return realFunction<decltype(&::RegDeleteTreeW)>(L"advapi32.dll", "RegDeleteTreeW")(key, name);
}

LINK_SEAM(LSTATUS, RegEnumKeyExW,
          (HKEY key, DWORD index, wchar_t* name, DWORD* length, DWORD* reserved, wchar_t* keyClass, DWORD* classLength,
           FILETIME* written)) {
  if (const auto failure = enumerationFailures.find(openedKeys[key]); failure != enumerationFailures.end()) {
    return failure->second;
  }
  return realFunction<decltype(&::RegEnumKeyExW)>(L"advapi32.dll", "RegEnumKeyExW")(key, index, name, length, reserved,
                                                                                    keyClass, classLength, written);
}

TEST_F(StaleServiceKeys, InUseStaysAndStaleGoes) {
  plantService(driverName(L"kmda"));
  plantService(driverName(L"wdmx"));
  plantKey(kServices + L"\\" + driverName(L"wdmx") + L"\\Parameters\\Deep");
  plantDevice(kDevice, L"4&1", driverName(L"kmda"));
  deleteStaleKeys();
  EXPECT_TRUE(serviceExists(driverName(L"kmda")));
  EXPECT_FALSE(serviceExists(driverName(L"wdmx")));
  EXPECT_THAT(log.lines(), ElementsAre(deletingLine(driverName(L"wdmx"))));
}

TEST_F(StaleServiceKeys, OnlyNamesOfGraphicsKernelDriversGo) {
  const wchar_t* const others[] = {L"orvpcifd",  L"orvkmdagx", L"xorvkmdag", L"orvkmdg",
                                   L"orvkmdaag", L"orvkmdah",  L"orvg",      L"orv kmdag"};
  for (const wchar_t* name : others) {
    plantService(name);
  }
  plantService(L"orv-1_.g");
  deleteStaleKeys();
  for (const wchar_t* name : others) {
    EXPECT_TRUE(serviceExists(name)) << narrow(name);
  }
  EXPECT_FALSE(serviceExists(L"orv-1_.g"));
  EXPECT_THAT(log.lines(), ElementsAre(deletingLine(L"orv-1_.g")));
}

TEST_F(StaleServiceKeys, UpperCaseKeyIsDeletedUnderItsOwnName) {
  plantService(L"ORVWDMXG");
  deleteStaleKeys();
  EXPECT_FALSE(serviceExists(L"ORVWDMXG"));
  EXPECT_THAT(log.lines(), ElementsAre(deletingLine(L"ORVWDMXG")));
}

TEST_F(StaleServiceKeys, UseIsComparedInLowerCase) {
  plantService(L"ORVKMDAG");
  plantService(L"orvwdmxg");
  plantDevice(kDevice, L"4&1", L"OrvKmDaG");
  plantDevice(kDevice, L"4&2", L"ORVWDMXG");
  deleteStaleKeys();
  EXPECT_TRUE(serviceExists(L"ORVKMDAG"));
  EXPECT_TRUE(serviceExists(L"orvwdmxg"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(StaleServiceKeys, InstancesWithoutAReadableServiceDoNotStopTheWalk) {
  plantService(L"orvkmdag");
  plantService(L"orvwdmxg");
  plantKey(kPci + L"\\" + kDevice + L"\\1-no-value");
  plantDevice(kDevice, L"2-too-long", std::wstring(130, L'x'));
  plantDevice(kDevice, L"3-list", L"orvwdmxg", REG_MULTI_SZ);
  plantDword(kPci + L"\\" + kDevice + L"\\4-number", L"Service", 1);
  plantDevice(kDevice, L"5-other", L"HDAudBus");
  plantDevice(kDevice, L"6-empty", L"");
  plantDevice(kDevice, L"7-good", L"orvkmdag");
  deleteStaleKeys();
  EXPECT_TRUE(serviceExists(L"orvkmdag"));
  EXPECT_FALSE(serviceExists(L"orvwdmxg")) << "a list names no service";
  EXPECT_THAT(log.lines(), ElementsAre(deletingLine(L"orvwdmxg")));
}

TEST_F(StaleServiceKeys, ServiceOfAnInstanceIsReadFromTheInstanceItself) {
  plantService(L"orvwdmxg");
  plantString(kPci + L"\\" + kDevice, L"Service", L"orvwdmxg");
  plantString(kPci + L"\\" + kDevice + L"\\4&1\\Control", L"Service", L"orvwdmxg");
  deleteStaleKeys();
  EXPECT_FALSE(serviceExists(L"orvwdmxg"));
}

TEST_F(StaleServiceKeys, EveryDeviceAndEveryInstanceOfTheVendorCounts) {
  for (const wchar_t* name : {L"orvaaaag", L"orvbbbbg", L"orvccccg", L"orvddddg"}) {
    plantService(name);
  }
  plantDevice(L"VEN_7A11&DEV_0001", L"4&1", L"orvaaaag");
  plantDevice(L"VEN_7A11&DEV_0001", L"4&2", L"orvbbbbg");
  plantDevice(L"VEN_7A11&DEV_0001", L"4&3", L"orvbbbbg");
  plantDevice(L"VEN_7A11", L"4&1", L"orvccccg");
  deleteStaleKeys();
  EXPECT_TRUE(serviceExists(L"orvaaaag"));
  EXPECT_TRUE(serviceExists(L"orvbbbbg"));
  EXPECT_TRUE(serviceExists(L"orvccccg"));
  EXPECT_FALSE(serviceExists(L"orvddddg"));
}

TEST_F(StaleServiceKeys, DevicesOfOthersDoNotCount) {
  plantService(L"orvkmdag");
  plantDevice(L"VEN_1234&DEV_7A11", L"4&1", L"orvkmdag");
  plantDevice(L"ven_7a11&DEV_0001", L"4&1", L"orvkmdag");
  plantDevice(L"XVEN_7A11&DEV_0001", L"4&1", L"orvkmdag");
  plantDevice(L"VEN_7A1", L"4&1", L"orvkmdag");
  deleteStaleKeys();
  EXPECT_FALSE(serviceExists(L"orvkmdag"));
}

TEST_F(StaleServiceKeys, WithoutADeviceOfTheVendorEveryFittingKeyGoes) {
  plantService(L"orvkmdag");
  plantService(L"orvwdmxg");
  plantService(L"orvpcifd");
  deleteStaleKeys();
  EXPECT_FALSE(serviceExists(L"orvkmdag"));
  EXPECT_FALSE(serviceExists(L"orvwdmxg"));
  EXPECT_TRUE(serviceExists(L"orvpcifd"));
  EXPECT_THAT(log.lines(), UnorderedElementsAre(deletingLine(L"orvkmdag"), deletingLine(L"orvwdmxg")));
}

TEST_F(StaleServiceKeys, ManyStaleKeysAllGo) {
  for (int number = 1000; number < 1100; ++number) {
    plantService(driverName(std::to_wstring(number)));
  }
  deleteStaleKeys();
  for (int number = 1000; number < 1100; ++number) {
    EXPECT_FALSE(serviceExists(driverName(std::to_wstring(number)))) << number;
  }
}

TEST_F(StaleServiceKeys, FailedDeletionIsNotLookedAt) {
  plantService(L"orvkmdag");
  plantService(L"orvwdmxg");
  treeFailures = {{L"orvkmdag", ERROR_ACCESS_DENIED}};
  deleteStaleKeys();
  EXPECT_TRUE(serviceExists(L"orvkmdag"));
  EXPECT_FALSE(serviceExists(L"orvwdmxg"));
  EXPECT_THAT(log.lines(), UnorderedElementsAre(deletingLine(L"orvkmdag"), deletingLine(L"orvwdmxg")));
}

TEST_F(StaleServiceKeys, MissingDeviceTreeIsRaised) {
  plantService(L"orvkmdag");
  removeKey(kPci);
  expectRaised(ERROR_FILE_NOT_FOUND, "Unable to open registry key");
  EXPECT_TRUE(serviceExists(L"orvkmdag"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(StaleServiceKeys, DeviceKeyThatDoesNotOpenIsRaised) {
  plantService(L"orvkmdag");
  plantDevice(kDevice, L"4&1", L"orvwdmxg");
  openFailures = {{L"SYSTEM\\CurrentControlSet\\Enum\\PCI\\" + kDevice, ERROR_ACCESS_DENIED}};
  expectRaised(ERROR_ACCESS_DENIED, "Unable to open registry key");
  EXPECT_TRUE(serviceExists(L"orvkmdag"));
}

TEST_F(StaleServiceKeys, ServicesKeyThatDoesNotOpenIsRaised) {
  plantService(L"orvkmdag");
  openFailures = {{L"SYSTEM\\CurrentControlSet\\Services", ERROR_ACCESS_DENIED}};
  expectRaised(ERROR_ACCESS_DENIED, "Unable to open registry key");
  EXPECT_TRUE(serviceExists(L"orvkmdag"));
}

TEST_F(StaleServiceKeys, FailedEnumerationIsRaised) {
  plantService(L"orvkmdag");
  plantDevice(kDevice, L"4&1", L"orvwdmxg");
  for (const std::wstring& path : {kPciPath, kPciPath + kDevice, kServicesPath}) {
    SCOPED_TRACE(narrow(path));
    enumerationFailures = {{path, ERROR_NO_SYSTEM_RESOURCES}};
    expectRaised(ERROR_NO_SYSTEM_RESOURCES, "Unable to get enumerate subkeys");
    EXPECT_TRUE(serviceExists(L"orvkmdag"));
  }
}

TEST_F(StaleServiceKeys, EveryKeyIsOpenedForReadingAlone) {
  plantDevice(kDevice, L"4&1", L"orvwdmxg");
  accesses.clear();
  deleteStaleKeys();
  const std::map<std::wstring, REGSAM> expected = {
      {kPciPath, KEY_READ}, {kPciPath + kDevice, KEY_READ}, {kServicesPath, KEY_READ}};
  EXPECT_EQ(accesses, expected);
}
