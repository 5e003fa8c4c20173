// forced_removal_test - force-removing a product: what is deleted, what stays of other products, and which files are
// touched.
#include "applications/forced_removal.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "applications/forced_removal_fixture.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/msi_products.h"
#include "support/test_folder.h"
#include "support/test_registry.h"
#include "system/registry.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// On the bench machine RemoveDirectoryW follows a link and removes its target. Windows removes the link.
LINK_SEAM(BOOL, RemoveDirectoryW, (LPCWSTR path)) {
  const DWORD attributes = ::GetFileAttributesW(path);
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    removeDirectoryLink(path);
    return TRUE;
  }
  return realFunction<decltype(&::RemoveDirectoryW)>(L"kernel32.dll", "RemoveDirectoryW")(path);
}

namespace {

using ForceRemove = ForcedRemovalFixture;
using ForceRemoveRelated = ForcedRemovalFixture;
using IconFolder = ForcedRemovalFixture;
using ProductNames = ForcedRemovalFixture;
using CachedPackage = ForcedRemovalFixture;
using ValueNames = ForcedRemovalFixture;

constexpr wchar_t kNoPackage[] = L"C:\\bench\\no such package.msi";

std::wstring iconFolder(const std::wstring& code) {
  return kInstallerFolder + L"\\" + code;
}

// An icon folder with one file in it.
void plantIconFolder(const std::wstring& code) {
  const TestFolder folder;
  folder.makeFile(L"icons\\product.ico");
  ASSERT_TRUE(::MoveFileW((folder / L"icons").c_str(), iconFolder(code).c_str()));
}

// The product with this uninstall string, and its icon folder's entry in the installer's list of folders.
void plantWithUninstallString(const std::wstring& uninstallString) {
  plantString(kInstallerKey + L"\\UpgradeCodes\\" + kList, kPacked, L"");
  plantUserData(L"S-1-5-18", kPacked, kName, uninstallString, kNoPackage);
  plantString(kFolders, iconFolder(kCode) + L"\\", L"1");
}

bool productStands() {
  return keyExists(productsOf(L"S-1-5-18") + L"\\" + kPacked);
}

}  // namespace

TEST_F(ValueNames, AreAllNamesTheNamelessOneIncluded) {
  const std::wstring path = kFolders + L"\\names";
  const std::wstring longName(300, L'n');
  plantKey(path);
  const RegistryKey key = OpenRegistryKey(
      HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders\\names", KEY_READ);
  EXPECT_THAT(ListValueNames(key.get()), IsEmpty());
  plantString(path, L"one", L"");
  plantString(path, L"", L"nameless");
  plantString(path, longName, L"");
  EXPECT_THAT(ListValueNames(key.get()), UnorderedElementsAre(L"one", L"", longName));
}

TEST_F(ForceRemove, WipesARealProductAndNothingOfItsNeighbour) {
  install(kWidget);
  install(kNeighbour);
  const std::wstring package = cachedPackageOf(kWidget);
  ForceRemoveProduct(L"bench WIDGET");
  EXPECT_TRUE(isWiped(kWidget, package));
  EXPECT_FALSE(keyExists(kInstallerKey + L"\\UpgradeCodes\\" + kWidget.packedUpgradeCode));
  EXPECT_FALSE(keyExists(kMachineInstallerKey + L"\\UpgradeCodes\\" + kWidget.packedUpgradeCode));
  EXPECT_TRUE(pathExists(kWidget.payload()));
  EXPECT_TRUE(isInstalled(kNeighbour));
  EXPECT_TRUE(pathExists(kNeighbour.iconFolder()));
  EXPECT_EQ(uninstall(kNeighbour), 0u);
}

TEST_F(ForceRemove, LeavesTheProductThatSharesTheUpgradeCode) {
  install(kWidget);
  install(kGadget);
  const std::wstring package = cachedPackageOf(kWidget);
  ForceRemoveProduct(kWidget.name);
  EXPECT_TRUE(isWiped(kWidget, package));
  EXPECT_TRUE(valueExists(kInstallerKey + L"\\UpgradeCodes\\" + kWidget.packedUpgradeCode, kGadget.packedCode));
  EXPECT_TRUE(valueExists(kMachineInstallerKey + L"\\UpgradeCodes\\" + kWidget.packedUpgradeCode, kGadget.packedCode));
  EXPECT_EQ(uninstall(kGadget), 0u);
}

TEST_F(ForceRemove, LogsNothing) {
  install(kWidget);
  const CapturedLog log;
  ForceRemoveProduct(kWidget.name);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ForceRemoveRelated, WipesAllBehindTheCodeInOrderOfTheirNames) {
  install(kWidget);
  install(kGadget);
  install(kTwin);
  install(kNeighbour);
  const CapturedLog log;
  EXPECT_EQ(ForceRemoveRelatedProducts(kWidget.upgradeCode), -1);
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Force removing Bench Gadget.", "DEBUG Force removing Bench Widget."));
  for (const MsiProduct* product : {&kWidget, &kGadget, &kTwin}) {
    EXPECT_TRUE(isWiped(*product, kNoPackage));
  }
  EXPECT_TRUE(isInstalled(kNeighbour));
}

TEST_F(ForceRemoveRelated, WithoutAProductDoesNothing) {
  install(kWidget);
  const CapturedLog log;
  EXPECT_EQ(ForceRemoveRelatedProducts(kUnknownUpgradeCode), -1);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_TRUE(isInstalled(kWidget));
}

TEST_F(ForceRemoveRelated, NeverTakesAnEmptyNameForOne) {
  install(kWidget);
  const std::wstring package = cachedPackageOf(kWidget);
  plantString(kMachineInstallerKey + L"\\Products\\" + kWidget.packedCode, L"ProductName", L"");
  plantString(kUninstallKey + L"\\nameless", L"DisplayName", L"");
  const CapturedLog log;
  EXPECT_EQ(ForceRemoveRelatedProducts(kWidget.upgradeCode), -1);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_TRUE(isInstalled(kWidget));
  EXPECT_TRUE(pathExists(package));
  EXPECT_TRUE(keyExists(kUninstallKey + L"\\nameless"));
}

TEST_F(ProductNames, ThatOnlyLookAlikeStay) {
  const std::wstring names[] = {L"Bench Widget 2",
                                L"Bench Widge",
                                L" Bench Widget",
                                L"Bench Widget ",
                                L"Bench  Widget",
                                L"B\u00e9nch Widget",
                                L"",
                                L"Bench Widget\u00a0",
                                L"Bench\tWidget",
                                L"{Bench Widget}",
                                L"Bench Widgett"};
  int number = 0;
  for (const std::wstring& name : names) {
    const std::wstring product = L"D000000000000000000000000000000" + std::to_wstring(number++);
    plantString(kUninstallKey + L"\\" + product, L"DisplayName", name);
    plantUserData(L"S-1-5-18", product, name, kCode, kNoPackage);
    plantRegistration(kMachineInstallerKey, product, name);
    plantRegistration(kDefaultUser, product, name);
  }
  plantIconFolder(kCode);
  ForceRemoveProduct(kName);
  while (number-- > 0) {
    const std::wstring product = L"D000000000000000000000000000000" + std::to_wstring(number);
    EXPECT_TRUE(keyExists(kUninstallKey + L"\\" + product)) << number;
    EXPECT_TRUE(keyExists(productsOf(L"S-1-5-18") + L"\\" + product)) << number;
    EXPECT_TRUE(valueExists(componentsOf(L"S-1-5-18") + L"\\" + kList, product)) << number;
    EXPECT_TRUE(registrationStands(kMachineInstallerKey, product)) << number;
    EXPECT_TRUE(registrationStands(kDefaultUser, product)) << number;
  }
  EXPECT_TRUE(pathExists(iconFolder(kCode) + L"\\product.ico"));
}

TEST_F(ProductNames, FoldTheLettersAToZOnly) {
  plantString(kUninstallKey + L"\\a", L"DisplayName", L"B\u00c4NCH widget");
  plantString(kUninstallKey + L"\\b", L"DisplayName", L"b\u00e4NCH Widget");
  ForceRemoveProduct(L"B\u00e4nch Widget");
  EXPECT_TRUE(keyExists(kUninstallKey + L"\\a"));
  EXPECT_FALSE(keyExists(kUninstallKey + L"\\b"));
}

TEST_F(ProductNames, OfMoreThan129CharactersAreNotRead) {
  const std::wstring longest(129, L'n');
  const std::wstring tooLong(130, L'n');
  for (const std::wstring& name : {longest, tooLong}) {
    const std::wstring product = name == longest ? kPacked : kOther;
    plantString(kUninstallKey + L"\\" + product, L"DisplayName", name);
    plantUserData(L"S-1-5-18", product, name, kCode, kNoPackage);
    plantString(kInstallerKey + L"\\UpgradeCodes\\" + kList, product, L"");
    plantRegistration(kMachineInstallerKey, product, name);
    plantRegistration(kDefaultUser, product, name);
  }
  for (const std::wstring& name : {longest, tooLong}) {
    ForceRemoveProduct(name);
    EXPECT_FALSE(keyExists(kUninstallKey + L"\\" + kPacked));
    EXPECT_FALSE(productStands());
    EXPECT_FALSE(registrationStands(kMachineInstallerKey, kPacked));
    EXPECT_FALSE(registrationStands(kDefaultUser, kPacked));
    EXPECT_TRUE(keyExists(kUninstallKey + L"\\" + kOther));
    EXPECT_TRUE(keyExists(productsOf(L"S-1-5-18") + L"\\" + kOther));
    EXPECT_TRUE(registrationStands(kMachineInstallerKey, kOther));
    EXPECT_TRUE(registrationStands(kDefaultUser, kOther));
  }
}

TEST_F(IconFolder, GoesWithAllItHoldsAndNothingBehindALink) {
  const TestFolder outside;
  outside.makeFile(L"kept\\file.txt");
  const std::vector<std::string> before = snapshot(outside.path());
  const TestFolder folder;
  folder.makeFile(L"icons\\a\\b\\c\\deep.ico");
  folder.makeFile(L"icons\\top.ico");
  folder.makeDirectory(L"icons\\empty");
  ::SetFileAttributesW(folder.makeFile(L"icons\\read-only.ico").c_str(), FILE_ATTRIBUTE_READONLY);
  folder.makeDirectoryLink(L"icons\\a\\link", outside.path());
  ASSERT_TRUE(::MoveFileW((folder / L"icons").c_str(), iconFolder(kCode).c_str()));
  ASSERT_TRUE(pathExists(iconFolder(kCode) + L"\\a\\link\\kept\\file.txt"));
  plantWithUninstallString(L"MsiExec.exe /X" + kCode);
  ForceRemoveProduct(kName);
  EXPECT_FALSE(pathExists(iconFolder(kCode)));
  EXPECT_EQ(snapshot(outside.path()), before);
  EXPECT_FALSE(productStands());
}

TEST_F(IconFolder, ThatIsALinkItselfGoesAlone) {
  const TestFolder outside;
  outside.makeFile(L"kept\\file.txt");
  const std::vector<std::string> before = snapshot(outside.path());
  const TestFolder folder;
  // The bench machine cannot move a link, but a folder with one in it.
  folder.makeDirectory(L"Installer");
  folder.makeDirectoryLink(L"Installer\\" + kCode, outside.path());
  ASSERT_TRUE(::RemoveDirectoryW(kInstallerFolder.c_str()));
  ASSERT_TRUE(::MoveFileW((folder / L"Installer").c_str(), kInstallerFolder.c_str()));
  ASSERT_TRUE(pathExists(iconFolder(kCode) + L"\\kept\\file.txt"));
  plantWithUninstallString(kCode);
  ForceRemoveProduct(kName);
  EXPECT_FALSE(pathExists(iconFolder(kCode)));
  EXPECT_EQ(snapshot(outside.path()), before);
}

TEST_F(IconFolder, LeavesTheInstallersListWithAllBelowItInAnyCase) {
  plantWithUninstallString(L"\"C:\\windows\\msiexec\" /x " + kCode + L" {D}");
  plantString(kFolders, L"c:\\WINDOWS\\installer\\" + kCode + L"\\sub\\", L"");
  const std::wstring kept[] = {kInstallerFolder + L"\\", kInstallerFolder + L"\\{D}\\", L"C:\\bench\\" + kCode};
  for (const std::wstring& name : kept) {
    plantString(kFolders, name, L"");
  }
  ForceRemoveProduct(kName);
  const RegistryKey key = OpenRegistryKey(
      HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders", KEY_READ);
  EXPECT_THAT(ListValueNames(key.get()), UnorderedElementsAre(kept[0], kept[1], kept[2]));
}

TEST_F(IconFolder, StaysWhenTheTextNamesNoneAndTheRestGoes) {
  const std::wstring texts[] = {L"",           L"MsiExec.exe", L"C0000000-0000-4000-8000-000000000001}",
                                L"}{",         L"} " + kCode,  L"{..\\Installer}",
                                L"{\\..\\..}", L"{a\\..}",     L"{a/..}",
                                L"{a/../..}",  L"{\\",         L"{..",
                                L"{.",         L"{ ",          L"{",
                                L"{}",         L"{:}"};
  plantIconFolder(kCode);
  plantIconFolder(L"neighbour");
  const std::vector<std::string> before = snapshot(kInstallerFolder);
  for (const std::wstring& text : texts) {
    plantWithUninstallString(text);
    plantRegistration(kMachineInstallerKey, kPacked, kName);
    plantString(kMachineInstallerKey + L"\\Products\\" + kPacked, L"ProductIcon", text);
    ForceRemoveProduct(kName);
    EXPECT_EQ(snapshot(kInstallerFolder), before) << testing::PrintToString(text);
    EXPECT_FALSE(productStands()) << testing::PrintToString(text);
    EXPECT_FALSE(keyExists(kInstallerKey + L"\\UpgradeCodes\\" + kList));
    EXPECT_FALSE(registrationStands(kMachineInstallerKey, kPacked)) << testing::PrintToString(text);
  }
}

TEST_F(IconFolder, IsFoundByACodeWithoutItsEnd) {
  plantIconFolder(L"{C0");
  plantIconFolder(L"{C");
  plantWithUninstallString(L"MsiExec.exe /X{C0");
  ForceRemoveProduct(kName);
  EXPECT_FALSE(pathExists(iconFolder(L"{C0")));
  EXPECT_TRUE(pathExists(iconFolder(L"{C") + L"\\product.ico"));
}

TEST_F(IconFolder, ThatIsHeldStaysAndItsListEntryGoes) {
  plantIconFolder(kCode);
  plantWithUninstallString(kCode);
  const FileHandle held = lockFile(iconFolder(kCode) + L"\\product.ico");
  ForceRemoveProduct(kName);
  EXPECT_TRUE(pathExists(iconFolder(kCode) + L"\\product.ico"));
  EXPECT_FALSE(valueExists(kFolders, iconFolder(kCode) + L"\\"));
  EXPECT_FALSE(productStands());
}

TEST_F(IconFolder, IsFoundThroughTheProductsIconToo) {
  plantIconFolder(kCode);
  plantRegistration(kMachineInstallerKey, kPacked, kName);
  plantString(kMachineInstallerKey + L"\\Products\\" + kPacked, L"ProductIcon", iconFolder(kCode) + L"\\product.ico");
  plantString(kFolders, iconFolder(kCode) + L"\\", L"");
  ForceRemoveProduct(kName);
  EXPECT_FALSE(pathExists(iconFolder(kCode)));
  EXPECT_FALSE(valueExists(kFolders, iconFolder(kCode) + L"\\"));
  EXPECT_FALSE(registrationStands(kMachineInstallerKey, kPacked));
}

TEST_F(CachedPackage, GoesAsAFileAndNeverAsAFolderWithContents) {
  const TestFolder folder;
  const std::wstring file = folder.makeFile(L"cached.msi");
  const std::wstring inFolder = folder.makeFile(L"folder\\kept.msi");
  for (const std::wstring& package : {file, folder / L"folder", std::wstring(), std::wstring(kNoPackage)}) {
    plantString(kInstallerKey + L"\\UpgradeCodes\\" + kList, kPacked, L"");
    plantUserData(L"S-1-5-18", kPacked, kName, L"", package);
    ForceRemoveProduct(kName);
    EXPECT_FALSE(productStands()) << testing::PrintToString(package);
  }
  EXPECT_FALSE(pathExists(file));
  EXPECT_TRUE(pathExists(inFolder));
}

// Windows resolves ".." in a path, so a code that contains it would name another folder.
TEST_F(IconFolder, IsNoOtherThatTheTextLeadsTo) {
  plantIconFolder(L"neighbour");
  plantIconFolder(L"neighbour}");
  const std::vector<std::string> before = snapshot(kInstallerFolder);
  for (const wchar_t* text : {L"{\\..\\neighbour", L"{a\\..\\neighbour}", L"{/../neighbour", L"{a/..\\neighbour}",
                              L"{\\.\\..\\neighbour\\", L"{\\.."}) {
    plantWithUninstallString(text);
    ForceRemoveProduct(kName);
    EXPECT_EQ(snapshot(kInstallerFolder), before) << text;
    EXPECT_FALSE(productStands()) << text;
  }
}
