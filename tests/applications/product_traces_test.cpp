// product_traces_test - what the installer has recorded about one product: its code, its folder, its entries.
#include "applications/product_traces.h"

#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "support/test_registry.h"
#include "support/text.h"
#include "system/registry.h"

using testing::UnorderedElementsAre;

namespace {

constexpr wchar_t kSubkey[] = L"Software\\Bench traces";
const std::wstring kPath = std::wstring(L"HKEY_LOCAL_MACHINE\\") + kSubkey;

class ProductTraces : public testing::Test {
 protected:
  void SetUp() override {
    removeKey(kPath);
    plantKey(kPath);
    key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kSubkey, KEY_READ);
  }
  void TearDown() override {
    key.reset();
    removeKey(kPath);
  }

  RegistryKey key;
};

}  // namespace

TEST(ProductCode, IsWhatStandsInBraces) {
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"MsiExec.exe /X{A-1}", L"{A-1}"}, {L"{A}{B}", L"{A}"}, {L"/I{A} /qn", L"{A}"}, {L"x{A", L"{A"}, {L"{}", L"{}"},
  };
  for (const auto& [text, code] : rows) {
    EXPECT_EQ(ExtractBracedGuid(text), code) << narrow(text);
  }
}

TEST(ProductCode, IsNoneThatNamesAnotherFolder) {
  for (const wchar_t* text : {L"", L"A-1", L"A}", L"}{A}", L"{", L"{..\\..}", L"{a/b}", L"{C:}"}) {
    EXPECT_THROW(ExtractBracedGuid(text), std::out_of_range) << narrow(text);
  }
}

TEST(IconFolderOfAProduct, LiesBelowWindows) {
  EXPECT_EQ(FindIconFolder(L"{A}"), L"C:\\windows\\Installer\\{A}");
}

TEST_F(ProductTraces, FolderValuesNameTheFolderInAnyCase) {
  for (const wchar_t* name :
       {L"C:\\Windows\\Installer\\{A}\\", L"c:\\windows\\installer\\{a}\\icons\\", L"C:\\Windows\\Installer\\{B}\\"}) {
    plantString(kPath, name, L"1");
  }
  EXPECT_THAT(FindFolderValues(key.get(), L"C:\\windows\\Installer\\{A}"),
              UnorderedElementsAre(L"C:\\Windows\\Installer\\{A}\\", L"c:\\windows\\installer\\{a}\\icons\\"));
}

TEST_F(ProductTraces, NameIsComparedWithoutCase) {
  plantString(kPath, L"DisplayName", L"Bench Widget");
  plantString(kPath + L"\\Entry", L"DisplayName", L"Bench Widget 2");
  EXPECT_TRUE(bearsName(key.get(), nullptr, L"DisplayName", L"BENCH widget"));
  EXPECT_FALSE(bearsName(key.get(), L"Entry", L"DisplayName", L"Bench Widget"));
  EXPECT_THROW(bearsName(key.get(), L"Absent", L"DisplayName", L"Bench Widget"), RegKeyError);
}

TEST_F(ProductTraces, ListNamesAProductAmongOthersOrAlone) {
  EXPECT_EQ(FindInProductList(key.get(), L"P1"), ListedAs::NotAtAll);
  plantString(kPath, L"P1", L"");
  EXPECT_EQ(FindInProductList(key.get(), L"P1"), ListedAs::OnlyOne);
  EXPECT_EQ(FindInProductList(key.get(), L"p1"), ListedAs::NotAtAll) << "with case";
  plantString(kPath, L"P2", L"");
  EXPECT_EQ(FindInProductList(key.get(), L"P1"), ListedAs::OneOfSeveral);
  EXPECT_EQ(FindInProductList(key.get(), L"P3"), ListedAs::NotAtAll);
}
