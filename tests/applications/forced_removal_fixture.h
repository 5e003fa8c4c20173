// forced_removal_fixture - plants product registrations in every place where an installer keeps them, and reports what
// is left of them.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/msi_products.h"
#include "support/test_folder.h"
#include "support/test_registry.h"

inline const std::wstring kName = L"Bench Widget";
inline const std::wstring kCode = L"{C0000000-0000-4000-8000-000000000001}";
inline const std::wstring kPacked = L"C1000000000000000000000000000001";  // the product
inline const std::wstring kOther = L"C2000000000000000000000000000002";   // some other product
inline const std::wstring kList = L"C3000000000000000000000000000003";    // an upgrade code or a component

inline const std::wstring kSystem = L"S-1-5-18";
inline const std::wstring kService = L"S-1-5-19";  // enumerated after the system account

inline const std::wstring kUserData = kInstallerKey + L"\\UserData";
inline const std::wstring kFolders = kInstallerKey + L"\\Folders";
// On the bench machine these two are the same key. A test that needs them apart calls separateClassesRoot.
inline const std::wstring kClassesRoot = L"HKEY_CLASSES_ROOT\\Installer";
inline const std::wstring kClasses = L"HKEY_LOCAL_MACHINE\\Software\\Bench classes\\Installer";
inline const std::wstring kDefaultUser = L"HKEY_USERS\\.Default\\Software\\Microsoft\\Installer";
inline const std::wstring kSomeUser = L"HKEY_USERS\\S-1-5-21-0-0-0-1000\\Software\\Microsoft\\Installer";

inline std::wstring productsOf(const std::wstring& sid) {
  return kUserData + L"\\" + sid + L"\\Products";
}

inline std::wstring componentsOf(const std::wstring& sid) {
  return kUserData + L"\\" + sid + L"\\Components";
}

// A product in one user's installer data: all that the forced removal reads there, and one component.
inline void plantUserData(const std::wstring& sid, const std::wstring& product, const std::wstring& name,
                          const std::wstring& uninstallString, const std::wstring& localPackage) {
  const std::wstring properties = productsOf(sid) + L"\\" + product + L"\\InstallProperties";
  plantString(properties, L"DisplayName", name);
  plantString(properties, L"UninstallString", uninstallString, REG_EXPAND_SZ);
  plantString(properties, L"LocalPackage", localPackage);
  plantString(componentsOf(sid) + L"\\" + kList, product, L"C:\\bench\\payload");
}

// A product's registration below an Installer key: its name, a feature and its upgrade code.
inline void plantRegistration(const std::wstring& installerKey, const std::wstring& product, const std::wstring& name) {
  plantString(installerKey + L"\\Products\\" + product, L"ProductName", name);
  plantString(installerKey + L"\\Features\\" + product, L"Main", L"");
  plantString(installerKey + L"\\UpgradeCodes\\" + kList, product, L"");
}

// Whether that registration is still there, as a whole.
inline bool registrationStands(const std::wstring& installerKey, const std::wstring& product) {
  const bool stands = keyExists(installerKey + L"\\Products\\" + product);
  EXPECT_EQ(keyExists(installerKey + L"\\Features\\" + product), stands);
  EXPECT_EQ(valueExists(installerKey + L"\\UpgradeCodes\\" + kList, product), stands);
  return stands;
}

// A machine without other products and with all keys that the forced removal opens.
class ForcedRemovalFixture : public testing::Test {
 protected:
  void SetUp() override {
    forgetProducts();
    removeKey(kUserData);
    for (const std::wstring& key : {productsOf(kSystem), componentsOf(kSystem)}) {
      plantKey(key);
    }
    for (const std::wstring& installerKey : {kClasses, kDefaultUser, kSomeUser}) {
      removeKey(installerKey);
    }
    package_ = folder_.makeFile(L"cached.msi");
    for (const std::wstring& installerKey : {kClasses, kDefaultUser}) {
      for (const wchar_t* key : {L"\\Products", L"\\Features", L"\\UpgradeCodes"}) {
        plantKey(installerKey + key);
      }
    }
  }

  void TearDown() override {
    ::RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
    for (const std::wstring& installerKey : {kClasses, kDefaultUser, kSomeUser}) {
      removeKey(installerKey);
    }
    removeKey(kUserData);
    forgetProducts();
  }

  // Makes the classes root a separate key, as it is for a program that sees the user's classes merged in.
  static void separateClassesRoot() {
    HKEY key = nullptr;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Bench classes", 0, KEY_ALL_ACCESS, &key), ERROR_SUCCESS);
    ASSERT_EQ(::RegOverridePredefKey(HKEY_CLASSES_ROOT, key), ERROR_SUCCESS);
    ::RegCloseKey(key);
    ASSERT_TRUE(keyExists(kClassesRoot + L"\\Products"));
  }

  // The product in one user's data, complete with upgrade code and package.
  void plantComplete(const std::wstring& sid) {
    plantUserData(sid, kPacked, kName, kCode, package_);
    plantString(kInstallerKey + L"\\UpgradeCodes\\" + kList, kPacked, L"");
  }

  static bool stands(const std::wstring& sid) { return keyExists(productsOf(sid) + L"\\" + kPacked); }

  TestFolder folder_;
  std::wstring package_;
};
