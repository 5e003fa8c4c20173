#include <algorithm>
#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "collectors_fixture.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"
#include "support/text.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

namespace {

const std::wstring kSoftware = L"HKEY_LOCAL_MACHINE\\SOFTWARE";
const std::wstring kMaker = kSoftware + L"\\ORV";
const std::wstring kInstall = kSoftware + L"\\KTL Systems\\Install";

std::wstring keyWithoutFullAccess;  // below HKEY_LOCAL_MACHINE; may be read, and nothing else

}  // namespace

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key)) {
  if (!keyWithoutFullAccess.empty() && path == keyWithoutFullAccess && (access & ~static_cast<REGSAM>(KEY_READ)) != 0) {
    return ERROR_ACCESS_DENIED;
  }
  return realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(root, path, options, access, key);
}

namespace {

class RegistryCollector : public CollectorsTest {
 protected:
  RegistryCollector() { forget(); }
  ~RegistryCollector() override {
    keyWithoutFullAccess.clear();
    forget();
  }

  // The two candidate keys of each loaded profile, in the order of the profiles.
  static Rows profileKeys() {
    Rows rows;
    wchar_t name[256];
    DWORD length = 256;
    for (DWORD index = 0;
         ::RegEnumKeyExW(HKEY_USERS, index, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         ++index, length = 256) {
      rows.push_back(std::wstring(L"HKEY_USERS\\") + name + L"\\Software\\ORV");
      rows.push_back(std::wstring(L"HKEY_USERS\\") + name + L"\\Software\\KTL");
    }
    return rows;
  }

  // The collected keys without those candidates.
  Rows keysOfTheMachine() const {
    const Rows candidates = profileKeys();
    Rows rows;
    for (const std::wstring& row : work.registryKeys) {
      if (std::find(candidates.begin(), candidates.end(), row) == candidates.end()) {
        rows.push_back(row);
      }
    }
    return rows;
  }

 private:
  static void forget() {
    for (const std::wstring& key :
         {kMaker, kSoftware + L"\\KTL Systems", std::wstring(L"HKEY_CURRENT_USER\\Software\\ORV"),
          std::wstring(L"HKEY_CURRENT_USER\\Software\\KTL")}) {
      removeKey(key);
    }
  }
};

using UserProfiles = RegistryCollector;
using ExcludedKeyAncestors = RegistryCollector;

TEST_F(UserProfiles, GiveTwoCandidateKeysEachWhetherTheyExistOrNot) {
  plantKey(L"HKEY_CURRENT_USER\\Software\\ORV\\LM");
  Rows keys;
  Rows values;
  getHkeyUserProfiles(keys, values);
  EXPECT_THAT(keys, SizeIs(::testing::Ge(4u))) << "the machine's own profile and the user's";
  EXPECT_EQ(profileKeys(), keys) << "one level below the hive is walked, and no deeper one";
  EXPECT_THAT(values, IsEmpty());
}

TEST_F(RegistryCollector, LogsEveryStep) {
  const CapturedLog log;
  handleRegistries();
  EXPECT_THAT(log.lines(),
              ElementsAre("DEBUG -----------HandleRegistries Getting all data-------------",
                          "DEBUG -----------HandleRegistries Getting HKEY USER Profiles-------------",
                          "DEBUG -----------getAllRegistryKeys Getting all data-------------",
                          "DEBUG -----------getRegistryKeysValuesRecursively Getting all data-------------",
                          "DEBUG -----------getAllExcludedRegistryKeys Getting all data-------------",
                          "DEBUG -----------getExcludedRegistryKeysValuesRecursively Getting all data-------------",
                          "DEBUG -----------excludeFromVector Getting all data-------------",
                          "DEBUG -----------getAllRegistryValues Getting all data-------------",
                          "DEBUG -----------getAllExcludedRegistryValues Getting all data-------------",
                          "DEBUG -----------excludeFromVector Getting all data-------------"));
  EXPECT_EQ(profileKeys(), work.registryKeys);
  EXPECT_THAT(work.registryKeysEmpty, IsEmpty());
  EXPECT_THAT(work.registryValues, IsEmpty());
  EXPECT_THAT(exclusions.excludedRegistryKeys, IsEmpty());
}

TEST_F(RegistryCollector, WalksTheKeysOfAllSourcesInOrder) {
  plantString(kMaker + L"\\App", L"Version", L"1");
  plantString(kMaker + L"\\App\\Inner", L"x", L"1");
  plantString(kMaker + L"\\App\\Inner\\Deep", L"", L"default");
  plantDword(kMaker + L"\\Driver", L"d", 1);
  plantKey(kMaker + L"\\NotListed");
  plantString(L"HKEY_CURRENT_USER\\Software\\KTL\\Settings", L"s", L"1");
  data.RegistryKeys = {kMaker + L"\\App"};
  data.RegistryKeysEmpty = {kMaker, kMaker};
  data.RegistryValues = {kMaker + L"\\Other\\generic", kMaker + L"\\App\\Version"};
  ApplicationPackage& application = addApplication();
  application.RegistryKeys = {kMaker + L"\\App", kMaker + L"\\Missing"};
  application.RegistryValues = {kMaker + L"\\Other\\application"};
  DriverPackage& driver = addDriver();
  driver.RegistryKeys = {kMaker + L"\\Driver"};
  driver.RegistryValues = {kMaker + L"\\Other\\driver", kMaker + L"\\Other\\generic"};

  handleRegistries();
  Rows keys = profileKeys();
  keys.insert(keys.end(), {kMaker + L"\\App", kMaker + L"\\Missing", kMaker + L"\\Driver"});
  const auto ktlOfUser = std::find_if(keys.begin(), keys.end(), [](const std::wstring& row) {
    return row.starts_with(L"HKEY_USERS\\S-1-5-21-") && row.ends_with(L"\\KTL");
  });
  ASSERT_NE(keys.end(), ktlOfUser);
  const std::wstring settings = *ktlOfUser + L"\\Settings";
  keys.insert(keys.end(), {settings, kMaker + L"\\App\\Inner", kMaker + L"\\App\\Inner\\Deep"});
  EXPECT_EQ(keys, work.registryKeys);
  EXPECT_THAT(work.registryValues,
              ElementsAre(settings + L"\\s", kMaker + L"\\App\\Inner\\Deep\\", kMaker + L"\\App\\Inner\\x",
                          kMaker + L"\\App\\Version", kMaker + L"\\Driver\\d", kMaker + L"\\Other\\generic",
                          kMaker + L"\\Other\\application", kMaker + L"\\Other\\driver"));
  EXPECT_THAT(work.registryKeysEmpty, ElementsAre(kMaker)) << "neither walked nor taken away";
}

TEST_F(RegistryCollector, UnknownHiveIsLoggedAndStaysARow) {
  data.RegistryKeys = {L"HKLM\\SOFTWARE\\ORV", L"HKEY_USERS\\S-1-5-21-***\\Software\\ORV"};
  data.ExcludedRegistryKeys = {L"hkey_local_machine\\SOFTWARE\\ORV"};
  const CapturedLog log;
  handleRegistries();
  const std::vector<std::string> lines = log.lines();
  ASSERT_THAT(lines, SizeIs(12));
  EXPECT_EQ("DEBUG getRegistryKeysValuesRecursively: HKLM---------hkey is NULL---------------SOFTWARE\\ORV", lines[4]);
  EXPECT_EQ(
      "DEBUG getRegistryKeysValuesRecursively: hkey_local_machine---------hkey is NULL---------------SOFTWARE\\ORV",
      lines[7]);
  EXPECT_EQ(data.RegistryKeys, keysOfTheMachine()) << "a star means nothing in a registry row";
}

TEST_F(RegistryCollector, RowsThatNameAPlaceOfTheSystemAreRefused) {
  plantString(kMaker + L"\\Go", L"gone", L"1");
  data.RegistryKeys = {kSoftware, kMaker + L"\\Go"};
  data.RegistryKeysEmpty = {L"HKEY_LOCAL_MACHINE\\SYSTEM", kMaker};
  const CapturedLog log;
  handleRegistries();
  EXPECT_THAT(keysOfTheMachine(), ElementsAre(kMaker + L"\\Go"));
  EXPECT_THAT(work.registryKeysEmpty, ElementsAre(kMaker));
  EXPECT_THAT(work.registryValues, ElementsAre(kMaker + L"\\Go\\gone"));
  const std::string refused = "] names a place of the system and is not carried out";
  EXPECT_THAT(log.lines(), ::testing::IsSupersetOf({"ERROR Row[HKEY_LOCAL_MACHINE\\SOFTWARE" + refused,
                                                    "ERROR Row[HKEY_LOCAL_MACHINE\\SYSTEM" + refused}));
}

TEST_F(RegistryCollector, KeyOfTheProgramsThatStartWithWindowsIsRefusedAndAValueInItIsNot) {
  const std::wstring run = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
  plantString(run, L"ORVTrayAgent", L"agent.exe");
  plantString(run, L"Other", L"other.exe");
  data.RegistryKeys = {run};
  data.RegistryValues = {run + L"\\ORVTrayAgent"};
  const CapturedLog log;
  handleRegistries();
  EXPECT_THAT(keysOfTheMachine(), IsEmpty());
  EXPECT_THAT(work.registryValues, ElementsAre(run + L"\\ORVTrayAgent"));
  EXPECT_THAT(log.lines(),
              ::testing::Contains("ERROR Row[" + narrow(run) + "] names a place of the system and is not carried out"));
}

TEST_F(RegistryCollector, ProtectedKeyKeepsItselfItsContentsAndItsAncestors) {
  plantString(kMaker + L"\\Keep\\Inner", L"kept", L"1");
  plantString(kMaker + L"\\Go", L"gone", L"1");
  data.RegistryKeys = {kMaker};
  data.RegistryKeysEmpty = {kMaker};
  data.ExcludedRegistryKeys = {kMaker + L"\\Keep"};
  const ProtectedRegistryRows rows = handleRegistries();
  const std::wstring keep = kMaker + L"\\Keep";
  EXPECT_EQ(rows.keys, (ProtectedRows{{kMaker, keep}, {keep, keep}, {keep + L"\\Inner", keep}}));
  EXPECT_EQ(rows.values, (ProtectedRows{{keep + L"\\Inner\\kept", keep}}));
  EXPECT_THAT(keysOfTheMachine(), ElementsAre(kMaker + L"\\Go"));
  EXPECT_THAT(work.registryValues, ElementsAre(kMaker + L"\\Go\\gone"));
  EXPECT_THAT(exclusions.excludedRegistryKeys,
              ElementsAre(kSoftware, kMaker, kMaker + L"\\Keep", kMaker + L"\\Keep\\Inner"));
  EXPECT_THAT(exclusions.excludedRegistryValues, ElementsAre(kMaker + L"\\Keep\\Inner\\kept"));
  EXPECT_THAT(work.registryKeysEmpty, ElementsAre(kMaker)) << "no exclusion reaches this list";
}

TEST_F(RegistryCollector, ProtectedKeyThatDoesNotExistProtectsNothing) {
  plantKey(kMaker + L"\\Go");
  data.RegistryKeys = {kMaker + L"\\Go", kMaker + L"\\Missing"};
  data.ExcludedRegistryKeys = {kMaker + L"\\Missing"};
  handleRegistries();
  EXPECT_THAT(keysOfTheMachine(), ElementsAre(kMaker + L"\\Go", kMaker + L"\\Missing"));
  EXPECT_THAT(exclusions.excludedRegistryKeys, IsEmpty());
}

TEST_F(RegistryCollector, ProtectedKeyInOtherCaseProtectsNothing) {
  plantKey(kMaker + L"\\Keep");
  data.RegistryKeys = {kMaker + L"\\Keep"};
  data.ExcludedRegistryKeys = {kMaker + L"\\KEEP"};
  handleRegistries();
  EXPECT_THAT(keysOfTheMachine(), ElementsAre(kMaker + L"\\Keep"));
}

TEST_F(RegistryCollector, ExclusionsThatStandAlreadyCount) {
  plantKey(kMaker + L"\\Rejected");
  plantKey(kMaker + L"\\Go");
  exclusions.excludedRegistryKeys = {kMaker + L"\\Rejected"};
  exclusions.excludedRegistryValues = {kMaker + L"\\Other\\rejected"};
  data.RegistryKeys = {kMaker + L"\\Rejected", kMaker + L"\\Go"};
  data.RegistryValues = {kMaker + L"\\Other\\rejected", kMaker + L"\\Other\\listed", kMaker + L"\\Other\\Listed"};
  data.ExcludedRegistryValues = {kMaker + L"\\Other\\listed"};
  handleRegistries();
  EXPECT_THAT(keysOfTheMachine(), ElementsAre(kMaker + L"\\Go"));
  EXPECT_THAT(work.registryValues, ElementsAre(kMaker + L"\\Other\\Listed"));
}

// A factory reset protects this one value: what restores the machine reads it afterwards.
TEST_F(RegistryCollector, ProtectedValueKeepsItsKeyAndNoOtherValue) {
  plantString(kInstall, L"GraphicType", L"1");
  plantString(kInstall, L"InstallDir", L"C:\\Program Files\\ORV");
  plantString(kInstall + L"\\Packages", L"count", L"1");
  data.RegistryKeys = {kInstall};
  data.ExcludedRegistryValues = {kInstall + L"\\GraphicType"};
  const ProtectedRegistryRows rows = handleRegistries();
  EXPECT_EQ(rows.keys, (ProtectedRows{{kInstall, kInstall + L"\\GraphicType"}}));
  EXPECT_EQ(rows.values, (ProtectedRows{{kInstall + L"\\GraphicType", kInstall + L"\\GraphicType"}}));
  EXPECT_THAT(keysOfTheMachine(), ElementsAre(kInstall + L"\\Packages"));
  EXPECT_THAT(work.registryValues, ElementsAre(kInstall + L"\\Packages\\count", kInstall + L"\\InstallDir"));
}

TEST_F(RegistryCollector, ProtectedValueDoesNotKeepTheKeysAbove) {
  plantString(kInstall, L"GraphicType", L"1");
  data.RegistryKeys = {kSoftware + L"\\KTL Systems"};
  data.ExcludedRegistryValues = {kInstall + L"\\GraphicType"};
  handleRegistries();
  EXPECT_THAT(keysOfTheMachine(), ElementsAre(kSoftware + L"\\KTL Systems"));
}

TEST_F(RegistryCollector, ManyRowsAreCollectedWhole) {
  constexpr std::size_t kRows = 50'000;
  for (std::size_t i = 0; i < kRows; ++i) {
    data.RegistryValues.push_back(kMaker + L"\\Other\\row " + std::to_wstring(i));
    data.ExcludedRegistryValues.push_back(kMaker + L"\\Other\\row " + std::to_wstring(2 * i));
  }
  handleRegistries();
  EXPECT_THAT(work.registryValues, SizeIs(kRows / 2));
  EXPECT_THAT(work.registryValues, Not(Contains(kMaker + L"\\Other\\row 100")));
}

TEST_F(ExcludedKeyAncestors, AreAddedInOrderOfCodeUnitsEachOnce) {
  plantKey(kMaker + L"\\b\\c");
  plantKey(kMaker + L"\\B");
  Rows keys = {kMaker + L"\\b\\c", kMaker + L"\\B", kMaker + L"\\b\\c"};
  addExcludedKeyAncestors(keys);
  EXPECT_THAT(keys, ElementsAre(kSoftware, kMaker, kMaker + L"\\B", kMaker + L"\\b", kMaker + L"\\b\\c"))
      << "the hive alone is never protected";
}

TEST_F(ExcludedKeyAncestors, KeysThatCannotBeOpenedAreDropped) {
  plantKey(kMaker);
  Rows keys = {kMaker + L"\\Missing", L"HKLM\\SOFTWARE\\ORV", L"HKEY_LOCAL_MACHINE", L"", kMaker};
  addExcludedKeyAncestors(keys);
  EXPECT_THAT(keys, ElementsAre(kSoftware, kMaker));
}

TEST_F(ExcludedKeyAncestors, KeyThatRefusesFullAccessIsDropped) {
  plantKey(kMaker + L"\\Guarded");
  plantKey(kMaker + L"\\Open");
  keyWithoutFullAccess = L"SOFTWARE\\ORV\\Guarded";
  Rows keys = {kMaker + L"\\Guarded", kMaker + L"\\Open"};
  addExcludedKeyAncestors(keys);
  EXPECT_THAT(keys, ElementsAre(kSoftware, kMaker, kMaker + L"\\Open"));
}

TEST_F(ExcludedKeyAncestors, KeyRightBelowTheHiveHasNone) {
  Rows keys = {kSoftware};
  addExcludedKeyAncestors(keys);
  EXPECT_THAT(keys, ElementsAre(kSoftware));
  keys.clear();
  addExcludedKeyAncestors(keys);
  EXPECT_THAT(keys, IsEmpty());
}

}  // namespace
