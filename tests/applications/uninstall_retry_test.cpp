// uninstall_retry_test - the second pass, through msiexec and the forced removal, on real products.
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>

#include "applications/application_records.h"
#include "applications/uninstall_runner.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/msi_products.h"
#include "support/test_folder.h"
#include "support/test_registry.h"
#include "support/text.h"
#include "system/registry.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

struct StartedProcess {
  std::wstring commandLine;
  std::wstring folder;
  DWORD flags;
};
std::vector<StartedProcess> startedProcesses;
std::optional<DWORD> exitCode;  // replaces that of every process

}  // namespace

LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process, LPSECURITY_ATTRIBUTES thread,
           BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR folder, LPSTARTUPINFOW startup,
           LPPROCESS_INFORMATION information)) {
  startedProcesses.push_back({commandLine, folder ? folder : L"", flags});
  return realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, commandLine, process, thread, inherit, flags, environment, folder, startup, information);
}

LINK_SEAM(BOOL, GetExitCodeProcess, (HANDLE process, LPDWORD code)) {
  const BOOL succeeded =
      realFunction<decltype(&::GetExitCodeProcess)>(L"kernel32.dll", "GetExitCodeProcess")(process, code);
  mendUpgradeCodes();
  if (exitCode) {
    *code = *exitCode;
  }
  return succeeded;
}

namespace {

class UninstallRetry : public testing::Test {
 protected:
  void SetUp() override {
    forgetProducts();
    startedProcesses.clear();
    exitCode.reset();
    applicationRebootNeeded = false;
  }
  void TearDown() override { forgetProducts(); }

  CapturedLog log_;
  std::vector<ApplicationPackage> failed_;
};

using MsiexecRun = UninstallRetry;
using Retry = UninstallRetry;
using RetryPass = UninstallRetry;

}  // namespace

TEST_F(MsiexecRun, HasThisCommandLineAndTheSystemFolder) {
  install(kWidget);
  EXPECT_EQ(UninstallProductWithMsiexec(kWidget.productCode), 0);
  EXPECT_FALSE(isInstalled(kWidget));
  ASSERT_EQ(startedProcesses.size(), 1u);
  EXPECT_EQ(startedProcesses[0].commandLine,
            L"cmd.exe /C \"C:\\windows\\system32\\msiexec.exe /x{B0000000-0000-4000-8000-000000000001} /qn\"");
  EXPECT_EQ(startedProcesses[0].folder, L"C:\\windows\\system32");
  EXPECT_EQ(startedProcesses[0].flags, static_cast<DWORD>(CREATE_NO_WINDOW));
}

TEST_F(MsiexecRun, OfAMissingProductGivesMsiexecsCode) {
  EXPECT_EQ(UninstallProductWithMsiexec(kWidget.productCode), ERROR_UNKNOWN_PRODUCT);
}

TEST_F(Retry, RemovesTheProductThroughMsiexec) {
  install(kWidget);
  install(kNeighbour);
  const std::wstring package = cachedPackageOf(kWidget);
  EXPECT_EQ(RetryWithMsiexec(kWidget.upgradeCode), 0);
  EXPECT_TRUE(isWiped(kWidget, package));
  EXPECT_FALSE(pathExists(kWidget.payload()));
  EXPECT_TRUE(isInstalled(kNeighbour));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Retry, WithoutAProductGivesMinusOneAndRemovesNothing) {
  install(kWidget);
  EXPECT_EQ(RetryWithMsiexec(kUnknownUpgradeCode), -1);
  EXPECT_THAT(startedProcesses, IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_TRUE(isInstalled(kWidget));
  EXPECT_TRUE(pathExists(cachedPackageOf(kWidget)));
}

TEST_F(Retry, PassesOverTheProductBehindARemovedOne) {
  install(kWidget);
  install(kGadget);
  const std::vector<const MsiProduct*> products = relatedInOrder(kWidget.upgradeCode);
  ASSERT_EQ(products.size(), 2u);
  EXPECT_EQ(RetryWithMsiexec(kWidget.upgradeCode), 0);
  EXPECT_EQ(startedProcesses.size(), 1u);
  EXPECT_FALSE(isInstalled(*products[0]));
  EXPECT_TRUE(isInstalled(*products[1]));
}

TEST_F(Retry, ForcesWhatMsiexecCouldNotRemove) {
  install(kWidget);
  install(kNeighbour);
  const std::wstring package = cachedPackageOf(kWidget);
  letRemovalFail(L"all");
  EXPECT_EQ(RetryWithMsiexec(kWidget.upgradeCode), ERROR_INSTALL_FAILURE);
  EXPECT_THAT(log_.lines(), ElementsAre("DEBUG Force removing Bench Widget."));
  EXPECT_TRUE(isWiped(kWidget, package));
  EXPECT_TRUE(isInstalled(kNeighbour));
  EXPECT_TRUE(pathExists(cachedPackageOf(kNeighbour)));
  EXPECT_TRUE(pathExists(kNeighbour.iconFolder()));
}

TEST_F(Retry, ForcesByMsiexecsCode) {
  struct Row {
    DWORD code;
    bool forced;
  };
  const Row rows[] = {{0, false},   {3010, false}, {3011, false}, {1641, true}, {1602, true},
                      {1605, true}, {1618, true},  {1, true},     {259, true},  {0xFFFFFFFF, true}};
  for (const Row& row : rows) {
    forgetProducts();
    install(kWidget);
    const std::wstring package = cachedPackageOf(kWidget);
    letRemovalFail(kWidget.name);
    const CapturedLog log;
    exitCode = row.code;
    EXPECT_EQ(RetryWithMsiexec(kWidget.upgradeCode), static_cast<int>(row.code));
    if (row.forced) {
      EXPECT_THAT(log.lines(), ElementsAre("DEBUG Force removing Bench Widget.")) << row.code;
      EXPECT_TRUE(isWiped(kWidget, package)) << row.code;
    } else {
      EXPECT_THAT(log.lines(), IsEmpty()) << row.code;
      EXPECT_TRUE(isInstalled(kWidget)) << row.code;
      EXPECT_TRUE(pathExists(package)) << row.code;
    }
  }
}

TEST_F(Retry, ForcesEachNameOnceInAscendingOrder) {
  install(kWidget);
  install(kGadget);
  install(kTwin);
  letRemovalFail(L"all");
  EXPECT_EQ(RetryWithMsiexec(kWidget.upgradeCode), ERROR_INSTALL_FAILURE);
  EXPECT_EQ(startedProcesses.size(), 3u);
  EXPECT_THAT(log_.lines(), ElementsAre("DEBUG Force removing Bench Gadget.", "DEBUG Force removing Bench Widget."));
  for (const MsiProduct* product : {&kWidget, &kGadget, &kTwin}) {
    EXPECT_TRUE(isWiped(*product, L"C:\\windows\\Installer\\none.msi"));
  }
}

TEST_F(Retry, ForcesTheOneOfTwoThatFailedAndGivesTheLastCode) {
  install(kWidget);
  install(kGadget);
  const std::vector<const MsiProduct*> products = relatedInOrder(kWidget.upgradeCode);
  ASSERT_EQ(products.size(), 2u);
  letRemovalFail(products[0]->name);
  EXPECT_EQ(RetryWithMsiexec(kWidget.upgradeCode), 0);
  EXPECT_THAT(log_.lines(), ElementsAre("DEBUG Force removing " + narrow(products[0]->name) + "."));
  EXPECT_FALSE(isInstalled(*products[0]));
  EXPECT_TRUE(pathExists(products[0]->payload())) << "what the product installed is no part of its registration";
  EXPECT_FALSE(isInstalled(*products[1]));
  EXPECT_FALSE(pathExists(products[1]->payload()));
}

TEST_F(Retry, NeverForcesAProductWithoutAName) {
  install(kWidget);
  letRemovalFail(L"all");
  plantString(kMachineInstallerKey + L"\\Products\\" + kWidget.packedCode, L"ProductName", L"");
  EXPECT_EQ(RetryWithMsiexec(kWidget.upgradeCode), ERROR_INSTALL_FAILURE);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_TRUE(isInstalled(kWidget));
  EXPECT_TRUE(pathExists(cachedPackageOf(kWidget)));
}

TEST_F(RetryPass, WritesEachResultWithItsLineAndMovesNothing) {
  install(kWidget);
  install(kNeighbour);
  letRemovalFail(kNeighbour.name);
  failed_ = {application(L"Nobody", kUnknownUpgradeCode), application(L"Neighbour", kNeighbour.upgradeCode),
             application(L"Widget", kWidget.upgradeCode)};
  RetryFailedApplications(failed_);
  EXPECT_THAT(namesAndResults(failed_), ElementsAre("Nobody -1", "Neighbour 1603", "Widget 0"));
  EXPECT_THAT(log_.lines(), ElementsAre("DEBUG Uninstalled failed application\t:\tNobody\t:\t-1",
                                        "DEBUG Force removing Bench Widget 2.",
                                        "DEBUG Uninstalled failed application\t:\tNeighbour\t:\t1603",
                                        "DEBUG Uninstalled failed application\t:\tWidget\t:\t0"));
}

TEST_F(RetryPass, LeavesTheRestartFlagAsItWas) {
  for (const bool before : {false, true}) {
    forgetProducts();
    install(kWidget);
    letRemovalAskForRestart(kWidget.name);
    applicationRebootNeeded = before;
    failed_ = {application(L"Widget", kWidget.upgradeCode)};
    RetryFailedApplications(failed_);
    EXPECT_THAT(namesAndResults(failed_), ElementsAre("Widget 3010"));
    EXPECT_EQ(applicationRebootNeeded, before);
    EXPECT_FALSE(isInstalled(kWidget));
  }
}

TEST_F(RetryPass, OfNoApplicationsDoesNothing) {
  RetryFailedApplications(failed_);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(startedProcesses, IsEmpty());
}

TEST_F(RetryPass, EndsWithTheErrorOfAForcedRemoval) {
  install(kWidget);
  const std::wstring package = cachedPackageOf(kWidget);
  letRemovalFail(L"all");
  removeKey(kUninstallKey);
  failed_ = {application(L"Widget", kWidget.upgradeCode), application(L"Nobody", kUnknownUpgradeCode)};
  try {
    RetryFailedApplications(failed_);
    ADD_FAILURE() << "nothing was raised";
  } catch (const RegKeyError& error) {
    EXPECT_EQ(error.code().value(), ERROR_FILE_NOT_FOUND);
    EXPECT_THAT(error.what(), StartsWith("Unable to open registry key"));
  }
  EXPECT_THAT(namesAndResults(failed_), ElementsAre("Widget 4711", "Nobody 4711"));
  EXPECT_THAT(log_.lines(), ElementsAre("DEBUG Force removing Bench Widget."));
  EXPECT_TRUE(pathExists(package));
  EXPECT_TRUE(keyExists(kWidget.userDataKey()));
}
