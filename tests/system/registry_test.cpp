#include "system/registry.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "support/link_seam.h"
#include "support/reg_key_error.h"
#include "support/test_registry.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

DWORD failingIndex = MAXDWORD;

}  // namespace

LINK_SEAM(LSTATUS, RegEnumKeyExW,
          (HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPWSTR className, LPDWORD classLength,
           PFILETIME time)) {
  return index == failingIndex ? ERROR_NOACCESS
                               : realFunction<decltype(&::RegEnumKeyExW)>(L"advapi32.dll", "RegEnumKeyExW")(
                                     key, index, name, length, reserved, className, classLength, time);
}

namespace {

const std::wstring kSubkey = L"SOFTWARE\\RegistryTest";
const std::wstring kKey = L"HKEY_LOCAL_MACHINE\\" + kSubkey;

class RegistryCalls : public testing::Test {
 protected:
  RegistryCalls() { plantKey(kKey); }
  ~RegistryCalls() override {
    failingIndex = MAXDWORD;
    removeKey(kKey);
  }

  static RegistryKey open(REGSAM access = KEY_READ) { return OpenRegistryKey(HKEY_LOCAL_MACHINE, kSubkey, access); }
};

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
