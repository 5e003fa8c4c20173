// uninstall_runner_test - the first pass, through the installer's API, on real products.
#include "applications/uninstall_runner.h"

#include <deque>
#include <string>
#include <vector>

#include <windows.h>

#include <msi.h>

#include <gmock/gmock.h>

#include "applications/application_records.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/msi_products.h"
#include "support/test_folder.h"
#include "support/test_registry.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct InstallerCall {
  std::wstring package;
  std::wstring properties;
};
std::vector<InstallerCall> installerCalls;
std::deque<UINT> installerResults;  // returned by the next calls, which then do nothing

}  // namespace

LINK_SEAM(UINT, MsiInstallProductW, (LPCWSTR package, LPCWSTR properties)) {
  installerCalls.push_back({package, properties});
  if (!installerResults.empty()) {
    const UINT result = installerResults.front();
    installerResults.pop_front();
    return result;
  }
  const UINT result =
      realFunction<decltype(&::MsiInstallProductW)>(L"msi.dll", "MsiInstallProductW")(package, properties);
  mendUpgradeCodes();
  return result;
}

namespace {

constexpr wchar_t kRemovalProperties[] =
    L"REMOVE=ALL REBOOT=ReallySuppress MSIFASTINSTALL=3 MSIRESTARTMANAGERCONTROL=Disable";

void overwrite(const std::wstring& path, const std::string& content) {
  const FileHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  DWORD written = 0;
  ASSERT_TRUE(::WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr));
}

class UninstallRunner : public testing::Test {
 protected:
  void SetUp() override {
    forgetProducts();
    installerCalls.clear();
    installerResults.clear();
    applicationRebootNeeded = false;
  }
  void TearDown() override { forgetProducts(); }

  CapturedLog log_;
  std::vector<ApplicationPackage> failed_;
  std::vector<ApplicationPackage> succeeded_;
};

using UninstallByCode = UninstallRunner;
using FirstPass = UninstallRunner;

}  // namespace

TEST_F(UninstallByCode, RemovesTheProductAndNothingOfItsNeighbour) {
  install(kWidget);
  install(kNeighbour);
  const std::wstring package = cachedPackageOf(kWidget);
  EXPECT_EQ(UninstallByUpgradeCode(kWidget.upgradeCode), 0);
  EXPECT_TRUE(isWiped(kWidget, package));
  EXPECT_FALSE(pathExists(kWidget.payload()));
  EXPECT_FALSE(keyExists(L"HKEY_LOCAL_MACHINE\\Software\\Bench\\bench-widget"));
  EXPECT_TRUE(isInstalled(kNeighbour));
  EXPECT_TRUE(pathExists(kNeighbour.payload()));
  EXPECT_TRUE(pathExists(cachedPackageOf(kNeighbour)));
  EXPECT_TRUE(pathExists(kNeighbour.iconFolder()));
  EXPECT_EQ(uninstall(kNeighbour), 0u);
}

TEST_F(UninstallByCode, WorksOnTheCachedPackageWithTheFixedProperties) {
  install(kWidget);
  const std::wstring package = cachedPackageOf(kWidget);
  UninstallByUpgradeCode(kWidget.upgradeCode);
  ASSERT_EQ(installerCalls.size(), 1u);
  EXPECT_EQ(installerCalls[0].package, package);
  EXPECT_EQ(installerCalls[0].properties, kRemovalProperties);
}

TEST_F(UninstallByCode, WithoutAProductGivesMinusOneAndCallsNoInstaller) {
  install(kWidget);
  EXPECT_EQ(UninstallByUpgradeCode(kUnknownUpgradeCode), -1);
  EXPECT_EQ(UninstallByUpgradeCode(L""), -1);
  EXPECT_THAT(installerCalls, IsEmpty());
  EXPECT_TRUE(isInstalled(kWidget));
}

TEST_F(UninstallByCode, PassesOverTheProductBehindARemovedOne) {
  install(kWidget);
  install(kGadget);
  const std::vector<const MsiProduct*> products = relatedInOrder(kWidget.upgradeCode);
  ASSERT_EQ(products.size(), 2u);
  EXPECT_EQ(UninstallByUpgradeCode(kWidget.upgradeCode), 0);
  EXPECT_FALSE(isInstalled(*products[0]));
  EXPECT_TRUE(isInstalled(*products[1]));
  EXPECT_TRUE(pathExists(products[1]->payload()));
  EXPECT_EQ(UninstallByUpgradeCode(kWidget.upgradeCode), 0);
  EXPECT_FALSE(isInstalled(*products[1]));
}

TEST_F(UninstallByCode, GoesOnWithTheNextProductBehindOneThatStays) {
  install(kWidget);
  install(kGadget);
  const std::vector<const MsiProduct*> products = relatedInOrder(kWidget.upgradeCode);
  ASSERT_EQ(products.size(), 2u);
  letRemovalFail(products[0]->name);
  EXPECT_EQ(UninstallByUpgradeCode(kWidget.upgradeCode), 0) << "the last result counts";
  EXPECT_EQ(installerCalls.size(), 2u);
  EXPECT_TRUE(isInstalled(*products[0]));
  EXPECT_FALSE(isInstalled(*products[1]));
}

TEST_F(UninstallByCode, GivesTheInstallersResultOfWhatResists) {
  install(kWidget);
  letRemovalFail(kWidget.name);
  EXPECT_EQ(UninstallByUpgradeCode(kWidget.upgradeCode), ERROR_INSTALL_FAILURE);
  EXPECT_TRUE(isInstalled(kWidget));
  letRemovalFail(L"");
  overwrite(cachedPackageOf(kWidget), "noise");
  EXPECT_EQ(UninstallByUpgradeCode(kWidget.upgradeCode), ERROR_FUNCTION_FAILED);
  EXPECT_TRUE(isInstalled(kWidget));
  ::DeleteFileW(cachedPackageOf(kWidget).c_str());
  EXPECT_EQ(UninstallByUpgradeCode(kWidget.upgradeCode), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(isInstalled(kWidget));
  EXPECT_TRUE(pathExists(kWidget.payload()));
}

TEST_F(UninstallByCode, HandsAnUnreadablePackagePathOnAsItIs) {
  install(kWidget);
  plantString(kWidget.userDataKey() + L"\\InstallProperties", L"LocalPackage", std::wstring(260, L'x'));
  EXPECT_NE(UninstallByUpgradeCode(kWidget.upgradeCode), 0);
  ASSERT_EQ(installerCalls.size(), 1u);
  EXPECT_EQ(installerCalls[0].package, L"");
  EXPECT_TRUE(isInstalled(kWidget));
}

TEST_F(FirstPass, SortsByTheInstallersCode) {
  struct Row {
    UINT code;
    bool done;
    bool rebootNeeded;
  };
  const Row rows[] = {{0, true, false},     {3010, true, true},   {1602, true, false},  {3011, false, false},
                      {1641, false, false}, {1603, false, false}, {1605, false, false}, {1618, false, false},
                      {1627, false, false}, {1, false, false},    {2, false, false},    {0xFFFFFFFF, false, false}};
  install(kWidget);
  for (const Row& row : rows) {
    applicationRebootNeeded = false;
    installerResults = {row.code};
    const CapturedLog log;
    std::vector<ApplicationPackage> records = {application(L"Widget %s", kWidget.upgradeCode)};
    std::vector<ApplicationPackage> failed;
    std::vector<ApplicationPackage> succeeded;
    UninstallApplications(records, failed, succeeded);
    const std::string code = std::to_string(static_cast<int>(row.code));
    const std::vector<std::string> moved = {"Widget %s " + code};
    const std::vector<std::string> none;
    EXPECT_EQ(namesAndResults(records), moved);
    EXPECT_EQ(namesAndResults(succeeded), row.done ? moved : none);
    EXPECT_EQ(namesAndResults(failed), row.done ? none : moved);
    EXPECT_EQ(applicationRebootNeeded, row.rebootNeeded) << code;
    if (row.done) {
      EXPECT_THAT(log.lines(), IsEmpty()) << code;
    } else {
      EXPECT_THAT(log.lines(), ElementsAre("DEBUG Failed to uninstall\t:\tWidget %s\t:\t" + code));
    }
  }
}

TEST_F(FirstPass, AppendsToTheListsInOrderAndLogsTheFailures) {
  install(kWidget);
  install(kNeighbour);
  failed_ = {application(L"Failed before", L"")};
  succeeded_ = {application(L"Gone before", L"")};
  letRemovalFail(kNeighbour.name);
  std::vector<ApplicationPackage> records = {application(L"Nobody", kUnknownUpgradeCode),
                                             application(L"Neighbour", kNeighbour.upgradeCode),
                                             application(L"Widget", kWidget.upgradeCode)};
  UninstallApplications(records, failed_, succeeded_);
  EXPECT_THAT(namesAndResults(records), ElementsAre("Nobody -1", "Neighbour 1603", "Widget 0"));
  EXPECT_THAT(namesAndResults(failed_), ElementsAre("Failed before 4711", "Nobody -1", "Neighbour 1603"));
  EXPECT_THAT(namesAndResults(succeeded_), ElementsAre("Gone before 4711", "Widget 0"));
  EXPECT_THAT(log_.lines(), ElementsAre("DEBUG Failed to uninstall\t:\tNobody\t:\t-1",
                                        "DEBUG Failed to uninstall\t:\tNeighbour\t:\t1603"));
  EXPECT_FALSE(applicationRebootNeeded);
  EXPECT_TRUE(isInstalled(kNeighbour));
  EXPECT_FALSE(isInstalled(kWidget));
}

TEST_F(FirstPass, OfNoApplicationsDoesNothing) {
  std::vector<ApplicationPackage> none;
  UninstallApplications(none, failed_, succeeded_);
  EXPECT_THAT(failed_, IsEmpty());
  EXPECT_THAT(succeeded_, IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FirstPass, RemembersThatOneProductAskedForARestart) {
  install(kWidget);
  install(kNeighbour);
  letRemovalAskForRestart(kWidget.name);
  std::vector<ApplicationPackage> records = {application(L"Widget", kWidget.upgradeCode),
                                             application(L"Neighbour", kNeighbour.upgradeCode)};
  UninstallApplications(records, failed_, succeeded_);
  EXPECT_THAT(namesAndResults(succeeded_), ElementsAre("Widget 3010", "Neighbour 0"));
  EXPECT_TRUE(applicationRebootNeeded);
  EXPECT_FALSE(isInstalled(kWidget));
}

TEST_F(FirstPass, TakesTheLastOfTwoResults) {
  install(kWidget);
  install(kGadget);
  std::vector<ApplicationPackage> records = {application(L"Both", kWidget.upgradeCode)};
  installerResults = {1603, 0};
  UninstallApplications(records, failed_, succeeded_);
  EXPECT_THAT(namesAndResults(succeeded_), ElementsAre("Both 0"));
  installerResults = {3010, 1603};
  UninstallApplications(records, failed_, succeeded_);
  EXPECT_THAT(namesAndResults(failed_), ElementsAre("Both 1603"));
  EXPECT_FALSE(applicationRebootNeeded) << "the first product's wish is lost with its result";
}
