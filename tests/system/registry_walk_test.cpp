#include "system/registry_walk.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <windows.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"
#include "support/text.h"
#include "system/handles.h"
#include "system/registry.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Rows = std::vector<std::wstring>;

const std::wstring kSubkey = L"SOFTWARE\\WalkTest";
const std::wstring kKey = L"HKEY_LOCAL_MACHINE\\" + kSubkey;

class RegistryWalk : public testing::Test {
 protected:
  RegistryWalk() {
    removeKey(kKey);
    plantKey(kKey);
  }
  ~RegistryWalk() override { removeKey(kKey); }

  static RegistryKey open(const std::wstring& below = L"") {
    return OpenRegistryKey(HKEY_LOCAL_MACHINE, kSubkey + below, KEY_READ);
  }

  Rows keys_;
  Rows values_;
};

// The number of RegEnumValueW calls that returned a value.
int enumeratedValues = 0;
// Called once, just before that value is read.
std::wstring awaitedValue;
std::function<void()> whenAwaited;
void beforeValue(const std::wstring& name, std::function<void()> action) {
  awaitedValue = name;
  whenAwaited = std::move(action);
}
// Subkeys, as named by the caller, whose next opening fails.
std::vector<std::wstring> refusedOpenings;
bool refuseWatch = false;

void appendOnce(Rows& rows, const std::wstring& row) {
  if (std::find(rows.begin(), rows.end(), row) == rows.end()) {
    rows.push_back(row);
  }
}

// The rule in its plain form: each list is searched from the front for each row.
void plainQueryKey(HKEY key, HKEY root, const std::wstring& prefix, const std::wstring& subkeyPath, Rows& keys,
                   Rows& values) {
  wchar_t name[16384];
  DWORD length = 256;
  for (DWORD index = 0; ::RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++index, length = 256) {
    const std::wstring below = subkeyPath + L"\\" + name;
    const std::wstring row = prefix + below;
    if (std::find(keys.begin(), keys.end(), row) != keys.end()) {
      continue;
    }
    keys.push_back(row);
    HKEY child = nullptr;
    if (::RegOpenKeyExW(root, below.c_str(), 0, KEY_READ, &child) == ERROR_SUCCESS) {
      plainQueryKey(child, root, prefix, below, keys, values);
      ::RegCloseKey(child);
    }
  }
  length = 16384;
  for (DWORD index = 0; ::RegEnumValueW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++index, length = 16384) {
    appendOnce(values, prefix + subkeyPath + L"\\" + name);
  }
}

void plainWalk(Rows& keys, Rows& values) {
  const std::wstring prefix = L"HKEY_LOCAL_MACHINE\\";
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (keys[i].starts_with(prefix)) {
      const std::wstring subkey = keys[i].substr(prefix.size());
      HKEY key = nullptr;
      if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, subkey.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
        plainQueryKey(key, HKEY_LOCAL_MACHINE, prefix, subkey, keys, values);
        ::RegCloseKey(key);
      }
    }
  }
}

}  // namespace

LINK_SEAM(LSTATUS, RegEnumValueW,
          (HKEY key, DWORD index, wchar_t* name, DWORD* length, DWORD* reserved, DWORD* type, BYTE* data,
           DWORD* size)) {
  const LSTATUS status = realFunction<decltype(&::RegEnumValueW)>(L"advapi32.dll", "RegEnumValueW")(
      key, index, name, length, reserved, type, data, size);
  enumeratedValues += status == ERROR_SUCCESS ? 1 : 0;
  if (status == ERROR_SUCCESS && whenAwaited && name == awaitedValue) {
    std::exchange(whenAwaited, nullptr)();
  }
  return status;
}

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, const wchar_t* subkey, DWORD options, REGSAM access, HKEY* result)) {
  const auto refused = std::find(refusedOpenings.begin(), refusedOpenings.end(), subkey ? subkey : L"");
  if (refused != refusedOpenings.end()) {
    refusedOpenings.erase(refused);
    return ERROR_ACCESS_DENIED;
  }
  return realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(root, subkey, options, access,
                                                                                    result);
}

LINK_SEAM(LSTATUS, RegNotifyChangeKeyValue, (HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL async)) {
  return refuseWatch ? ERROR_ACCESS_DENIED
                     : realFunction<decltype(&::RegNotifyChangeKeyValue)>(L"advapi32.dll", "RegNotifyChangeKeyValue")(
                           key, subtree, filter, event, async);
}

TEST_F(RegistryWalk, ListsEachKeyBeforeItsSubkeysAndTheValuesAfterAllSubkeys) {
  plantString(kKey, L"top", L"");
  plantString(kKey + L"\\a", L"inA", L"");
  plantString(kKey + L"\\a\\x", L"inX", L"");
  plantString(kKey + L"\\b", L"inB", L"");
  QueryKey(open().get(), HKEY_LOCAL_MACHINE, kSubkey, keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(kKey + L"\\a", kKey + L"\\a\\x", kKey + L"\\b"));
  EXPECT_THAT(values_, ElementsAre(kKey + L"\\a\\x\\inX", kKey + L"\\a\\inA", kKey + L"\\b\\inB", kKey + L"\\top"));
}

TEST_F(RegistryWalk, EndsThePathOfADefaultValueWithABackslash) {
  plantString(kKey, L"", L"default");
  plantString(kKey + L"\\a", L"", L"default");
  QueryKey(open().get(), HKEY_LOCAL_MACHINE, kSubkey, keys_, values_);
  EXPECT_THAT(values_, ElementsAre(kKey + L"\\a\\", kKey + L"\\"));
}

TEST_F(RegistryWalk, GivesNothingForAnEmptyKey) {
  QueryKey(open().get(), HKEY_LOCAL_MACHINE, kSubkey, keys_, values_);
  EXPECT_THAT(keys_, IsEmpty());
  EXPECT_THAT(values_, IsEmpty());
}

TEST_F(RegistryWalk, GivesNothingForAKeyThatCannotBeQueried) {
  plantString(kKey + L"\\gone", L"name", L"");
  const RegistryKey key = open(L"\\gone");
  removeKey(kKey + L"\\gone");
  QueryKey(key.get(), HKEY_LOCAL_MACHINE, kSubkey + L"\\gone", keys_, values_);
  EXPECT_THAT(keys_, IsEmpty());
  EXPECT_THAT(values_, IsEmpty());
}

TEST_F(RegistryWalk, AppendsToWhatTheListsHold) {
  plantString(kKey + L"\\a", L"name", L"");
  keys_ = {L"first"};
  values_ = {L"second"};
  QueryKey(open().get(), HKEY_LOCAL_MACHINE, kSubkey, keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(L"first", kKey + L"\\a"));
  EXPECT_THAT(values_, ElementsAre(L"second", kKey + L"\\a\\name"));
}

TEST_F(RegistryWalk, PassesOverAListedSubkeyWithAllThatIsBelowIt) {
  plantString(kKey + L"\\a\\x", L"name", L"");
  plantString(kKey + L"\\b\\y", L"name", L"");
  keys_ = {kKey + L"\\a"};
  QueryKey(open().get(), HKEY_LOCAL_MACHINE, kSubkey, keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(kKey + L"\\a", kKey + L"\\b", kKey + L"\\b\\y"));
  EXPECT_THAT(values_, ElementsAre(kKey + L"\\b\\y\\name"));
}

TEST_F(RegistryWalk, TakesARowThatDiffersInCaseForAnother) {
  plantKey(kKey + L"\\a");
  keys_ = {kKey + L"\\A"};
  QueryKey(open().get(), HKEY_LOCAL_MACHINE, kSubkey, keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(kKey + L"\\A", kKey + L"\\a"));
}

// The list of user profiles relies on this: a child's relative path then begins with a backslash and opens nothing.
TEST_F(RegistryWalk, StopsAtTheFirstLevelWithoutASubkeyPath) {
  plantString(L"HKEY_USERS\\WalkTest\\below", L"name", L"");
  QueryKey(HKEY_USERS, HKEY_USERS, L"", keys_, values_);
  EXPECT_EQ(keys_.size(), EnumerateSubkeys(HKEY_USERS).size());
  EXPECT_THAT(keys_, Contains(L"HKEY_USERS\\WalkTest"));
  EXPECT_THAT(keys_, testing::Not(Contains(L"HKEY_USERS\\WalkTest\\below")));
  EXPECT_THAT(values_, IsEmpty());
  removeKey(L"HKEY_USERS\\WalkTest");
}

// The row for a root's own value has an empty key path between two backslashes, as the deletion of values expects.
TEST_F(RegistryWalk, GivesTheValuesOfARootADoubledBackslash) {
  const RegistryKey root = OpenRegistryKey(HKEY_CURRENT_USER, L"", KEY_ALL_ACCESS);
  ASSERT_EQ(::RegSetValueExW(root.get(), L"WalkTest", 0, REG_SZ, nullptr, 0), ERROR_SUCCESS);
  QueryKey(HKEY_CURRENT_USER, HKEY_CURRENT_USER, L"", keys_, values_);
  ::RegDeleteValueW(root.get(), L"WalkTest");
  EXPECT_THAT(values_, ElementsAre(L"HKEY_CURRENT_USER\\\\WalkTest"));
}

TEST_F(RegistryWalk, NamesEachOfTheFiveRoots) {
  for (const wchar_t* name :
       {L"HKEY_CLASSES_ROOT", L"HKEY_CURRENT_USER", L"HKEY_LOCAL_MACHINE", L"HKEY_USERS", L"HKEY_CURRENT_CONFIG"}) {
    plantKey(kKey + L"\\a");
    Rows keys;
    QueryKey(open().get(), ParseRootKey(name), L"there", keys, values_);
    EXPECT_THAT(keys, ElementsAre(std::wstring(name) + L"\\there\\a"));
  }
}

TEST_F(RegistryWalk, PutsNoNameInFrontBelowAnyOtherRoot) {
  plantString(kKey + L"\\sub\\a\\x", L"name", L"");
  const RegistryKey root = open();
  QueryKey(open(L"\\sub").get(), root.get(), L"sub", keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(L"sub\\a", L"sub\\a\\x"));
  EXPECT_THAT(values_, ElementsAre(L"sub\\a\\x\\name"));
}

TEST_F(RegistryWalk, LogsANullRootForEachSubkeyAndGoesNoDeeper) {
  plantKey(kKey + L"\\a\\x");
  plantKey(kKey + L"\\b");
  const CapturedLog log;
  QueryKey(open().get(), nullptr, L"sub", keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(L"sub\\a", L"sub\\b"));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG QueryKey: ---------hkey is NULL---------------sub\\a",
                                       "DEBUG QueryKey: ---------hkey is NULL---------------sub\\b"));
}

// The buffers are one character too short for the longest names, which count as unreadable.
TEST_F(RegistryWalk, ReadsKeyNamesOfUpTo254Characters) {
  const std::wstring longest(254, L'k');
  plantKey(kKey + L"\\" + longest);
  plantKey(kKey + L"\\" + std::wstring(255, L'k'));
  plantKey(kKey + L"\\z");
  QueryKey(open().get(), HKEY_LOCAL_MACHINE, kSubkey, keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(kKey + L"\\" + longest, kKey + L"\\z"));
}

TEST_F(RegistryWalk, ReadsValueNamesOfUpTo16382Characters) {
  const std::wstring longest(16382, L'v');
  plantString(kKey, longest, L"");
  plantString(kKey, std::wstring(16383, L'v'), L"");
  plantString(kKey, L"z", L"");
  QueryKey(open().get(), HKEY_LOCAL_MACHINE, kSubkey, keys_, values_);
  ASSERT_EQ(values_.size(), 2u);
  EXPECT_TRUE(values_.front() == kKey + L"\\" + longest);
  EXPECT_EQ(values_.back(), kKey + L"\\z");
}

TEST_F(RegistryWalk, KeepsASubkeyThatCannotBeOpenedWithNothingBelowIt) {
  plantString(kKey + L"\\closed\\x", L"name", L"");
  SECURITY_DESCRIPTOR nobody = {};
  ACL emptyList = {};
  ::InitializeSecurityDescriptor(&nobody, SECURITY_DESCRIPTOR_REVISION);
  ::InitializeAcl(&emptyList, sizeof(emptyList), ACL_REVISION);
  ::SetSecurityDescriptorDacl(&nobody, TRUE, &emptyList, FALSE);
  const RegistryKey closed = OpenRegistryKey(HKEY_LOCAL_MACHINE, kSubkey + L"\\closed", KEY_ALL_ACCESS);
  ASSERT_EQ(::RegSetKeySecurity(closed.get(), DACL_SECURITY_INFORMATION, &nobody), ERROR_SUCCESS);
  ASSERT_FALSE(keyExists(kKey + L"\\closed"));
  QueryKey(open().get(), HKEY_LOCAL_MACHINE, kSubkey, keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(kKey + L"\\closed"));
  EXPECT_THAT(values_, IsEmpty());
  ::SetSecurityDescriptorDacl(&nobody, TRUE, nullptr, FALSE);
  ::RegSetKeySecurity(closed.get(), DACL_SECURITY_INFORMATION, &nobody);
}

TEST_F(RegistryWalk, OfAKeyWithValuesAloneLeavesItsRowAlone) {
  plantString(kKey, L"one", L"");
  plantString(kKey, L"two", L"");
  keys_ = {kKey};
  getRegistryKeysValuesRecursively(keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(kKey));
  EXPECT_THAT(values_, ElementsAre(kKey + L"\\one", kKey + L"\\two"));
}

TEST_F(RegistryWalk, OfAKeyThatIsListedTwiceGivesNoDuplicateBelowIt) {
  plantString(kKey + L"\\a", L"name", L"");
  keys_ = {kKey, kKey};
  getRegistryKeysValuesRecursively(keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(kKey, kKey, kKey + L"\\a"));
  EXPECT_THAT(values_, ElementsAre(kKey + L"\\a\\name"));
}

// A registry link is opened as the key that it leads to, so its rows refer to what is there.
TEST_F(RegistryWalk, ListsWhatALinkLeadsToBelowTheLink) {
  const std::wstring target = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WalkTestTarget";
  plantString(target + L"\\below", L"name", L"text");
  const std::wstring path = L"\\Registry\\Machine\\SOFTWARE\\WalkTestTarget";
  RegistryKey link;
  ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kSubkey + L"\\link").c_str(), 0, nullptr, REG_OPTION_CREATE_LINK,
                              KEY_ALL_ACCESS, nullptr, link.put(), nullptr),
            ERROR_SUCCESS);
  ASSERT_EQ(::RegSetValueExW(link.get(), L"SymbolicLinkValue", 0, REG_LINK, reinterpret_cast<const BYTE*>(path.data()),
                             static_cast<DWORD>(path.size() * sizeof(wchar_t))),
            ERROR_SUCCESS);
  keys_ = {kKey};
  getRegistryKeysValuesRecursively(keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(kKey, kKey + L"\\link", kKey + L"\\link\\below"));
  EXPECT_THAT(values_, ElementsAre(kKey + L"\\link\\below\\name"));
  // Deleting by the link's path deletes what it leads to.
  EXPECT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, (kSubkey + L"\\link\\below").c_str()), ERROR_SUCCESS);
  EXPECT_FALSE(keyExists(target + L"\\below"));
  EXPECT_EQ(::RegDeleteKeyW(HKEY_LOCAL_MACHINE, (kSubkey + L"\\link").c_str()), ERROR_SUCCESS);
  EXPECT_FALSE(keyExists(target));
  // The link itself can be deleted only by its handle.
  const auto deleteKey = reinterpret_cast<LONG(WINAPI*)(HANDLE)>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtDeleteKey")));
  ASSERT_NE(deleteKey, nullptr);
  EXPECT_EQ(deleteKey(link.get()), 0);
}

TEST_F(RegistryWalk, OfAMissingKeyGivesNothing) {
  const CapturedLog log;
  keys_ = {kKey + L"\\missing", L"HKEY_USERS\\S-1-5-21-***\\Software"};
  const Rows before = keys_;
  getRegistryKeysValuesRecursively(keys_, values_);
  EXPECT_EQ(keys_, before);
  EXPECT_THAT(values_, IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(RegistryWalk, LogsAnUnknownRootAndGoesOn) {
  plantKey(kKey + L"\\a");
  const CapturedLog log;
  keys_ = {L"hkey_local_machine\\SOFTWARE\\X", L"nothing", L"", kKey};
  getRegistryKeysValuesRecursively(keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(L"hkey_local_machine\\SOFTWARE\\X", L"nothing", L"", kKey, kKey + L"\\a"));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          "DEBUG getRegistryKeysValuesRecursively: hkey_local_machine---------hkey is NULL---------------SOFTWARE\\X",
          "DEBUG getRegistryKeysValuesRecursively: nothing---------hkey is NULL---------------nothing",
          "DEBUG getRegistryKeysValuesRecursively: ---------hkey is NULL---------------"));
}

TEST_F(RegistryWalk, ReachesTwoHundredLevels) {
  RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kSubkey, KEY_ALL_ACCESS);
  Rows expectedKeys = {kKey};
  Rows expectedValues;
  for (int level = 0; level < 200; ++level) {
    RegistryKey child;
    ASSERT_EQ(::RegCreateKeyExW(key.get(), L"k", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, child.put(), nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(::RegSetValueExW(child.get(), L"v", 0, REG_SZ, nullptr, 0), ERROR_SUCCESS);
    expectedKeys.push_back(expectedKeys.back() + L"\\k");
    expectedValues.insert(expectedValues.begin(), expectedKeys.back() + L"\\v");
    key = std::move(child);
  }
  keys_ = {kKey};
  getRegistryKeysValuesRecursively(keys_, values_);
  EXPECT_EQ(keys_, expectedKeys);
  EXPECT_EQ(values_, expectedValues);
}

TEST_F(RegistryWalk, ReadsEachKeyOnceWhereNothingChanges) {
  plantString(kKey + L"\\a\\x", L"name", L"");
  plantString(kKey + L"\\b", L"one", L"");
  plantString(kKey + L"\\b", L"two", L"");
  keys_ = {kKey};
  enumeratedValues = 0;
  getRegistryKeysValuesRecursively(keys_, values_);
  EXPECT_EQ(keys_.size(), 4u);
  EXPECT_EQ(values_.size(), 3u);
  EXPECT_EQ(enumeratedValues, 3);
}

// The new items appear where the walk has already been.
TEST_F(RegistryWalk, FindsWhatComesDuringTheWalk) {
  plantString(kKey + L"\\a", L"name", L"");
  plantString(kKey + L"\\b", L"last", L"");
  keys_ = {kKey};
  beforeValue(L"last", [] {
    plantString(kKey + L"\\a\\late", L"in the new key", L"");
    plantString(kKey + L"\\a", L"later", L"");
  });
  getRegistryKeysValuesRecursively(keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(kKey, kKey + L"\\a", kKey + L"\\b", kKey + L"\\a\\late"));
  EXPECT_THAT(values_, ElementsAre(kKey + L"\\a\\name", kKey + L"\\b\\last", kKey + L"\\a\\late\\in the new key",
                                   kKey + L"\\a\\later"));
}

TEST_F(RegistryWalk, KeepsTheRowsOfWhatVanishesDuringTheWalk) {
  plantString(kKey + L"\\a", L"name", L"");
  plantString(kKey + L"\\b", L"last", L"");
  keys_ = {kKey};
  beforeValue(L"last", [] { removeKey(kKey + L"\\a"); });
  getRegistryKeysValuesRecursively(keys_, values_);
  EXPECT_THAT(keys_, ElementsAre(kKey, kKey + L"\\a", kKey + L"\\b"));
  EXPECT_THAT(values_, ElementsAre(kKey + L"\\a\\name", kKey + L"\\b\\last"));
}

TEST_F(RegistryWalk, AsksAgainForWhatCouldNotBeReadAtFirst) {
  plantString(kKey + L"\\a", L"name", L"");
  plantString(kKey + L"\\b", L"one", L"");
  plantString(kKey + L"\\b", L"two", L"");
  keys_ = {kKey};
  refusedOpenings = {L"a"};
  getRegistryKeysValuesRecursively(keys_, values_);
  EXPECT_THAT(values_, ElementsAre(kKey + L"\\b\\one", kKey + L"\\b\\two", kKey + L"\\a\\name"));
}

TEST_F(RegistryWalk, VisitsEveryKeyTwiceWhereChangesCannotBeWatched) {
  plantString(kKey + L"\\a", L"name", L"");
  keys_ = {kKey};
  refuseWatch = true;
  enumeratedValues = 0;
  getRegistryKeysValuesRecursively(keys_, values_);
  refuseWatch = false;
  EXPECT_THAT(values_, ElementsAre(kKey + L"\\a\\name"));
  EXPECT_EQ(enumeratedValues, 2);
}

// Rows in different spellings, rows above and below each other, and duplicates must all match the plain rule.
TEST_F(RegistryWalk, GivesWhatThePlainRuleGivesForRandomTrees) {
  std::mt19937 random(4711);
  const auto pick = [&random](std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
  };
  for (int round = 0; round < 60; ++round) {
    const std::wstring top = kKey + L"\\round" + std::to_wstring(round);
    Rows planted = {top};
    plantKey(top);
    for (std::size_t count = pick(40); count > 0; --count) {
      const std::wstring key = planted[pick(planted.size())] + L"\\" + std::wstring(1 + pick(2), L"aBc"[pick(3)]);
      plantKey(key);
      planted.push_back(key);
      if (pick(2) == 0) {
        plantString(key, pick(4) == 0 ? L"" : std::wstring(1, L"xYz"[pick(3)]), L"");
      }
    }
    Rows keys;
    for (std::size_t count = 1 + pick(6); count > 0; --count) {
      std::wstring row = planted[pick(planted.size())];
      const std::size_t kind = pick(8);
      if (kind == 0) {
        row += L"\\missing";
      } else if (kind == 1) {
        row += L"\\";
      } else if (kind == 2) {
        row.replace(row.find(L"SOFTWARE"), 8, L"software");
      }
      keys.push_back(row);
    }
    Rows values;
    if (pick(2) == 0) {
      values.push_back(planted.back() + L"\\x");
    }
    Rows plainKeys = keys;
    Rows plainValues = values;
    plainWalk(plainKeys, plainValues);
    getRegistryKeysValuesRecursively(keys, values);
    ASSERT_EQ(keys, plainKeys) << "round " << round;
    ASSERT_EQ(values, plainValues) << "round " << round;
  }
}

using SkipKeys = RegistryWalk;

TEST_F(SkipKeys, LeavesAnEmptyListAlone) {
  const CapturedLog log;
  SkipKeysWithChildren(keys_);
  EXPECT_THAT(keys_, IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SkipKeys, TakesOutAKeyThatHasASubkey) {
  plantKey(kKey + L"\\parent\\child");
  keys_ = {kKey + L"\\parent"};
  const CapturedLog log;
  SkipKeysWithChildren(keys_);
  EXPECT_THAT(keys_, IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG -----------Skipping Registry key -- " + narrow(kKey) +
                                       "\\parent -- as it contains other registries-------------"));
}

TEST_F(SkipKeys, KeepsAKeyThatHasOnlyValues) {
  plantString(kKey, L"name", L"text");
  keys_ = {kKey};
  const CapturedLog log;
  SkipKeysWithChildren(keys_);
  EXPECT_THAT(keys_, ElementsAre(kKey));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SkipKeys, KeepsAKeyThatIsNotThere) {
  keys_ = {kKey + L"\\missing"};
  SkipKeysWithChildren(keys_);
  EXPECT_THAT(keys_, ElementsAre(kKey + L"\\missing"));
}

TEST_F(SkipKeys, KeepsAKeyWithAnUnknownRoot) {
  keys_ = {L"HKLM\\SOFTWARE"};
  const CapturedLog log;
  SkipKeysWithChildren(keys_);
  EXPECT_THAT(keys_, ElementsAre(L"HKLM\\SOFTWARE"));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG getRegistryKeysValuesRecursively: HKLM---------hkey is "
                                       "NULL---------------SOFTWARE"));
}

TEST_F(SkipKeys, LooksAtEachKeyOfARowOfSeveral) {
  plantKey(kKey + L"\\p\\child");
  plantKey(kKey + L"\\q\\child");
  plantKey(kKey + L"\\r");
  keys_ = {kKey + L"\\p", kKey + L"\\q", kKey + L"\\r", kKey + L"\\p", kKey + L"\\r"};
  const CapturedLog log;
  SkipKeysWithChildren(keys_);
  EXPECT_THAT(keys_, ElementsAre(kKey + L"\\r", kKey + L"\\r"));
  const auto line = [](const std::string& name) {
    return "DEBUG -----------Skipping Registry key -- " + narrow(kKey) + "\\" + name +
           " -- as it contains other registries-------------";
  };
  EXPECT_THAT(log.lines(), ElementsAre(line("p"), line("q"), line("p")));
}
