// package_selection_installed_test - what is left of the chosen applications when the installer has been asked, the
// lists of what goes, and the branding package that is wiped at once.

#include <map>
#include <stdexcept>
#include <utility>

#include <msi.h>

#include "app/package_selection_fixture.h"
#include "support/link_seam.h"
#include "system/registry.h"

namespace {

// What the installer says about an upgrade code: related products with their names, or an error.
struct Related {
  std::vector<std::pair<std::wstring, std::wstring>> products;
  UINT error = ERROR_SUCCESS;
};
std::map<std::wstring, Related> relatedProducts;

}  // namespace

LINK_SEAM(UINT, MsiEnumRelatedProductsW, (LPCWSTR upgradeCode, DWORD reserved, DWORD index, LPWSTR productCode)) {
  const auto related = relatedProducts.find(upgradeCode);
  if (related == relatedProducts.end()) {
    return realFunction<decltype(&::MsiEnumRelatedProductsW)>(L"msi.dll", "MsiEnumRelatedProductsW")(
        upgradeCode, reserved, index, productCode);
  }
  if (related->second.error != ERROR_SUCCESS) {
    return related->second.error;
  }
  if (index >= related->second.products.size()) {
    return ERROR_NO_MORE_ITEMS;
  }
  const std::wstring& code = related->second.products[index].first;
  productCode[code.copy(productCode, 38)] = L'\0';
  return ERROR_SUCCESS;
}

LINK_SEAM(UINT, MsiGetProductInfoW, (LPCWSTR productCode, LPCWSTR property, LPWSTR value, LPDWORD characters)) {
  for (const auto& [upgradeCode, related] : relatedProducts) {
    for (const auto& [code, name] : related.products) {
      if (code == productCode && std::wstring(property) == L"ProductName") {
        value[name.copy(value, *characters - 1)] = L'\0';
        *characters = static_cast<DWORD>(name.size());
        return ERROR_SUCCESS;
      }
    }
  }
  return realFunction<decltype(&::MsiGetProductInfoW)>(L"msi.dll", "MsiGetProductInfoW")(productCode, property, value,
                                                                                         characters);
}

namespace {

constexpr wchar_t kControlPanel[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\LM";
constexpr wchar_t kUninstallEntry[] =
    L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{10000000-0000-0000-0000-"
    L"000000000001}";
constexpr wchar_t kBrandingCode[] = L"{20000000-0000-0000-0000-000000000001}";
constexpr char kApplicationsHeader[] = "DEBUG Application List to Uninstall:-------------";
constexpr char kStoreHeader[] = "DEBUG UWP Apps to Uninstall:-------------";

ApplicationPackage application(const std::wstring& name, const std::wstring& upgradeCode) {
  ApplicationPackage package = applicationWithRows(name);
  package.UpgradeID = upgradeCode;
  return package;
}

Related oneProduct(const std::wstring& name) {
  return {{{L"{10000000-0000-0000-0000-000000000001}", name}}, ERROR_SUCCESS};
}

class InstalledApplications : public SelectionTest {
 protected:
  InstalledApplications() {
    relatedProducts.clear();
    removeKey(kControlPanel);
    removeKey(kUninstallEntry);
    // The forced removal needs the installer's own keys, which a machine has from its first installed product on.
    for (const wchar_t* key : {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData",
                               L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Installer\\Products"}) {
      plantKey(key);
    }
  }
  ~InstalledApplications() override { removeKey(kControlPanel); }

  // The branding package, installed, between two others, on a machine with that version of the control panel.
  void plantBranding() {
    relatedProducts[L"{a}"] = relatedProducts[L"{b}"] = oneProduct(L"Other");
    relatedProducts[kBrandingCode] = oneProduct(L"Branding");
    packages.eligibleApplications = {application(L"Before", L"{a}"), application(L"LMBranding64", kBrandingCode),
                                     application(L"Behind", L"{b}")};
    plantString(kUninstallEntry, L"DisplayName", L"Branding");
  }

  static Lines waitingLines() {
    return {kApplicationsHeader, "DEBUG Before - {a}", "DEBUG LMBranding64 - {20000000-0000-0000-0000-000000000001}",
            "DEBUG Behind - {b}", kStoreHeader};
  }
};

}  // namespace

TEST_F(InstalledApplications, NothingChosenGivesTheTwoHeadersAlone) {
  EXPECT_EQ(filter(), (Lines{kApplicationsHeader, kStoreHeader}));
}

TEST_F(InstalledApplications, PackageThatTheInstallerDoesNotKnowIsDropped) {
  // Asked of the machine's own installer.
  packages.eligibleApplications = {application(L"Unknown", L"{30000000-0000-0000-0000-000000000001}")};
  EXPECT_EQ(filter(), (Lines{kApplicationsHeader, kStoreHeader}));
  EXPECT_TRUE(packages.eligibleApplications.empty());
  EXPECT_EQ(exclusionsOf(data, exclusions), Exclusions()) << "a dropped package is not protected";
}

TEST_F(InstalledApplications, MalformedCodeKeepsThePackage) {
  relatedProducts[L""].error = relatedProducts[L"{not a code}"].error = ERROR_INVALID_PARAMETER;
  packages.eligibleApplications = {application(L"No code", L""), application(L"Malformed", L"{not a code}")};
  EXPECT_EQ(filter(), (Lines{kApplicationsHeader, "DEBUG No code - ", "DEBUG Malformed - {not a code}", kStoreHeader}));
}

TEST_F(InstalledApplications, OnlyTheEndOfTheListDropsAPackage) {
  const struct {
    UINT result;
    bool stays;
  } rows[] = {
      {ERROR_NO_MORE_ITEMS, false},          {ERROR_SUCCESS, true},           {ERROR_INVALID_PARAMETER, true},
      {ERROR_NOT_ENOUGH_MEMORY, true},       {ERROR_BAD_CONFIGURATION, true}, {ERROR_UNKNOWN_PRODUCT, true},
      {ERROR_INSTALL_SERVICE_FAILURE, true},
  };
  for (const auto& row : rows) {
    relatedProducts[L"{a}"] = oneProduct(L"Product");
    relatedProducts[L"{a}"].error = row.result;
    packages.eligibleApplications = {application(L"Package", L"{a}")};
    filter();
    EXPECT_EQ(packages.eligibleApplications.size(), row.stays ? 1u : 0u) << row.result;
  }
}

TEST_F(InstalledApplications, FirstPackageOfAnUpgradeCodeWins) {
  for (const wchar_t* code : {L"{a}", L"{A}", L"{b}"}) {
    relatedProducts[code] = oneProduct(L"Product");
  }
  packages.eligibleApplications = {application(L"First", L"{a}"),  application(L"Gone", L"{missing}"),
                                   application(L"Second", L"{a}"), application(L"With case", L"{A}"),
                                   application(L"First", L"{b}"),  application(L"Third", L"{a}")};
  relatedProducts[L"{missing}"] = {};
  EXPECT_EQ(filter(), (Lines{kApplicationsHeader, "DEBUG First - {a}", "DEBUG With case - {A}", "DEBUG First - {b}",
                             kStoreHeader}));
  ASSERT_EQ(namesOf(packages.eligibleApplications), (Names{L"First", L"With case", L"First"}));
  EXPECT_EQ(packages.eligibleApplications[0].Files, (Names{L"First file"}));
}

TEST_F(InstalledApplications, StoreAppsAreListedAsTheyStand) {
  data.InclusionUWP = {L"Maker.Second*", L"Maker.First*", L"Maker.Second*", L"100%s%n"};
  EXPECT_EQ(filter(), (Lines{kApplicationsHeader, kStoreHeader, "DEBUG Maker.Second*", "DEBUG Maker.First*",
                             "DEBUG Maker.Second*", "DEBUG 100%s%n"}));
}

TEST_F(InstalledApplications, BrandingOf2140IsWipedBeforeTheNextPackageIsListed) {
  for (const wchar_t* version : {L"21.40.1234", L"21.40", L"21x40y", L"21.000401"}) {
    plantBranding();
    plantString(kControlPanel, L"LMVersion", version);
    EXPECT_EQ(
        filter(),
        (Lines{kApplicationsHeader, "DEBUG Before - {a}", "DEBUG LMBranding64 - {20000000-0000-0000-0000-000000000001}",
               "DEBUG Force removing Branding.", "DEBUG Wiped LMBranding application\t:\tLMBranding64\t:\t-1",
               "DEBUG Behind - {b}", kStoreHeader}));
    EXPECT_FALSE(keyExists(kUninstallEntry)) << version;
    ASSERT_EQ(packages.eligibleApplications.size(), 3u);
    EXPECT_EQ(packages.eligibleApplications[0].UninstallResult, 0);
    EXPECT_EQ(packages.eligibleApplications[1].UninstallResult, -1);
    EXPECT_EQ(packages.eligibleApplications[2].UninstallResult, 0);
  }
}

TEST_F(InstalledApplications, BrandingOfAnyOtherVersionWaits) {
  for (const wchar_t* version :
       {L"21.41.1234", L"21.4.1234", L"22.40.1234", L"2.140.12", L"21.400.12", L"121.40.1", L"21.", L"x1.40"}) {
    plantBranding();
    plantString(kControlPanel, L"LMVersion", version);
    EXPECT_EQ(filter(), waitingLines()) << version;
    EXPECT_TRUE(keyExists(kUninstallEntry)) << version;
    EXPECT_EQ(packages.eligibleApplications[1].UninstallResult, 0);
  }
}

TEST_F(InstalledApplications, BrandingWithoutAVersionWaits) {
  plantBranding();
  EXPECT_EQ(filter(), waitingLines());
  plantKey(kControlPanel);
  EXPECT_EQ(filter(), waitingLines());
  // Longer than the 520 bytes that are read.
  plantString(kControlPanel, L"LMVersion", L"21.40." + std::wstring(260, L'1'));
  EXPECT_EQ(filter(), waitingLines());
  EXPECT_TRUE(keyExists(kUninstallEntry));
}

TEST_F(InstalledApplications, VersionThatIsNoTextCountsAsMissing) {
  const std::wstring text = L"21.40.1234";
  const auto* bytes = reinterpret_cast<const BYTE*>(text.c_str());
  const std::vector<BYTE> whole(bytes, bytes + (text.size() + 1) * sizeof(wchar_t));
  const std::vector<BYTE> twoCharacters(bytes, bytes + 2 * sizeof(wchar_t));
  const struct {
    DWORD type;
    const std::vector<BYTE>& data;
  } rows[] = {{REG_DWORD, twoCharacters}, {REG_NONE, twoCharacters}, {REG_BINARY, whole},
              {REG_MULTI_SZ, whole},      {REG_NONE, whole},         {REG_DWORD, whole}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type);
    plantBranding();
    plantBinary(kControlPanel, L"LMVersion", row.type, row.data);
    EXPECT_EQ(filter(), waitingLines());
    EXPECT_TRUE(keyExists(kUninstallEntry));
  }
}

TEST_F(InstalledApplications, VersionMayBeATextWithVariables) {
  plantBranding();
  plantString(kControlPanel, L"LMVersion", L"21.40.1234", REG_EXPAND_SZ);
  filter();
  EXPECT_FALSE(keyExists(kUninstallEntry));
}

TEST_F(InstalledApplications, OnlyTheExactNameIsWiped) {
  for (const wchar_t* name : {L"LMBranding", L"lmbranding64", L"LMBranding64 ", L"LMBranding641"}) {
    plantBranding();
    plantString(kControlPanel, L"LMVersion", L"21.40.1234");
    packages.eligibleApplications[1].Name = name;
    filter();
    EXPECT_TRUE(keyExists(kUninstallEntry)) << name;
  }
}

TEST_F(InstalledApplications, BrandingThatIsNotInstalledIsNeitherListedNorWiped) {
  plantBranding();
  relatedProducts[kBrandingCode] = {};
  plantString(kControlPanel, L"LMVersion", L"21.40.1234");
  EXPECT_EQ(filter(), (Lines{kApplicationsHeader, "DEBUG Before - {a}", "DEBUG Behind - {b}", kStoreHeader}));
}

TEST_F(InstalledApplications, ShortVersionRaisesBeforeAnythingIsListed) {
  for (const wchar_t* version : {L"", L"2", L"21"}) {
    plantString(kControlPanel, L"LMVersion", version);
    const CapturedLog log;
    EXPECT_THROW(filterInstalledApplications(data, packages), std::out_of_range) << version;
    EXPECT_EQ(log.lines(), Lines()) << version;
  }
}
