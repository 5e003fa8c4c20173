#include "system/restart_note.h"

#include <gtest/gtest.h>

#include <string>

#include "support/reg_key_error.h"
#include "support/test_registry.h"

namespace {

const std::wstring kSubkey = L"SOFTWARE\\RestartNoteTest";
const std::wstring kKey = L"HKEY_LOCAL_MACHINE\\" + kSubkey;

class RestartNote : public testing::Test {
 protected:
  RestartNote() { plantKey(kKey); }
  ~RestartNote() override { removeKey(kKey); }

  static RegistryKey open(REGSAM access = KEY_READ) { return OpenRegistryKey(HKEY_LOCAL_MACHINE, kSubkey, access); }
};

}  // namespace

using CleanupUtilityKey = RestartNote;

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

using SetRegistryDwordOneTest = RestartNote;

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
