// forced_removal_refusals_test - a forced removal with failing registry calls: failing to open the key of a whole step
// ends it, failing to delete a single entry does not.
#include "applications/forced_removal.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "applications/forced_removal_fixture.h"
#include "support/link_seam.h"
#include "system/registry.h"

using testing::Each;
using testing::StartsWith;

namespace {

// A key that cannot be opened, or whose subkeys cannot be listed.
struct Refusal {
  HKEY root = nullptr;
  std::wstring subkey;
  bool listing = false;
  HKEY opened = nullptr;
};
Refusal refusal;
bool valuesRefuse = false;     // no value of any key can be listed
bool deletionsRefuse = false;  // no key and no value can be deleted
std::vector<REGSAM> accesses;  // of all opened keys
int refusedDeletions = 0;

}  // namespace

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY key, LPCWSTR subkey, DWORD options, REGSAM access, PHKEY result)) {
  accesses.push_back(access);
  const bool meant = refusal.root && key == refusal.root && subkey && refusal.subkey == subkey;
  if (meant && !refusal.listing) {
    return ERROR_ACCESS_DENIED;
  }
  const LSTATUS status =
      realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(key, subkey, options, access, result);
  if (meant) {
    refusal.opened = *result;
  }
  return status;
}

LINK_SEAM(LSTATUS, RegQueryInfoKeyW,
          (HKEY key, LPWSTR className, LPDWORD classLength, LPDWORD reserved, LPDWORD subkeys, LPDWORD longestSubkey,
           LPDWORD longestClass, LPDWORD values, LPDWORD longestName, LPDWORD longestValue, LPDWORD security,
           PFILETIME written)) {
  if (refusal.opened && key == refusal.opened) {
    return ERROR_ACCESS_DENIED;
  }
  return realFunction<decltype(&::RegQueryInfoKeyW)>(L"advapi32.dll", "RegQueryInfoKeyW")(
      key, className, classLength, reserved, subkeys, longestSubkey, longestClass, values, longestName, longestValue,
      security, written);
}

LINK_SEAM(LSTATUS, RegEnumValueW,
          (HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPDWORD type, LPBYTE data,
           LPDWORD size)) {
  if (valuesRefuse) {
    return ERROR_ACCESS_DENIED;
  }
  return realFunction<decltype(&::RegEnumValueW)>(L"advapi32.dll", "RegEnumValueW")(key, index, name, length, reserved,
                                                                                    type, data, size);
}

LINK_SEAM(LSTATUS, RegDeleteTreeW, (HKEY key, LPCWSTR subkey)) {
  if (deletionsRefuse) {
    ++refusedDeletions;
    return ERROR_ACCESS_DENIED;
  }
  return realFunction<decltype(&::RegDeleteTreeW)>(L"advapi32.dll", "RegDeleteTreeW")(key, subkey);
}

LINK_SEAM(LSTATUS, RegDeleteValueW, (HKEY key, LPCWSTR name)) {
  if (deletionsRefuse) {
    ++refusedDeletions;
    return ERROR_ACCESS_DENIED;
  }
  return realFunction<decltype(&::RegDeleteValueW)>(L"advapi32.dll", "RegDeleteValueW")(key, name);
}

namespace {

class Refusals : public ForcedRemovalFixture {
 protected:
  void SetUp() override {
    accept();
    ForcedRemovalFixture::SetUp();
  }
  void TearDown() override {
    accept();
    ForcedRemovalFixture::TearDown();
  }

  // Lets all calls succeed again.
  static void accept() {
    refusal = {};
    valuesRefuse = deletionsRefuse = false;
  }

  // A product with the name in each place that the removal searches.
  void plantEverywhere() {
    plantString(kUninstallKey + L"\\entry", L"DisplayName", kName);
    plantComplete(kSystem);
    for (const std::wstring& key : {kClassesRoot, kMachineInstallerKey, kDefaultUser}) {
      plantRegistration(key, kPacked, kName);
    }
  }
};

using Deletions = Refusals;
using Keys = Refusals;
using TopKeys = Refusals;
using ValueNames = Refusals;

std::string errorOfListing(HKEY key) {
  try {
    ListValueNames(key);
  } catch (const RegKeyError& error) {
    EXPECT_EQ(error.code().value(), ERROR_ACCESS_DENIED);
    return error.what();
  }
  return "nothing was raised";
}

}  // namespace

TEST_F(ValueNames, OfAKeyThatRefusesRaiseAnError) {
  plantString(kFolders, L"name", L"");
  const RegistryKey key = OpenRegistryKey(
      HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders", KEY_READ);
  valuesRefuse = true;
  EXPECT_THAT(errorOfListing(key.get()), StartsWith("Unable to get enumerate subkeys"));
  refusal.opened = key.get();
  EXPECT_THAT(errorOfListing(key.get()), StartsWith("Unable to get query key information"));
}

TEST_F(Keys, AreOpenedToReadAndWriteAndForNoMore) {
  separateClassesRoot();
  plantEverywhere();
  accesses.clear();
  ForceRemoveProduct(kName);
  EXPECT_GT(accesses.size(), 10u);
  EXPECT_THAT(accesses, Each(REGSAM{0x2001F}));
}

TEST_F(Deletions, ThatAreRefusedKeepNothingElseFromGoing) {
  separateClassesRoot();
  plantEverywhere();
  ::CreateDirectoryW((kInstallerFolder + L"\\" + kCode).c_str(), nullptr);
  plantString(kFolders, kInstallerFolder + L"\\" + kCode + L"\\", L"");
  refusedDeletions = 0;
  deletionsRefuse = true;
  ForceRemoveProduct(kName);
  accept();
  // The uninstall entry; the folder's value, the upgrade code, the component and the product; three each in the classes
  // root, the machine's classes and the user's.
  EXPECT_EQ(refusedDeletions, 1 + 4 + 3 + 3 + 3);
  EXPECT_FALSE(pathExists(kInstallerFolder + L"\\" + kCode));
  EXPECT_FALSE(pathExists(package_));
}

TEST_F(TopKeys, ThatRefuseEndTheRemovalThere) {
  const std::wstring current = L"Software\\Microsoft\\Windows\\CurrentVersion\\";
  const std::pair<HKEY, std::wstring> keys[] = {{HKEY_LOCAL_MACHINE, current + L"Uninstall"},
                                                {HKEY_LOCAL_MACHINE, current + L"Installer\\UserData"},
                                                {HKEY_CLASSES_ROOT, L"Installer\\Products"},
                                                {HKEY_LOCAL_MACHINE, L"Software\\Classes\\Installer\\Products"},
                                                {HKEY_USERS, L""}};
  const std::wstring witnesses[] = {
      kUninstallKey + L"\\entry", productsOf(kSystem) + L"\\" + kPacked, kClassesRoot + L"\\Products\\" + kPacked,
      kMachineInstallerKey + L"\\Products\\" + kPacked, kDefaultUser + L"\\Products\\" + kPacked};
  separateClassesRoot();
  for (const bool listing : {false, true}) {
    for (std::size_t step = 0; step < std::size(keys); ++step) {
      plantEverywhere();
      refusal = {keys[step].first, keys[step].second, listing};
      try {
        ForceRemoveProduct(kName);
        ADD_FAILURE() << "nothing was raised in step " << step + 1;
      } catch (const RegKeyError& error) {
        EXPECT_EQ(error.code().value(), ERROR_ACCESS_DENIED);
        EXPECT_THAT(error.what(),
                    StartsWith(listing ? "Unable to get query key information" : "Unable to open registry key"));
      }
      refusal = {};
      for (std::size_t witness = 0; witness < std::size(witnesses); ++witness) {
        EXPECT_EQ(keyExists(witnesses[witness]), witness >= step) << "step " << step + 1 << ", listing " << listing;
      }
    }
  }
}

TEST_F(TopKeys, ThatAreMissingRaiseAnErrorToo) {
  removeKey(kUninstallKey);
  plantComplete(kSystem);
  EXPECT_THROW(ForceRemoveProduct(kName), RegKeyError);
  EXPECT_TRUE(stands(kSystem));
  EXPECT_TRUE(pathExists(package_));
}
