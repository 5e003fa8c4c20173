#include "applications/forced_removal.h"

#include <vector>

#include <windows.h>

#include "applications/installer_products.h"
#include "applications/product_traces.h"
#include "system/log.h"
#include "system/registry.h"
#include "system/text_case.h"
#include "system/tree_removal.h"

namespace {

constexpr REGSAM kReadWrite = KEY_READ | KEY_SET_VALUE | KEY_CREATE_SUB_KEY;

constexpr wchar_t kUninstallList[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
constexpr wchar_t kUserData[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData";
constexpr wchar_t kUserDataUpgradeCodes[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UpgradeCodes";
constexpr wchar_t kInstallerFolders[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders";

// Where products are registered: in the classes root, under the machine's classes, or under one user.
struct Registration {
  HKEY root;
  std::wstring installerKey;
};

// Runs one step and ignores whatever it throws: what cannot be read is skipped, and the walk goes on.
template <class Step>
void guarded(Step step) {
  try {
    step();
  } catch (...) {
  }
}

// Deletes the product's icon folder and its entries in the installer's list of folders.
void removeIconFolder(const std::wstring& productCode) {
  const std::wstring folder = FindIconFolder(productCode);
  if (!removeSingleEntry(folder) && ::GetLastError() == ERROR_DIR_NOT_EMPTY) {
    guarded([&folder] { removeTree(folder); });
  }
  const RegistryKey folders = OpenRegistryKey(HKEY_LOCAL_MACHINE, kInstallerFolders, kReadWrite);
  for (const std::wstring& name : FindFolderValues(folders.get(), folder)) {
    ::RegDeleteValueW(folders.get(), name.c_str());
  }
}

// Removes the product from the keys below `path` that list products by value name. Keys that list no other product are
// deleted.
void removeFromProductLists(HKEY root, const std::wstring& path, const std::wstring& product) {
  const RegistryKey lists = OpenRegistryKey(root, path, kReadWrite);
  for (const std::wstring& name : EnumerateSubkeys(lists.get())) {
    const RegistryKey list = OpenRegistryKey(lists.get(), name, kReadWrite);
    switch (FindInProductList(list.get(), product)) {
      case ListedAs::OneOfSeveral:
        ::RegDeleteValueW(list.get(), product.c_str());
        break;
      case ListedAs::OnlyOne:
        ::RegDeleteTreeW(lists.get(), name.c_str());
        break;
      case ListedAs::NotAtAll:
        break;
    }
  }
}

void removeFromUninstallList(const std::wstring& productName) {
  const RegistryKey list = OpenRegistryKey(HKEY_LOCAL_MACHINE, kUninstallList, kReadWrite);
  for (const std::wstring& entry : EnumerateSubkeys(list.get())) {
    guarded([&] {
      if (bearsName(list.get(), entry.c_str(), L"DisplayName", productName)) {
        ::RegDeleteTreeW(list.get(), entry.c_str());
      }
    });
  }
}

void removeUserDataOfProduct(HKEY products, const std::wstring& sid, const std::wstring& product,
                             const std::wstring& productName) {
  const RegistryKey properties = OpenRegistryKey(products, product + L"\\InstallProperties", kReadWrite);
  if (!bearsName(properties.get(), nullptr, L"DisplayName", productName)) {
    return;
  }
  guarded(
      [&] { removeIconFolder(ExtractBracedGuid(GetRegistryString(properties.get(), nullptr, L"UninstallString"))); });
  removeFromProductLists(HKEY_LOCAL_MACHINE, kUserDataUpgradeCodes, product);
  removeFromProductLists(HKEY_LOCAL_MACHINE, kUserData + (L"\\" + sid) + L"\\Components", product);
  removeSingleEntry(GetRegistryString(properties.get(), nullptr, L"LocalPackage"));
  ::RegDeleteTreeW(products, product.c_str());
}

void removeUserData(const std::wstring& productName) {
  const std::vector<std::wstring> sids =
      EnumerateSubkeys(OpenRegistryKey(HKEY_LOCAL_MACHINE, kUserData, kReadWrite).get());
  for (const std::wstring& sid : sids) {
    if (!ContainsNoCase(sid, L"s-1-5")) {
      continue;
    }
    guarded([&] {
      const RegistryKey products =
          OpenRegistryKey(HKEY_LOCAL_MACHINE, kUserData + (L"\\" + sid) + L"\\Products", kReadWrite);
      for (const std::wstring& product : EnumerateSubkeys(products.get())) {
        guarded([&] { removeUserDataOfProduct(products.get(), sid, product, productName); });
      }
    });
  }
}

// Removes the products with that name from one registration. `removeFiles` is called for each before its entries are
// deleted.
template <class RemoveFiles>
void removeRegistration(const Registration& registration, const std::wstring& productName, RemoveFiles removeFiles) {
  const RegistryKey products =
      OpenRegistryKey(registration.root, registration.installerKey + L"\\Products", kReadWrite);
  for (const std::wstring& product : EnumerateSubkeys(products.get())) {
    guarded([&] {
      if (!bearsName(products.get(), product.c_str(), L"ProductName", productName)) {
        return;
      }
      removeFiles(products.get(), product);
      removeFromProductLists(registration.root, registration.installerKey + L"\\UpgradeCodes", product);
      const RegistryKey features =
          OpenRegistryKey(registration.root, registration.installerKey + L"\\Features", kReadWrite);
      ::RegDeleteTreeW(features.get(), product.c_str());
      ::RegDeleteTreeW(products.get(), product.c_str());
    });
  }
}

void removeNoFiles(HKEY, const std::wstring&) {}

void removeIconFolderOf(HKEY products, const std::wstring& product) {
  guarded([&] { removeIconFolder(ExtractBracedGuid(GetRegistryString(products, product.c_str(), L"ProductIcon"))); });
}

void removeRegistrationOfUsers(const std::wstring& productName) {
  const RegistryKey users = OpenRegistryKey(HKEY_USERS, L"", kReadWrite);
  for (const std::wstring& user : EnumerateSubkeys(users.get())) {
    guarded([&] {
      removeRegistration({HKEY_USERS, user + L"\\Software\\Microsoft\\Installer"}, productName, removeNoFiles);
    });
  }
}

}  // namespace

void ForceRemoveProduct(const std::wstring& productName) {
  removeFromUninstallList(productName);
  removeUserData(productName);
  removeRegistration({HKEY_CLASSES_ROOT, L"Installer"}, productName, removeIconFolderOf);
  removeRegistration({HKEY_LOCAL_MACHINE, L"Software\\Classes\\Installer"}, productName, removeNoFiles);
  removeRegistrationOfUsers(productName);
}

void forceRemoveProducts(const std::set<std::wstring>& productNames) {
  for (const std::wstring& name : productNames) {
    LogDebug(L"Force removing %s.", name.c_str());
    ForceRemoveProduct(name);
  }
}

int ForceRemoveRelatedProducts(const std::wstring& upgradeCode) {
  forceRemoveProducts(FindProductNames(upgradeCode));
  return -1;
}
