#include "system/registry.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

DWORD failingIndex = MAXDWORD;
const wchar_t* systemDirectory = nullptr;

}  // namespace

LINK_SEAM(LSTATUS, RegEnumKeyExW,
          (HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPWSTR className, LPDWORD classLength,
           PFILETIME time)) {
  return index == failingIndex ? ERROR_NOACCESS
                               : realFunction<decltype(&::RegEnumKeyExW)>(L"advapi32.dll", "RegEnumKeyExW")(
                                     key, index, name, length, reserved, className, classLength, time);
}

LINK_SEAM(UINT, GetSystemDirectoryW, (LPWSTR buffer, UINT size)) {
  if (!systemDirectory) {
    return realFunction<decltype(&::GetSystemDirectoryW)>(L"kernel32.dll", "GetSystemDirectoryW")(buffer, size);
  }
  return static_cast<UINT>(std::wstring(systemDirectory).copy(buffer, size));
}

namespace {

const std::wstring kSubkey = L"SOFTWARE\\RegistryTest";
const std::wstring kKey = L"HKEY_LOCAL_MACHINE\\" + kSubkey;
const std::wstring kProductKey = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\SystemInformation";

class RegistryCalls : public testing::Test {
 protected:
  RegistryCalls() { plantKey(kKey); }
  ~RegistryCalls() override {
    failingIndex = MAXDWORD;
    removeKey(kKey);
  }

  static RegistryKey open(REGSAM access = KEY_READ) { return OpenRegistryKey(HKEY_LOCAL_MACHINE, kSubkey, access); }
};

// Runs `call`, which must raise a RegKeyError with this status in the system's category and this text in front.
template <class Call>
void expectRegKeyError(Call call, LSTATUS status, const std::string& text) {
  try {
    call();
    ADD_FAILURE() << "nothing was raised";
  } catch (const RegKeyError& error) {
    EXPECT_EQ(error.code(), std::error_code(static_cast<int>(status), std::system_category()));
    EXPECT_THAT(error.what(), StartsWith(text + ": "));
  }
}

}  // namespace

TEST(ParseRootKey, KnowsTheFiveRootsByTheirFullNames) {
  EXPECT_EQ(ParseRootKey(L"HKEY_CLASSES_ROOT"), HKEY_CLASSES_ROOT);
  EXPECT_EQ(ParseRootKey(L"HKEY_CURRENT_USER"), HKEY_CURRENT_USER);
  EXPECT_EQ(ParseRootKey(L"HKEY_LOCAL_MACHINE"), HKEY_LOCAL_MACHINE);
  EXPECT_EQ(ParseRootKey(L"HKEY_USERS"), HKEY_USERS);
  EXPECT_EQ(ParseRootKey(L"HKEY_CURRENT_CONFIG"), HKEY_CURRENT_CONFIG);
}

TEST(ParseRootKey, GivesNullForEverythingElse) {
  for (const wchar_t* name :
       {L"", L"HKLM", L"HKCU", L"hkey_local_machine", L"Hkey_Local_Machine", L"HKEY_LOCAL_MACHINE\\",
        L"HKEY_LOCAL_MACHINE ", L" HKEY_LOCAL_MACHINE", L"HKEY_LOCAL_MACHINE\\SOFTWARE", L"HKEY_LOCAL_MACHIN",
        L"HKEY_PERFORMANCE_DATA", L"HKEY_DYN_DATA"}) {
    EXPECT_EQ(ParseRootKey(name), nullptr) << testing::PrintToString(name);
  }
}

TEST(RootKeyName, IsTheWayBackFromEachRoot) {
  for (const wchar_t* name :
       {L"HKEY_CLASSES_ROOT", L"HKEY_CURRENT_USER", L"HKEY_LOCAL_MACHINE", L"HKEY_USERS", L"HKEY_CURRENT_CONFIG"}) {
    EXPECT_EQ(RootKeyName(ParseRootKey(name)), name);
  }
}

TEST(RootKeyName, IsEmptyForEveryOtherHandle) {
  EXPECT_EQ(RootKeyName(nullptr), L"");
  EXPECT_EQ(RootKeyName(HKEY_PERFORMANCE_DATA), L"");
}

TEST(SplitRegistryPath, CutsAtTheFirstBackslash) {
  const struct {
    const wchar_t *path, *root, *subkey;
  } rows[] = {
      {L"HKEY_USERS\\a\\b", L"HKEY_USERS", L"a\\b"},
      {L"HKEY_USERS\\a\\", L"HKEY_USERS", L"a\\"},
      {L"HKEY_USERS\\", L"HKEY_USERS", L""},
      {L"HKEY_USERS\\\\a", L"HKEY_USERS", L"\\a"},
      {L"\\a", L"", L"a"},
      {L"HKEY_USERS", L"HKEY_USERS", L"HKEY_USERS"},
      {L"a/b", L"a/b", L"a/b"},
      {L"", L"", L""},
  };
  for (const auto& row : rows) {
    EXPECT_THAT(splitRegistryPath(row.path), testing::Pair(row.root, row.subkey)) << testing::PrintToString(row.path);
  }
}

using OpenRegistryKeyTest = RegistryCalls;

TEST_F(OpenRegistryKeyTest, OpensAKeyByEitherFormOfText) {
  plantDword(kKey, L"number", 7);
  for (const RegistryKey& key : {OpenRegistryKey(HKEY_LOCAL_MACHINE, kSubkey, KEY_READ),
                                 OpenRegistryKey(HKEY_LOCAL_MACHINE, kSubkey.c_str(), KEY_READ)}) {
    EXPECT_EQ(::RegQueryValueExW(key.get(), L"number", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  }
}

TEST_F(OpenRegistryKeyTest, OpensWithTheAccessThatIsAskedFor) {
  EXPECT_EQ(::RegSetValueExW(open(KEY_READ).get(), L"name", 0, REG_SZ, nullptr, 0), ERROR_ACCESS_DENIED);
  EXPECT_EQ(::RegSetValueExW(open(KEY_READ | KEY_SET_VALUE).get(), L"name", 0, REG_SZ, nullptr, 0), ERROR_SUCCESS);
}

TEST_F(OpenRegistryKeyTest, ClosesTheKeyAtTheEndOfItsScope) {
  HKEY handle = nullptr;
  {
    const RegistryKey key = open();
    handle = key.get();
  }
  EXPECT_EQ(::RegQueryInfoKeyW(handle, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr),
            ERROR_INVALID_HANDLE);
}

TEST_F(OpenRegistryKeyTest, RaisesTheStatusOfAMissingKeyByEitherFormOfText) {
  const std::wstring missing = kSubkey + L"\\missing";
  expectRegKeyError([&] { OpenRegistryKey(HKEY_LOCAL_MACHINE, missing, KEY_READ); }, ERROR_FILE_NOT_FOUND,
                    "Unable to open registry key");
  expectRegKeyError([&] { OpenRegistryKey(HKEY_LOCAL_MACHINE, missing.c_str(), KEY_READ); }, ERROR_FILE_NOT_FOUND,
                    "Unable to open registry key");
}

TEST_F(OpenRegistryKeyTest, RaisesTheStatusOfAnUnknownRoot) {
  expectRegKeyError([] { OpenRegistryKey(nullptr, kSubkey, KEY_READ); }, ERROR_INVALID_HANDLE,
                    "Unable to open registry key");
}

TEST_F(OpenRegistryKeyTest, RaisesWhatACallerCanCatchAsASystemError) {
  EXPECT_THROW(OpenRegistryKey(HKEY_LOCAL_MACHINE, kSubkey + L"\\missing", KEY_READ), std::system_error);
}

using GetRegistryStringTest = RegistryCalls;

TEST_F(GetRegistryStringTest, ReadsAValueOfTheKeyOrOfASubkey) {
  plantString(kKey, L"name", L"text");
  plantString(kKey + L"\\sub", L"name", L"below");
  EXPECT_EQ(GetRegistryString(open().get(), nullptr, L"name"), L"text");
  EXPECT_EQ(GetRegistryString(open().get(), L"sub", L"name"), L"below");
  EXPECT_EQ(GetRegistryString(HKEY_LOCAL_MACHINE, kSubkey.c_str(), L"name"), L"text");
}

TEST_F(GetRegistryStringTest, ReadsTheDefaultValueAndAnEmptyText) {
  plantString(kKey, L"", L"default");
  plantString(kKey, L"empty", L"");
  EXPECT_EQ(GetRegistryString(open().get(), nullptr, L""), L"default");
  EXPECT_EQ(GetRegistryString(open().get(), nullptr, nullptr), L"default");
  EXPECT_EQ(GetRegistryString(open().get(), nullptr, L"empty"), L"");
}

TEST_F(GetRegistryStringTest, Reads129Characters) {
  const std::wstring text(129, L'\u00e4');
  plantString(kKey, L"name", text);
  EXPECT_EQ(GetRegistryString(open().get(), nullptr, L"name"), text);
}

TEST_F(GetRegistryStringTest, CannotRead130Characters) {
  plantString(kKey, L"name", std::wstring(130, L'x'));
  expectRegKeyError([] { GetRegistryString(open().get(), nullptr, L"name"); }, ERROR_MORE_DATA,
                    "Unable to get registry value");
}

TEST_F(GetRegistryStringTest, EndsAtTheFirstZero) {
  plantString(kKey, L"name", std::wstring(L"ab\0cd", 5));
  EXPECT_EQ(GetRegistryString(open().get(), nullptr, L"name"), L"ab");
}

TEST_F(GetRegistryStringTest, ReadsATextThatWasStoredWithoutATerminator) {
  plantBinary(kKey, L"name", REG_SZ, {'a', 0, 'b', 0});
  EXPECT_EQ(GetRegistryString(open().get(), nullptr, L"name"), L"ab");
}

TEST_F(GetRegistryStringTest, RaisesTheStatusOfAMissingValueOrKey) {
  expectRegKeyError([] { GetRegistryString(open().get(), nullptr, L"missing"); }, ERROR_FILE_NOT_FOUND,
                    "Unable to get registry value");
  expectRegKeyError([] { GetRegistryString(open().get(), L"missing", L"name"); }, ERROR_FILE_NOT_FOUND,
                    "Unable to get registry value");
}

TEST_F(GetRegistryStringTest, RefusesAValueOfAnotherType) {
  plantDword(kKey, L"number", 7);
  plantString(kKey, L"several", std::wstring(L"a\0b\0", 4), REG_MULTI_SZ);
  for (const wchar_t* name : {L"number", L"several"}) {
    expectRegKeyError([name] { GetRegistryString(open().get(), nullptr, name); }, ERROR_UNSUPPORTED_TYPE,
                      "Unable to get registry value");
  }
}

using EnumerateSubkeysTest = RegistryCalls;

TEST_F(EnumerateSubkeysTest, GivesTheDirectSubkeysInEnumerationOrder) {
  for (const wchar_t* name : {L"zebra", L"Apple", L"banana\\below", L"10", L"9", L"\u00e4ther"}) {
    plantKey(kKey + L"\\" + name);
  }
  const RegistryKey key = open();
  std::vector<std::wstring> expected;
  wchar_t name[256];
  while (::RegEnumKeyW(key.get(), static_cast<DWORD>(expected.size()), name, 256) == ERROR_SUCCESS) {
    expected.push_back(name);
  }
  ASSERT_EQ(expected.size(), 6u);
  EXPECT_EQ(EnumerateSubkeys(key.get()), expected);
}

TEST_F(EnumerateSubkeysTest, GivesNothingForAKeyWithValuesAlone) {
  plantDword(kKey, L"number", 7);
  EXPECT_THAT(EnumerateSubkeys(open().get()), IsEmpty());
}

TEST_F(EnumerateSubkeysTest, ReadsTheLongestName) {
  const std::wstring longest(255, L'n');
  plantKey(kKey + L"\\" + longest);
  plantKey(kKey + L"\\a");
  EXPECT_THAT(EnumerateSubkeys(open().get()), ElementsAre(L"a", longest));
}

TEST_F(EnumerateSubkeysTest, RaisesWhenTheKeyCannotBeQueried) {
  const RegistryKey key = open();
  removeKey(kKey);
  expectRegKeyError([&key] { EnumerateSubkeys(key.get()); }, ERROR_KEY_DELETED, "Unable to get query key information");
}

TEST_F(EnumerateSubkeysTest, RaisesAtTheFirstNameThatCannotBeRead) {
  plantKey(kKey + L"\\a");
  plantKey(kKey + L"\\b");
  failingIndex = 1;
  expectRegKeyError([] { EnumerateSubkeys(open().get()); }, ERROR_NOACCESS, "Unable to get enumerate subkeys");
}

using CleanupUtilityKey = RegistryCalls;

TEST_F(CleanupUtilityKey, IsMadeBelowItsParentAndCanBeWrittenTo) {
  const RegistryKey key = CreateCleanupUtilityKey(open(KEY_READ | KEY_SET_VALUE | KEY_CREATE_SUB_KEY).get());
  SetRegistryDwordOne(key.get(), L"RebootRequired");
  EXPECT_EQ(readDword(kKey + L"\\ORVCleanupUtility", L"RebootRequired"), 1u);
}

// Only a volatile key refuses a child that would outlive it.
TEST_F(CleanupUtilityKey, LivesOnlyUntilTheNextRestart) {
  const RegistryKey key = CreateCleanupUtilityKey(open(KEY_ALL_ACCESS).get());
  RegistryKey child;
  EXPECT_EQ(::RegCreateKeyExW(key.get(), L"child", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ, nullptr, child.put(),
                              nullptr),
            ERROR_CHILD_MUST_BE_VOLATILE);
}

TEST_F(CleanupUtilityKey, IsOpenedWhenItStands) {
  SetRegistryDwordOne(CreateCleanupUtilityKey(open(KEY_ALL_ACCESS).get()).get(), L"first");
  SetRegistryDwordOne(CreateCleanupUtilityKey(open(KEY_ALL_ACCESS).get()).get(), L"second");
  EXPECT_TRUE(valueExists(kKey + L"\\ORVCleanupUtility", L"first"));
  EXPECT_TRUE(valueExists(kKey + L"\\ORVCleanupUtility", L"second"));
}

TEST_F(CleanupUtilityKey, RaisesWhenItCannotBeMade) {
  expectRegKeyError([] { CreateCleanupUtilityKey(nullptr); }, ERROR_INVALID_HANDLE,
                    "Unable to get create registry key");
}

using SetRegistryDwordOneTest = RegistryCalls;

TEST_F(SetRegistryDwordOneTest, WritesTheNumberOneOverWhateverIsThere) {
  plantString(kKey, L"name", L"text");
  SetRegistryDwordOne(open(KEY_SET_VALUE).get(), L"name");
  EXPECT_EQ(readDword(kKey, L"name"), 1u);
}

TEST_F(SetRegistryDwordOneTest, RaisesATextWithTheNameAndTheNumber) {
  expectRegKeyError([] { SetRegistryDwordOne(open(KEY_READ).get(), L"RebootRequired"); }, ERROR_ACCESS_DENIED,
                    "Unable to write to registry for value = RebootRequired data = 1.");
}

TEST_F(SetRegistryDwordOneTest, CutsTheTextOfALongName) {
  const std::string start = "Unable to write to registry for value = ";
  expectRegKeyError([] { SetRegistryDwordOne(open(KEY_READ).get(), std::wstring(1000, L'n').c_str()); },
                    ERROR_ACCESS_DENIED, start + std::string(259 - start.size(), 'n'));
}

class VirtualMachine : public testing::Test {
 protected:
  VirtualMachine() { removeKey(kProductKey); }
  ~VirtualMachine() override { removeKey(kProductKey); }
};

TEST_F(VirtualMachine, IsOneWhoseProductNameHoldsVirtualInAnyCase) {
  for (const wchar_t* name : {L"Virtual Machine", L"VirtualBox", L"Some VIRTUAL Platform", L"virtual", L"xvIrTuAlx"}) {
    plantString(kProductKey, L"SystemProductName", name);
    EXPECT_TRUE(IsVirtualMachine()) << testing::PrintToString(name);
  }
}

TEST_F(VirtualMachine, IsNoneWithAnyOtherName) {
  for (const wchar_t* name : {L"", L"Standard PC", L"virtua", L"v i r t u a l"}) {
    plantString(kProductKey, L"SystemProductName", name);
    EXPECT_FALSE(IsVirtualMachine()) << testing::PrintToString(name);
  }
}

TEST_F(VirtualMachine, IsNoneWithoutTheKeyOrTheValue) {
  EXPECT_FALSE(IsVirtualMachine());
  plantString(kProductKey, L"OtherName", L"virtual");
  EXPECT_FALSE(IsVirtualMachine());
}

TEST_F(VirtualMachine, IsNoneWhenTheNameDoesNotFitInto260Bytes) {
  plantString(kProductKey, L"SystemProductName", std::wstring(122, L'x') + L"virtual");
  EXPECT_TRUE(IsVirtualMachine());  // 129 characters and the terminator
  plantString(kProductKey, L"SystemProductName", std::wstring(123, L'x') + L"virtual");
  EXPECT_FALSE(IsVirtualMachine());
}

TEST(OsDrive, IsTheRootOfTheSystemFoldersDrive) {
  const CapturedLog log;
  EXPECT_EQ(GetOSDrive(), L"C:\\");
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG CommonHelperUtilities::GetOSDrive: C:\\"));
}

TEST(OsDrive, NeedNotBeC) {
  systemDirectory = L"F:\\Windows\\system32";
  const CapturedLog log;
  EXPECT_EQ(GetOSDrive(), L"F:\\");
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG CommonHelperUtilities::GetOSDrive: F:\\"));
  systemDirectory = nullptr;
}
