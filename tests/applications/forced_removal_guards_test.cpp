// forced_removal_guards_test - how far a forced removal gets if part of the installer's data is missing or unreadable.
// None of this is logged.
#include "applications/forced_removal.h"

#include <algorithm>
#include <string>

#include <gmock/gmock.h>

#include "applications/forced_removal_fixture.h"
#include "support/captured_log.h"

namespace {

class Guards : public ForcedRemovalFixture {
 protected:
  void TearDown() override {
    EXPECT_EQ(log_.lines(), std::vector<std::string>());
    ForcedRemovalFixture::TearDown();
  }

 private:
  const CapturedLog log_;
};

using UninstallList = Guards;
using UserData = Guards;
using ProductLists = Guards;
using ClassesRoot = Guards;
using MachineClasses = Guards;
using Users = Guards;

}  // namespace

TEST_F(UninstallList, LosesEveryEntryOfTheNameAndNoUnreadableOne) {
  for (const wchar_t* entry : {L"b", L"d", L"f"}) {
    plantString(kUninstallKey + L"\\" + entry, L"DisplayName", kName);
    plantString(kUninstallKey + L"\\" + entry + L"\\below", L"x", L"");
  }
  plantKey(kUninstallKey + L"\\a");
  plantDword(kUninstallKey + L"\\c", L"DisplayName", 1);
  plantString(kUninstallKey + L"\\e", L"DisplayName", std::wstring(130, L'n'));
  ForceRemoveProduct(kName);
  for (const wchar_t* entry : {L"a", L"c", L"e"}) {
    EXPECT_TRUE(keyExists(kUninstallKey + L"\\" + entry)) << entry;
  }
  for (const wchar_t* entry : {L"b", L"d", L"f"}) {
    EXPECT_FALSE(keyExists(kUninstallKey + L"\\" + entry)) << entry;
  }
}

// 32-bit installers write to a different key, which the removal does not open.
TEST_F(UninstallList, OfThe32BitProgramsKeepsItsEntry) {
  const std::wstring entry =
      L"HKEY_LOCAL_MACHINE\\Software\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" + kCode;
  plantString(entry, L"DisplayName", kName);
  plantString(kUninstallKey + L"\\" + kCode, L"DisplayName", kName);
  ForceRemoveProduct(kName);
  EXPECT_TRUE(keyExists(entry));
  EXPECT_FALSE(keyExists(kUninstallKey + L"\\" + kCode));
  removeKey(entry);
}

TEST_F(UserData, OfEverySidIsTreatedAndOfOtherNamesNot) {
  const std::wstring sids[] = {kSystem, kService, L"s-1-5-21-1-2-3-1001", L"xS-1-5"};
  for (const std::wstring& sid : sids) {
    plantComplete(sid);
  }
  plantComplete(L"S-1-4-18");
  plantComplete(L"Managed");
  ForceRemoveProduct(kName);
  for (const std::wstring& sid : sids) {
    EXPECT_FALSE(stands(sid)) << testing::PrintToString(sid);
    EXPECT_FALSE(keyExists(componentsOf(sid) + L"\\" + kList)) << testing::PrintToString(sid);
  }
  EXPECT_TRUE(stands(L"S-1-4-18"));
  EXPECT_TRUE(stands(L"Managed"));
  EXPECT_TRUE(keyExists(componentsOf(L"Managed") + L"\\" + kList));
}

TEST_F(UserData, WithoutProductsIsPassedOver) {
  removeKey(productsOf(kSystem));
  plantComplete(kService);
  ForceRemoveProduct(kName);
  EXPECT_FALSE(stands(kService));
}

TEST_F(UserData, ProductsThatCannotBeReadArePassedOver) {
  const std::wstring products = productsOf(kSystem);
  plantKey(products + L"\\A0");
  plantKey(products + L"\\A1\\InstallProperties");
  plantString(products + L"\\A2\\InstallProperties", L"DisplayName", std::wstring(130, L'n'));
  plantComplete(kSystem);
  ForceRemoveProduct(kName);
  for (const wchar_t* product : {L"\\A0", L"\\A1", L"\\A2"}) {
    EXPECT_TRUE(keyExists(products + product)) << product;
  }
  EXPECT_FALSE(stands(kSystem));
}

TEST_F(UserData, WithoutUninstallStringLosesAllButTheFolder) {
  plantComplete(kSystem);
  ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE,
                       (productsOf(kSystem).substr(19) + L"\\" + kPacked + L"\\InstallProperties").c_str(),
                       L"UninstallString");
  ASSERT_FALSE(valueExists(productsOf(kSystem) + L"\\" + kPacked + L"\\InstallProperties", L"UninstallString"));
  ::CreateDirectoryW((kInstallerFolder + L"\\" + kCode).c_str(), nullptr);
  plantString(kFolders, kInstallerFolder + L"\\" + kCode + L"\\", L"");
  ForceRemoveProduct(kName);
  EXPECT_TRUE(pathExists(kInstallerFolder + L"\\" + kCode));
  EXPECT_TRUE(valueExists(kFolders, kInstallerFolder + L"\\" + kCode + L"\\"));
  EXPECT_FALSE(keyExists(kInstallerKey + L"\\UpgradeCodes\\" + kList));
  EXPECT_FALSE(keyExists(componentsOf(kSystem) + L"\\" + kList));
  EXPECT_FALSE(pathExists(package_));
  EXPECT_FALSE(stands(kSystem));
}

TEST_F(UserData, WithoutTheListOfFoldersLosesTheRest) {
  plantComplete(kSystem);
  ::CreateDirectoryW((kInstallerFolder + L"\\" + kCode).c_str(), nullptr);
  removeKey(kFolders);
  ForceRemoveProduct(kName);
  EXPECT_FALSE(pathExists(kInstallerFolder + L"\\" + kCode));
  EXPECT_FALSE(keyExists(kInstallerKey + L"\\UpgradeCodes\\" + kList));
  EXPECT_FALSE(keyExists(componentsOf(kSystem) + L"\\" + kList));
  EXPECT_FALSE(pathExists(package_));
  EXPECT_FALSE(stands(kSystem));
}

TEST_F(UserData, WithoutUpgradeCodesStaysBehindTheFolder) {
  plantComplete(kSystem);
  ::CreateDirectoryW((kInstallerFolder + L"\\" + kCode).c_str(), nullptr);
  removeKey(kInstallerKey + L"\\UpgradeCodes");
  ForceRemoveProduct(kName);
  EXPECT_FALSE(pathExists(kInstallerFolder + L"\\" + kCode));
  EXPECT_TRUE(keyExists(componentsOf(kSystem) + L"\\" + kList));
  EXPECT_TRUE(pathExists(package_));
  EXPECT_TRUE(stands(kSystem));
}

TEST_F(UserData, WithoutComponentsStaysAndTheNextSidGoes) {
  plantComplete(kSystem);
  plantComplete(kService);
  removeKey(componentsOf(kSystem));
  ForceRemoveProduct(kName);
  EXPECT_FALSE(keyExists(kInstallerKey + L"\\UpgradeCodes\\" + kList));
  EXPECT_TRUE(stands(kSystem));
  EXPECT_FALSE(stands(kService));
}

TEST_F(UserData, WithoutLocalPackageKeepsItsProductAndTheNextGoes) {
  plantComplete(kSystem);
  plantUserData(kSystem, kOther, kName, kCode, std::wstring(130, L'n'));
  plantString(kInstallerKey + L"\\UpgradeCodes\\" + kList, kOther, L"");
  plantUserData(kSystem, L"B1", kName, kCode, std::wstring(130, L'n'));
  ForceRemoveProduct(kName);
  EXPECT_TRUE(keyExists(productsOf(kSystem) + L"\\B1"));
  EXPECT_TRUE(keyExists(productsOf(kSystem) + L"\\" + kOther));
  EXPECT_FALSE(stands(kSystem));
  EXPECT_FALSE(keyExists(kInstallerKey + L"\\UpgradeCodes\\" + kList)) << "their values have gone before";
  EXPECT_FALSE(keyExists(componentsOf(kSystem) + L"\\" + kList));
}

TEST_F(ProductLists, LoseTheProductAloneAndGoWhenNothingElseIsInThem) {
  const std::wstring places[] = {kInstallerKey + L"\\UpgradeCodes\\", componentsOf(kSystem) + L"\\"};
  plantUserData(kSystem, kPacked, kName, kCode, package_);
  for (const std::wstring& place : places) {
    plantString(place + L"alone", kPacked, L"");
    plantString(place + L"alone\\below", L"x", L"");
    plantString(place + L"two", kPacked, L"");
    plantString(place + L"two", kOther, L"");
    plantString(place + L"nameless", kPacked, L"");
    plantString(place + L"nameless", L"", L"a default value is a value too");
    plantString(place + L"others", kOther, L"");
    plantKey(place + L"empty");
    std::wstring lower = kPacked;
    std::transform(lower.begin(), lower.end(), lower.begin(), ::towlower);
    plantString(place + L"lower", lower, L"");
    plantString(place + L"longer", kPacked + L"0", L"");
  }
  ForceRemoveProduct(kName);
  for (const std::wstring& place : places) {
    EXPECT_FALSE(keyExists(place + L"alone"));
    for (const wchar_t* list : {L"two", L"nameless"}) {
      EXPECT_TRUE(keyExists(place + list)) << list;
      EXPECT_FALSE(valueExists(place + list, kPacked)) << list;
    }
    EXPECT_TRUE(valueExists(place + L"two", kOther));
    EXPECT_TRUE(valueExists(place + L"nameless", L""));
    EXPECT_TRUE(valueExists(place + L"others", kOther));
    EXPECT_TRUE(keyExists(place + L"empty"));
    EXPECT_TRUE(valueExists(place + L"lower", kPacked)) << "registry names ignore case, the comparison does not";
    EXPECT_TRUE(valueExists(place + L"longer", kPacked + L"0"));
  }
  EXPECT_FALSE(stands(kSystem));
}

TEST_F(ClassesRoot, IsTreatedApartFromTheMachinesClasses) {
  separateClassesRoot();
  plantRegistration(kClassesRoot, kPacked, kName);
  plantRegistration(kClassesRoot, kOther, L"Bench Gadget");
  ForceRemoveProduct(kName);
  EXPECT_FALSE(registrationStands(kClassesRoot, kPacked));
  EXPECT_TRUE(registrationStands(kClassesRoot, kOther));
}

TEST_F(ClassesRoot, WithoutItsIconsCodeOrTheFoldersListLosesTheRest) {
  separateClassesRoot();
  removeKey(kFolders);
  for (const std::wstring& icon : {std::wstring(), std::wstring(L"none"), kCode, std::wstring(130, L'{')}) {
    plantRegistration(kClassesRoot, kPacked, kName);
    if (!icon.empty()) {
      plantString(kClassesRoot + L"\\Products\\" + kPacked, L"ProductIcon", icon);
    }
    ForceRemoveProduct(kName);
    EXPECT_FALSE(registrationStands(kClassesRoot, kPacked)) << testing::PrintToString(icon);
  }
}

TEST_F(MachineClasses, AreTreatedWithoutAFolderStep) {
  separateClassesRoot();
  plantRegistration(kMachineInstallerKey, kPacked, kName);
  plantRegistration(kMachineInstallerKey, kOther, L"Bench Gadget");
  plantString(kMachineInstallerKey + L"\\Products\\" + kPacked, L"ProductIcon", kCode);
  ::CreateDirectoryW((kInstallerFolder + L"\\" + kCode).c_str(), nullptr);
  ForceRemoveProduct(kName);
  EXPECT_FALSE(registrationStands(kMachineInstallerKey, kPacked));
  EXPECT_TRUE(registrationStands(kMachineInstallerKey, kOther));
  EXPECT_TRUE(pathExists(kInstallerFolder + L"\\" + kCode));
}

TEST_F(Users, AreAllTreatedAndThoseWithoutProductsPassedOver) {
  plantRegistration(kSomeUser, kPacked, kName);
  plantRegistration(kSomeUser, kOther, L"Bench Gadget");
  removeKey(kDefaultUser);
  ForceRemoveProduct(kName);
  EXPECT_FALSE(registrationStands(kSomeUser, kPacked));
  EXPECT_TRUE(registrationStands(kSomeUser, kOther));
  plantRegistration(kDefaultUser, kPacked, L"bench widget");
  removeKey(kSomeUser);
  ForceRemoveProduct(kName);
  EXPECT_FALSE(registrationStands(kDefaultUser, kPacked)) << "no test on the user's name";
}

TEST_F(Guards, OfARegistrationSkipOneProductEach) {
  separateClassesRoot();
  for (const std::wstring& key : {kClassesRoot, kMachineInstallerKey, kDefaultUser}) {
    plantKey(key + L"\\Products\\A0");
    plantDword(key + L"\\Products\\A1", L"ProductName", 1);
    plantRegistration(key, kPacked, kName);
  }
  ForceRemoveProduct(kName);
  for (const std::wstring& key : {kClassesRoot, kMachineInstallerKey, kDefaultUser}) {
    EXPECT_TRUE(keyExists(key + L"\\Products\\A0")) << testing::PrintToString(key);
    EXPECT_TRUE(keyExists(key + L"\\Products\\A1")) << testing::PrintToString(key);
    EXPECT_FALSE(registrationStands(key, kPacked)) << testing::PrintToString(key);
  }
}

TEST_F(Guards, OfARegistrationEndItWhereAKeyIsMissing) {
  separateClassesRoot();
  for (const std::wstring& key : {kClassesRoot, kMachineInstallerKey, kDefaultUser}) {
    plantRegistration(key, kPacked, kName);
    removeKey(key + L"\\Features");
  }
  ForceRemoveProduct(kName);
  for (const std::wstring& key : {kClassesRoot, kMachineInstallerKey, kDefaultUser}) {
    EXPECT_FALSE(keyExists(key + L"\\UpgradeCodes\\" + kList)) << testing::PrintToString(key);
    EXPECT_TRUE(keyExists(key + L"\\Products\\" + kPacked)) << testing::PrintToString(key);
    plantRegistration(key, kPacked, kName);
    removeKey(key + L"\\UpgradeCodes");
  }
  ForceRemoveProduct(kName);
  for (const std::wstring& key : {kClassesRoot, kMachineInstallerKey, kDefaultUser}) {
    EXPECT_TRUE(keyExists(key + L"\\Features\\" + kPacked)) << testing::PrintToString(key);
    EXPECT_TRUE(keyExists(key + L"\\Products\\" + kPacked)) << testing::PrintToString(key);
  }
}
