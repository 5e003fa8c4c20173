// installer_products_test - finding the products with an upgrade code, and their properties.
#include "applications/installer_products.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/msi_products.h"
#include "support/test_registry.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

std::vector<std::wstring> related(const std::wstring& upgradeCode) {
  std::vector<std::wstring> codes;
  for (DWORD index = 0; const auto product = FindRelatedProduct(upgradeCode, index); ++index) {
    codes.push_back(*product);
  }
  return codes;
}

std::set<std::wstring> namesOf(const std::vector<std::wstring>& productCodes) {
  std::set<std::wstring> names;
  for (const std::wstring& code : productCodes) {
    collectProductName(code, names);
  }
  return names;
}

class InstallerProducts : public testing::Test {
 protected:
  void SetUp() override { forgetProducts(); }
  void TearDown() override { forgetProducts(); }
};

using RelatedProducts = InstallerProducts;
using ProductProperty = InstallerProducts;
using ProductName = InstallerProducts;

}  // namespace

TEST_F(RelatedProducts, AreNoneBehindAnUnknownCode) {
  install(kWidget);
  EXPECT_THAT(related(kUnknownUpgradeCode), IsEmpty());
}

TEST_F(RelatedProducts, AreNoneBehindATextThatIsNoCode) {
  install(kWidget);
  for (const wchar_t* text : {L"", L"{}", L"Bench Widget", L"B1000000-0000-4000-8000-000000000001"}) {
    EXPECT_THAT(related(text), IsEmpty()) << testing::PrintToString(text);
  }
}

TEST_F(RelatedProducts, AreTheOneBehindItsCodeAndNotItsNeighbour) {
  install(kWidget);
  install(kNeighbour);
  EXPECT_THAT(related(kWidget.upgradeCode), ElementsAre(kWidget.productCode));
  EXPECT_THAT(related(kNeighbour.upgradeCode), ElementsAre(kNeighbour.productCode));
}

TEST_F(RelatedProducts, AreAllBehindOneCode) {
  install(kWidget);
  install(kGadget);
  install(kTwin);
  EXPECT_THAT(related(kWidget.upgradeCode),
              UnorderedElementsAre(kWidget.productCode, kGadget.productCode, kTwin.productCode));
}

TEST_F(RelatedProducts, ArePassedOverWhenTheOneBeforeThemIsRemovedMeanwhile) {
  install(kWidget);
  install(kGadget);
  const std::vector<std::wstring> before = related(kWidget.upgradeCode);
  ASSERT_EQ(before.size(), 2u);
  std::vector<std::wstring> visited;
  for (DWORD index = 0; const auto product = FindRelatedProduct(kWidget.upgradeCode, index); ++index) {
    visited.push_back(*product);
    EXPECT_EQ(uninstall(*product == kWidget.productCode ? kWidget : kGadget), 0u);
  }
  EXPECT_THAT(visited, ElementsAre(before[0]));
  EXPECT_THAT(related(kWidget.upgradeCode), ElementsAre(before[1]));
}

TEST_F(ProductProperty, IsWhatTheInstallerKnows) {
  install(kWidget);
  EXPECT_EQ(GetProductProperty(kWidget.productCode, L"ProductName"), L"Bench Widget");
  EXPECT_EQ(GetProductProperty(kWidget.productCode, L"VersionString"), L"1.2.3");
  EXPECT_EQ(GetProductProperty(kWidget.productCode, L"LocalPackage"), cachedPackageOf(kWidget));
}

TEST_F(ProductProperty, IsEmptyWhenItCannotBeRead) {
  EXPECT_EQ(GetProductProperty(kWidget.productCode, L"ProductName"), L"") << "not installed";
  EXPECT_EQ(GetProductProperty(L"Bench Widget", L"ProductName"), L"") << "no product code";
  install(kWidget);
  EXPECT_EQ(GetProductProperty(kWidget.productCode, L"NoSuchProperty"), L"");
  EXPECT_EQ(GetProductProperty(kWidget.productCode, L"HelpLink"), L"") << "empty in the product";
}

TEST_F(ProductProperty, HoldsAtMost259Characters) {
  install(kWidget);
  for (const std::size_t length : {258u, 259u}) {
    const std::wstring text(length, L'x');
    plantString(kWidget.userDataKey() + L"\\InstallProperties", L"LocalPackage", text);
    EXPECT_EQ(GetProductProperty(kWidget.productCode, L"LocalPackage"), text) << length;
  }
  plantString(kWidget.userDataKey() + L"\\InstallProperties", L"LocalPackage", std::wstring(260, L'x'));
  EXPECT_EQ(GetProductProperty(kWidget.productCode, L"LocalPackage"), L"");
}

TEST_F(ProductName, IsCollectedOnceForProductsThatShareIt) {
  install(kWidget);
  install(kGadget);
  install(kTwin);
  EXPECT_THAT(namesOf({kWidget.productCode, kTwin.productCode, kGadget.productCode}),
              ElementsAre(L"Bench Gadget", L"Bench Widget"));
}

TEST_F(ProductName, IsNotCollectedWhenUnreadableOrEmpty) {
  EXPECT_THAT(namesOf({kWidget.productCode, L""}), IsEmpty());
  install(kWidget);
  plantString(kMachineInstallerKey + L"\\Products\\" + kWidget.packedCode, L"ProductName", L"");
  EXPECT_THAT(namesOf({kWidget.productCode}), IsEmpty());
}

TEST_F(ProductName, OfEachRelatedProductIsFoundOnce) {
  install(kWidget);
  install(kGadget);
  install(kTwin);
  install(kNeighbour);
  EXPECT_THAT(FindProductNames(kWidget.upgradeCode), ElementsAre(L"Bench Gadget", L"Bench Widget"));
  EXPECT_THAT(FindProductNames(kUnknownUpgradeCode), IsEmpty());
}
