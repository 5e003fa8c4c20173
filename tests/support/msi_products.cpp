#include "support/msi_products.h"

#include <filesystem>
#include <stdexcept>

#include <gtest/gtest.h>

#include <windows.h>

#include <msi.h>

#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/test_registry.h"

namespace {

// The packed form of a code {xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}: the first three groups reversed, and each pair of
// digits in the others.
std::wstring packed(const std::wstring& code) {
  static constexpr int kOrder[] = {8,  7,  6,  5,  4,  3,  2,  1,  13, 12, 11, 10, 18, 17, 16, 15,
                                   21, 20, 23, 22, 26, 25, 28, 27, 30, 29, 32, 31, 34, 33, 36, 35};
  std::wstring result;
  for (const int position : kOrder) {
    result += code[static_cast<std::size_t>(position)];
  }
  return result;
}

MsiProduct makeProduct(const wchar_t* package, const wchar_t* name, const std::wstring& productDigit,
                       const std::wstring& upgradeDigit) {
  const std::wstring productCode = L"{B0000000-0000-4000-8000-00000000000" + productDigit + L"}";
  const std::wstring upgradeCode = L"{B1000000-0000-4000-8000-00000000000" + upgradeDigit + L"}";
  const std::wstring componentCode = L"{B2000000-0000-4000-8000-00000000000" + productDigit + L"}";
  return {package, name, productCode, packed(productCode), upgradeCode, packed(upgradeCode), packed(componentCode)};
}

// Not through a test's replacement: planting must not count among the calls that a test watches.
UINT runInstaller(const std::wstring& package, const wchar_t* properties) {
  ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
  return realFunction<decltype(&::MsiInstallProductW)>(L"msi.dll", "MsiInstallProductW")(package.c_str(), properties);
}

std::wstring packageFile(const MsiProduct& product) {
  const HRSRC resource = ::FindResourceW(nullptr, product.package.c_str(), MAKEINTRESOURCEW(10));
  if (!resource) {
    throw std::invalid_argument("no such package");
  }
  const auto* bytes = static_cast<const char*>(::LockResource(::LoadResource(nullptr, resource)));
  static const TestFolder folder;
  return folder.makeFile(product.package + L".msi", std::string(bytes, ::SizeofResource(nullptr, resource)));
}

// Prints what is there but should not be.
bool isGone(bool there, const std::wstring& what) {
  EXPECT_FALSE(there) << "left: " << testing::PrintToString(what);
  return !there;
}

}  // namespace

const MsiProduct kWidget = makeProduct(L"widget", L"Bench Widget", L"1", L"1");
const MsiProduct kGadget = makeProduct(L"gadget", L"Bench Gadget", L"2", L"1");
const MsiProduct kTwin = makeProduct(L"twin", L"Bench Widget", L"3", L"1");
const MsiProduct kNeighbour = makeProduct(L"neighbour", L"Bench Widget 2", L"4", L"4");

std::wstring MsiProduct::payload() const {
  return L"C:\\Program Files\\Bench\\bench-" + package + L"\\payload.txt";
}

std::wstring MsiProduct::iconFolder() const {
  return kInstallerFolder + L"\\" + productCode;
}

std::wstring MsiProduct::userDataKey() const {
  return kInstallerKey + L"\\UserData\\S-1-5-18\\Products\\" + packedCode;
}

void install(const MsiProduct& product) {
  ASSERT_EQ(runInstaller(packageFile(product), L""), static_cast<UINT>(ERROR_SUCCESS));
  ASSERT_TRUE(isInstalled(product));
  ASSERT_TRUE(pathExists(cachedPackageOf(product)));
  ASSERT_TRUE(pathExists(product.iconFolder()));
}

unsigned uninstall(const MsiProduct& product) {
  const UINT result = runInstaller(cachedPackageOf(product), L"REMOVE=ALL");
  mendUpgradeCodes();
  return result;
}

bool isInstalled(const MsiProduct& product) {
  return ::MsiQueryProductStateW(product.productCode.c_str()) == INSTALLSTATE_DEFAULT;
}

bool isWiped(const MsiProduct& product, const std::wstring& cachedPackage) {
  bool wiped = isGone(isInstalled(product), product.productCode);
  wiped &= isGone(pathExists(cachedPackage), cachedPackage);
  wiped &= isGone(pathExists(product.iconFolder()), product.iconFolder());
  for (const std::wstring& key : {
           product.userDataKey(),
           kUninstallKey + L"\\" + product.productCode,
           kInstallerKey + L"\\UserData\\S-1-5-18\\Components\\" + product.packedComponentCode,
           kMachineInstallerKey + L"\\Products\\" + product.packedCode,
           kMachineInstallerKey + L"\\Features\\" + product.packedCode,
       }) {
    wiped &= isGone(keyExists(key), key);
  }
  for (const std::wstring& installerKey : {kInstallerKey, kMachineInstallerKey}) {
    const std::wstring list = installerKey + L"\\UpgradeCodes\\" + product.packedUpgradeCode;
    wiped &= isGone(valueExists(list, product.packedCode), list);
  }
  return wiped;
}

std::wstring cachedPackageOf(const MsiProduct& product) {
  return readString(product.userDataKey() + L"\\InstallProperties", L"LocalPackage").value_or(L"");
}

void letRemovalFail(const std::wstring& productName) {
  ::SetEnvironmentVariableW(L"BENCH_FAILING_REMOVAL", productName.empty() ? nullptr : productName.c_str());
}

void letRemovalAskForRestart(const std::wstring& productName) {
  ::SetEnvironmentVariableW(L"BENCH_RESTARTING_REMOVAL", productName.empty() ? nullptr : productName.c_str());
}

void mendUpgradeCodes() {
  for (const MsiProduct* product : {&kWidget, &kGadget, &kTwin, &kNeighbour}) {
    if (isInstalled(*product)) {
      for (const std::wstring& installerKey : {kInstallerKey, kMachineInstallerKey}) {
        plantString(installerKey + L"\\UpgradeCodes\\" + product->packedUpgradeCode, product->packedCode, L"");
      }
    }
  }
}

void forgetProducts() {
  letRemovalFail(L"");
  letRemovalAskForRestart(L"");
  for (const MsiProduct* product : {&kWidget, &kGadget, &kTwin, &kNeighbour}) {
    ::DeleteFileW(product->payload().c_str());
  }
  for (const std::wstring& key :
       {kUninstallKey, kInstallerKey + L"\\UserData\\S-1-5-18\\Products",
        kInstallerKey + L"\\UserData\\S-1-5-18\\Components", kInstallerKey + L"\\UpgradeCodes",
        kInstallerKey + L"\\Folders", kMachineInstallerKey + L"\\Products", kMachineInstallerKey + L"\\Features",
        kMachineInstallerKey + L"\\UpgradeCodes"}) {
    removeKey(key);
    plantKey(key);
  }
  std::filesystem::remove_all(kInstallerFolder);  // no test leaves a link in it
  ::CreateDirectoryW(kInstallerFolder.c_str(), nullptr);
}
