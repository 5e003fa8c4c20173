// lower_filters_test - looking for filter driver entries in a device tree of the registry.
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"
#include "system/lower_filters.h"

using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

const std::wstring kTree = L"SOFTWARE\\OrvTest\\Filters\\";
const std::wstring kKey = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\OrvTest\\Filters";
const std::wstring kNames(L"first\0second\0", 13);

std::vector<std::wstring> openedKeys;

class LowerFilters : public ::testing::Test {
 protected:
  void SetUp() override {
    removeKey(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\OrvTest");
    plantKey(kKey);
    openedKeys.clear();
  }
  void TearDown() override {
    EXPECT_THAT(log.lines(), IsEmpty());
    removeKey(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\OrvTest");
  }

  CapturedLog log;
};

}  // namespace

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, const wchar_t* path, DWORD options, REGSAM access, HKEY* key)) {
  if (path && root == HKEY_LOCAL_MACHINE) {
    openedKeys.push_back(path);
  }
  return realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(root, path, options, access, key);
}

TEST_F(LowerFilters, EntryInTheStartKeyIsFound) {
  plantString(kKey, L"LowerFilters", kNames, REG_MULTI_SZ);
  EXPECT_TRUE(HasLowerFilters(kTree));
}

TEST_F(LowerFilters, EntryAmongOtherValuesIsFound) {
  for (const wchar_t* name : {L"", L"A", L"Lower", L"UpperFilters", L"Z"}) {
    plantString(kKey, name, L"text");
  }
  plantString(kKey, L"LowerFilters", kNames, REG_MULTI_SZ);
  EXPECT_TRUE(HasLowerFilters(kTree));
}

TEST_F(LowerFilters, EmptyListIsAnEntry) {
  plantBinary(kKey, L"LowerFilters", REG_MULTI_SZ, {});
  EXPECT_TRUE(HasLowerFilters(kTree));
}

TEST_F(LowerFilters, MissingKeyHasNone) {
  EXPECT_FALSE(HasLowerFilters(L"SOFTWARE\\OrvTest\\Missing\\"));
}

TEST_F(LowerFilters, KeyWithoutValuesHasNone) {
  EXPECT_FALSE(HasLowerFilters(kTree));
}

TEST_F(LowerFilters, OtherTypesDoNotCount) {
  for (const DWORD type : {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD}) {
    plantBinary(kKey, L"LowerFilters", type, {'x', 0, 0, 0});
    EXPECT_FALSE(HasLowerFilters(kTree)) << "type " << type;
  }
}

TEST_F(LowerFilters, OnlyTheExactNameCounts) {
  for (const wchar_t* name : {L"lowerfilters", L"LOWERFILTERS", L"LowerFilter", L"LowerFilters2", L" LowerFilters"}) {
    SetUp();
    plantString(kKey, name, kNames, REG_MULTI_SZ);
    EXPECT_FALSE(HasLowerFilters(kTree));
  }
}

TEST_F(LowerFilters, EntryBelowTheStartKeyDoesNotReachTheCaller) {
  plantString(kKey + L"\\Device", L"LowerFilters", kNames, REG_MULTI_SZ);
  EXPECT_FALSE(HasLowerFilters(kTree));
}

TEST_F(LowerFilters, WholeTreeIsRead) {
  plantKey(kKey + L"\\Device1\\Instance");
  plantKey(kKey + L"\\Device2");
  openedKeys.clear();
  EXPECT_FALSE(HasLowerFilters(kTree));
  EXPECT_THAT(openedKeys,
              UnorderedElementsAre(kTree, kTree + L"Device1\\", kTree + L"Device1\\Instance\\", kTree + L"Device2\\"));
}

TEST_F(LowerFilters, DeepTreeIsReadToItsEnd) {
  constexpr std::size_t kDepth = 60;
  std::wstring deep = kKey;
  for (std::size_t level = 0; level < kDepth; ++level) {
    deep += L"\\level";
  }
  plantKey(deep);
  openedKeys.clear();
  EXPECT_FALSE(HasLowerFilters(kTree));
  EXPECT_EQ(openedKeys.size(), kDepth + 1);
}
