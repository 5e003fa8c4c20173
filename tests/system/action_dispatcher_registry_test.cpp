// action_dispatcher_registry_test - deleting registry keys and values from a work list.
#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"
#include "support/text.h"
#include "system/action_dispatcher.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Items = std::vector<std::wstring>;

const std::wstring kKey = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\OrvTest";
constexpr ActionKind kKeyKinds[] = {ActionKind::RegistryKeyDelete, ActionKind::RegistryKeyEmptyDelete};

// How an item was parsed.
struct Target {
  HKEY root;
  std::wstring subkey;
  std::wstring valueName;

  bool operator==(const Target&) const = default;
};
// If set, deletions are recorded instead of carried out.
std::vector<Target>* recorded = nullptr;
// Calls of RegOpenKeyExW.
int openings = 0;
// Called once, before the next deletion of a value.
std::function<void()> beforeValueDeletion;

class RegistryAction : public ::testing::Test {
 protected:
  void SetUp() override {
    removeKey(kKey);
    plantKey(kKey);
  }
  void TearDown() override {
    recorded = nullptr;
    removeKey(kKey);
  }

  bool execute(ActionKind kind, const Items& items) { return ExecuteActions(kind, items, failures, false); }

  CapturedLog log;
  Items failures;
};

using RegistryKeyAction = RegistryAction;
using RegistryValueAction = RegistryAction;

}  // namespace

LINK_SEAM(LSTATUS, RegDeleteKeyW, (HKEY root, const wchar_t* subkey)) {
  if (recorded) {
    recorded->push_back({root, subkey, L""});
    return ERROR_SUCCESS;
  }
  return realFunction<decltype(&::RegDeleteKeyW)>(L"advapi32.dll", "RegDeleteKeyW")(root, subkey);
}

// A value is deleted through its opened key, so the root and subkey are recorded when the key is opened.
LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, const wchar_t* subkey, DWORD options, REGSAM access, HKEY* result)) {
  ++openings;
  const auto open = realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW");
  if (recorded) {
    recorded->push_back({root, subkey, L""});
    return open(HKEY_CURRENT_USER, L"Software", options, access, result);
  }
  return open(root, subkey, options, access, result);
}

LINK_SEAM(LSTATUS, RegDeleteKeyValueW, (HKEY key, const wchar_t* subkey, const wchar_t* valueName)) {
  if (beforeValueDeletion) {
    std::exchange(beforeValueDeletion, nullptr)();
  }
  if (recorded) {
    EXPECT_EQ(subkey, nullptr);
    recorded->back().valueName = valueName;
    return ERROR_SUCCESS;
  }
  return realFunction<decltype(&::RegDeleteKeyValueW)>(L"advapi32.dll", "RegDeleteKeyValueW")(key, subkey, valueName);
}

TEST_F(RegistryKeyAction, KeysGoWithTheirValues) {
  for (const ActionKind kind : kKeyKinds) {
    plantString(kKey + L"\\WithValues", L"Name", L"text");
    plantKey(kKey + L"\\Empty");
    plantKey(kKey + L"\\Stays");
    const CapturedLog own;
    EXPECT_TRUE(execute(kind, {kKey + L"\\WithValues", kKey + L"\\Empty"}));
    EXPECT_FALSE(keyExists(kKey + L"\\WithValues"));
    EXPECT_FALSE(keyExists(kKey + L"\\Empty"));
    EXPECT_TRUE(keyExists(kKey + L"\\Stays"));
    EXPECT_THAT(own.lines(),
                ElementsAre("DEBUG " + narrow(kKey) + "\\WithValues", "DEBUG " + narrow(kKey) + "\\Empty"));
  }
  EXPECT_THAT(failures, IsEmpty());
}

TEST_F(RegistryKeyAction, MissingKeyFailsWithoutALineOfItsOwn) {
  for (const ActionKind kind : kKeyKinds) {
    const CapturedLog own;
    failures.clear();
    EXPECT_FALSE(execute(kind, {kKey + L"\\Missing"}));
    EXPECT_THAT(failures, ElementsAre(kKey + L"\\Missing"));
    EXPECT_THAT(own.lines(), ElementsAre("DEBUG " + narrow(kKey) + "\\Missing"));
  }
}

TEST_F(RegistryKeyAction, KeyWithSubkeysStaysUntilTheyAreGone) {
  plantKey(kKey + L"\\Parent\\Child");
  EXPECT_FALSE(execute(ActionKind::RegistryKeyDelete, {kKey + L"\\Parent"}));
  EXPECT_TRUE(keyExists(kKey + L"\\Parent\\Child"));
  EXPECT_THAT(failures, ElementsAre(kKey + L"\\Parent"));

  failures.clear();
  EXPECT_TRUE(execute(ActionKind::RegistryKeyDelete, {kKey + L"\\Parent\\Child", kKey + L"\\Parent"}));
  EXPECT_FALSE(keyExists(kKey + L"\\Parent"));
  EXPECT_THAT(failures, IsEmpty());
}

TEST_F(RegistryKeyAction, FailureDoesNotStopTheList) {
  plantKey(kKey + L"\\Last");
  failures = {L"earlier"};
  EXPECT_FALSE(execute(ActionKind::RegistryKeyDelete, {kKey + L"\\A", kKey + L"\\Last", kKey + L"\\B"}));
  EXPECT_FALSE(keyExists(kKey + L"\\Last"));
  EXPECT_THAT(failures, ElementsAre(L"earlier", kKey + L"\\A", kKey + L"\\B"));
}

TEST_F(RegistryKeyAction, RootInAnotherCaseOrShortFails) {
  plantKey(kKey + L"\\Stays");
  const Items items = {L"hkey_local_machine\\SOFTWARE\\OrvTest\\Stays", L"HKLM\\SOFTWARE\\OrvTest\\Stays",
                       L"\\SOFTWARE\\OrvTest\\Stays", L"SOFTWARE\\OrvTest\\Stays", L""};
  EXPECT_FALSE(execute(ActionKind::RegistryKeyDelete, items));
  EXPECT_TRUE(keyExists(kKey + L"\\Stays"));
  EXPECT_EQ(failures, items);
}

TEST_F(RegistryKeyAction, KeysOfThe32BitViewGoByTheirExplicitPath) {
  const std::wstring key32 = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\OrvTestBoth";
  const std::wstring key64 = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\OrvTestBoth";
  plantKey(key32);
  plantKey(key64);
  EXPECT_TRUE(execute(ActionKind::RegistryKeyDelete, {key64}));
  EXPECT_FALSE(keyExists(key64));
  EXPECT_TRUE(keyExists(key32));
  EXPECT_TRUE(execute(ActionKind::RegistryKeyDelete, {key32}));
  EXPECT_FALSE(keyExists(key32));
}

TEST_F(RegistryKeyAction, ItemIsSplitAtTheFirstBackslash) {
  std::vector<Target> targets;
  recorded = &targets;
  EXPECT_TRUE(execute(ActionKind::RegistryKeyDelete,
                      {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\A\\B", L"HKEY_CURRENT_USER\\Word", L"HKEY_CURRENT_USER",
                       L"HKEY_CLASSES_ROOT\\A\\", L"HKEY_USERS\\\\A", L"HKEY_CURRENT_CONFIG\\", L"Word"}));
  EXPECT_THAT(targets,
              ElementsAre(Target{HKEY_LOCAL_MACHINE, L"SOFTWARE\\A\\B", L""}, Target{HKEY_CURRENT_USER, L"Word", L""},
                          Target{HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L""}, Target{HKEY_CLASSES_ROOT, L"A\\", L""},
                          Target{HKEY_USERS, L"\\A", L""}, Target{HKEY_CURRENT_CONFIG, L"", L""},
                          Target{nullptr, L"Word", L""}));
}

TEST_F(RegistryKeyAction, NamesInEveryScriptGo) {
  for (const wchar_t* name :
       {L"With Blanks", L"100% %PATH%", L"quo\"ted\"", L"a/b", L"{00000000-0000-0000-0000-000000000000}",
        L"\u00C4\u00F6\u00FC\u00DF", L"\u6E05\u7406", L"\U0001F5D1", L"dots.and,commas"}) {
    plantKey(kKey + L"\\" + name);
    EXPECT_TRUE(execute(ActionKind::RegistryKeyDelete, {kKey + L"\\" + name}));
    EXPECT_FALSE(keyExists(kKey + L"\\" + name)) << narrow(name);
  }
  EXPECT_TRUE(keyExists(kKey));
}

TEST_F(RegistryKeyAction, KeyNamedAsItsOwnRootGoes) {
  plantKey(L"HKEY_CURRENT_USER\\HKEY_CURRENT_USER");
  EXPECT_TRUE(execute(ActionKind::RegistryKeyDelete, {L"HKEY_CURRENT_USER"}));
  EXPECT_FALSE(keyExists(L"HKEY_CURRENT_USER\\HKEY_CURRENT_USER"));
  EXPECT_TRUE(keyExists(L"HKEY_CURRENT_USER\\Software"));
}

TEST_F(RegistryValueAction, ValuesOfEveryTypeGoAndTheKeyStays) {
  for (const DWORD type : {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_MULTI_SZ, REG_QWORD}) {
    plantBinary(kKey, L"Goes", type, {1, 0, 0, 0, 0, 0, 0, 0});
    plantDword(kKey, L"Stays", 1);
    EXPECT_TRUE(execute(ActionKind::RegistryValueDelete, {kKey + L"\\Goes"}));
    EXPECT_FALSE(valueExists(kKey, L"Goes")) << type;
    EXPECT_TRUE(valueExists(kKey, L"Stays"));
  }
  EXPECT_THAT(failures, IsEmpty());
}

TEST_F(RegistryValueAction, ItemIsLoggedAndNothingElse) {
  plantDword(kKey, L"Goes", 1);
  EXPECT_FALSE(execute(ActionKind::RegistryValueDelete, {kKey + L"\\Missing", kKey + L"\\Goes", kKey + L"\\No\\Key"}));
  EXPECT_FALSE(valueExists(kKey, L"Goes"));
  EXPECT_THAT(failures, ElementsAre(kKey + L"\\Missing", kKey + L"\\No\\Key"));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG " + narrow(kKey) + "\\Missing", "DEBUG " + narrow(kKey) + "\\Goes",
                                       "DEBUG " + narrow(kKey) + "\\No\\Key"));
}

TEST_F(RegistryValueAction, KeyOfTheSameNameStays) {
  plantKey(kKey + L"\\Name");
  EXPECT_FALSE(execute(ActionKind::RegistryValueDelete, {kKey + L"\\Name"}));
  EXPECT_TRUE(keyExists(kKey + L"\\Name"));
}

TEST_F(RegistryValueAction, TrailingBackslashNamesTheDefaultValue) {
  plantString(kKey, L"", L"text");
  plantString(kKey, L"Stays", L"text");
  EXPECT_TRUE(execute(ActionKind::RegistryValueDelete, {kKey + L"\\"}));
  EXPECT_FALSE(valueExists(kKey, L""));
  EXPECT_TRUE(valueExists(kKey, L"Stays"));
}

TEST_F(RegistryValueAction, OneWordBehindTheRootIsKeyAndValue) {
  plantDword(L"HKEY_CURRENT_USER\\OrvTestWord", L"OrvTestWord", 1);
  EXPECT_TRUE(execute(ActionKind::RegistryValueDelete, {L"HKEY_CURRENT_USER\\OrvTestWord"}));
  EXPECT_TRUE(keyExists(L"HKEY_CURRENT_USER\\OrvTestWord"));
  EXPECT_FALSE(valueExists(L"HKEY_CURRENT_USER\\OrvTestWord", L"OrvTestWord"));
  removeKey(L"HKEY_CURRENT_USER\\OrvTestWord");
}

TEST_F(RegistryValueAction, ItemIsSplitAtTheFirstAndTheLastBackslash) {
  std::vector<Target> targets;
  recorded = &targets;
  EXPECT_TRUE(execute(
      ActionKind::RegistryValueDelete,
      {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\A\\B", L"HKEY_CURRENT_USER\\Word", L"HKEY_CURRENT_USER", L"HKEY_LOCAL_MACHINE\\",
       L"HKEY_LOCAL_MACHINE\\A\\", L"HKEY_LOCAL_MACHINE\\\\A", L"hkey_users\\A\\B", L"\\C\\B"}));
  EXPECT_THAT(
      targets,
      ElementsAre(Target{HKEY_LOCAL_MACHINE, L"SOFTWARE\\A", L"B"}, Target{HKEY_CURRENT_USER, L"Word", L"Word"},
                  Target{HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", L"HKEY_CURRENT_USER"},
                  Target{HKEY_LOCAL_MACHINE, L"", L""}, Target{HKEY_LOCAL_MACHINE, L"A", L""},
                  Target{HKEY_LOCAL_MACHINE, L"", L"A"}, Target{nullptr, L"A", L"B"}, Target{nullptr, L"C", L"B"}));
}

TEST_F(RegistryValueAction, NamesInEveryScriptGo) {
  for (const wchar_t* name : {L"With Blanks", L"100% %PATH%", L"quo\"ted\"", L"C:/path/file.json", L"*",
                              L"\u00C4\u00F6\u00FC\u00DF", L"\u6E05\u7406", L"\U0001F5D1"}) {
    plantDword(kKey, name, 1);
    EXPECT_TRUE(execute(ActionKind::RegistryValueDelete, {kKey + L"\\" + name}));
    EXPECT_FALSE(valueExists(kKey, name)) << narrow(name);
  }
}

TEST_F(RegistryValueAction, NoNameIsCut) {
  const std::wstring name(5'000, L'n');
  plantDword(kKey, name, 1);
  plantDword(kKey, name.substr(0, 4'999), 1);
  EXPECT_TRUE(execute(ActionKind::RegistryValueDelete, {kKey + L"\\" + name}));
  EXPECT_FALSE(valueExists(kKey, name));
  EXPECT_TRUE(valueExists(kKey, name.substr(0, 4'999)));
}

TEST_F(RegistryValueAction, KeyIsOpenedOnceForTheValuesThatStandTogether) {
  Items items;
  for (const wchar_t* key : {L"\\A", L"\\B"}) {
    for (const wchar_t* value : {L"1", L"2", L"3"}) {
      plantDword(kKey + key, value, 1);
      items.push_back(kKey + key + L"\\" + value);
    }
  }
  openings = 0;
  EXPECT_TRUE(execute(ActionKind::RegistryValueDelete, items));
  EXPECT_EQ(openings, 2);
  for (const wchar_t* key : {L"\\A", L"\\B"}) {
    for (const wchar_t* value : {L"1", L"2", L"3"}) {
      EXPECT_FALSE(valueExists(kKey + key, value));
    }
  }
}

TEST_F(RegistryValueAction, ValuesOfAKeyThatIsMadeAnewMeanwhileGoToo) {
  plantDword(kKey + L"\\A", L"first", 1);
  plantDword(kKey + L"\\A", L"second", 1);
  const Items items = {kKey + L"\\A\\first", kKey + L"\\A\\second"};
  // After the first deletion the key is replaced, which an open handle would not notice.
  beforeValueDeletion = [] {
    beforeValueDeletion = [] {
      removeKey(kKey + L"\\A");
      plantDword(kKey + L"\\A", L"second", 2);
    };
  };
  EXPECT_TRUE(execute(ActionKind::RegistryValueDelete, items));
  EXPECT_FALSE(valueExists(kKey + L"\\A", L"second"));
  EXPECT_TRUE(keyExists(kKey + L"\\A"));
}

TEST_F(RegistryValueAction, LongListIsWorkedOffInOrder) {
  Items items;
  for (int number = 0; number < 50'000; ++number) {
    items.push_back(kKey + L"\\missing" + std::to_wstring(number));
  }
  plantDword(kKey, L"missing40000", 1);
  EXPECT_FALSE(execute(ActionKind::RegistryValueDelete, items));
  EXPECT_FALSE(valueExists(kKey, L"missing40000"));
  items.erase(items.begin() + 40'000);
  EXPECT_TRUE(failures == items);
  const std::string bytes = log.bytes();
  EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '\n'), 50'000);
}
