// install_manager_test - the install manager's folder, and the rows that protect it.
#include "app/install_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/test_registry.h"

using ::testing::ElementsAre;

namespace {

constexpr wchar_t kInstall[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Install";
constexpr wchar_t kUsualFolder[] = L"C:\\Program Files\\ORV\\PKM";

}  // namespace

TEST(InstallManagerFolder, IsThatOfTheRegistryOrTheUsualOne) {
  removeKey(kInstall);
  EXPECT_EQ(FindInstallManagerFolder(), kUsualFolder);
  plantString(kInstall, L"InstallDir", L"");
  EXPECT_EQ(FindInstallManagerFolder(), kUsualFolder);
  plantString(kInstall, L"InstallDir", L"D:\\Manager\\");
  EXPECT_EQ(FindInstallManagerFolder(), L"D:\\Manager\\");
  removeKey(kInstall);
}

TEST(PlanOfAProtectedFolder, HasTheRowWithoutBackslashesAtItsEndToo) {
  EXPECT_THAT(PlanProtectedFolder(L"C:\\ORV\\PKM"), ElementsAre(L"C:\\ORV\\PKM"));
  EXPECT_THAT(PlanProtectedFolder(L"C:\\ORV\\PKM\\"), ElementsAre(L"C:\\ORV\\PKM\\", L"C:\\ORV\\PKM"));
  EXPECT_THAT(PlanProtectedFolder(L"C:\\ORV\\PKM\\\\"), ElementsAre(L"C:\\ORV\\PKM\\\\", L"C:\\ORV\\PKM"));
}
