// retry_pass_test - the second chance of failed applications at the end of a run, and what it does to the outcome.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include <windows.h>

#include <msi.h>

#include "app/cleanup_session.h"
#include "applications/uninstall_runner.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/system_locale.h"

namespace {

// The one product behind each upgrade code, and the exit code that msiexec ends with for it.
std::map<std::wstring, std::wstring> products;
std::map<std::wstring, int> exitCodes;
std::vector<std::wstring> launched;  // the uninstalls among the command lines

}  // namespace

LINK_SEAM(UINT, MsiEnumRelatedProductsW, (LPCWSTR upgradeCode, DWORD, DWORD index, LPWSTR productCode)) {
  const auto product = products.find(upgradeCode);
  if (index > 0 || product == products.end()) {
    return ERROR_NO_MORE_ITEMS;
  }
  product->second.copy(productCode, product->second.size());
  return ERROR_SUCCESS;
}

LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR directory,
           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process)) {
  std::wstring command = commandLine;
  if (command.find(L"msiexec") != std::wstring::npos) {
    launched.push_back(command);
  }
  for (const auto& [product, exitCode] : exitCodes) {
    if (command.find(product) != std::wstring::npos) {
      command = L"cmd.exe /C exit " + std::to_wstring(exitCode);
    }
  }
  return realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, command.data(), processSecurity, threadSecurity, inherit, flags, environment, directory, startup,
      process);
}

namespace {

constexpr char kDriverFilesHeader[] = "DEBUG -----------Failed Deletion of Driver Files ---------------";
constexpr char kRetryHeader[] = "DEBUG -----------Retry of Failed of Applications---------------";

template <class Package>
Package named(const std::wstring& name) {
  Package package;
  package.Name = name;
  return package;
}

// A failed application whose product msiexec ends with that code.
ApplicationPackage failedWith(const std::wstring& name, const std::wstring& digit, int exitCode) {
  ApplicationPackage application = named<ApplicationPackage>(name);
  application.UpgradeID = L"{00000000-0000-0000-0001-00000000000" + digit + L"}";
  application.UninstallResult = ERROR_INSTALL_FAILURE;
  const std::wstring product = L"{00000000-0000-0000-0002-00000000000" + digit + L"}";
  products[application.UpgradeID] = product;
  exitCodes[product] = exitCode;
  return application;
}

std::vector<std::wstring> namesOf(const std::vector<ApplicationPackage>& applications) {
  std::vector<std::wstring> names;
  for (const ApplicationPackage& application : applications) {
    names.push_back(application.Name);
  }
  return names;
}

class RetryPass : public testing::Test {
 protected:
  RetryPass() : session(::GetModuleHandleW(nullptr), arguments, SW_SHOW) {
    session.switches.silent = true;
    products.clear();
    exitCodes.clear();
    launched.clear();
    applicationRebootNeeded = false;
  }

  std::vector<std::string> finish() {
    const CapturedLog log;
    session.finishRun();
    return log.lines();
  }

  wchar_t arguments[1] = L"";
  CleanupSession session;
};

}  // namespace

TEST_F(RetryPass, FailedApplicationThatTheRetryRemovesCountsAsRemoved) {
  session.results.removedApplications = {named<ApplicationPackage>(L"Before")};
  session.results.failedApplications = {failedWith(L"Second chance", L"1", 0)};
  EXPECT_EQ(finish(), (std::vector<std::string>{kDriverFilesHeader, kRetryHeader,
                                                "DEBUG Uninstalled failed application\t:\tSecond chance\t:\t0"}));
  EXPECT_EQ(session.outcome, 1);
  EXPECT_TRUE(session.results.failedApplications.empty());
  ASSERT_EQ(namesOf(session.results.removedApplications), (std::vector<std::wstring>{L"Before", L"Second chance"}));
  EXPECT_EQ(session.results.removedApplications[1].UninstallResult, 0);
}

TEST_F(RetryPass, FailedApplicationThatStaysIsRetriedOnceAndGivesWarnings) {
  session.results.failedApplications = {failedWith(L"Stubborn", L"1", 1603)};
  EXPECT_EQ(finish(), (std::vector<std::string>{kDriverFilesHeader, kRetryHeader,
                                                "DEBUG Uninstalled failed application\t:\tStubborn\t:\t1603"}));
  EXPECT_EQ(session.outcome, 0);
  EXPECT_EQ(namesOf(session.results.failedApplications), (std::vector<std::wstring>{L"Stubborn"}));
  EXPECT_EQ(session.results.failedApplications[0].UninstallResult, 1603);
  EXPECT_TRUE(session.results.removedApplications.empty());
  EXPECT_EQ(launched.size(), 1u);
}

TEST_F(RetryPass, ApplicationWithoutAProductStaysFailedWithoutAnyRun) {
  session.results.failedApplications = {named<ApplicationPackage>(L"Unknown")};
  EXPECT_EQ(finish().back(), "DEBUG Uninstalled failed application\t:\tUnknown\t:\t-1");
  EXPECT_EQ(session.outcome, 0);
  EXPECT_TRUE(launched.empty());
}

TEST_F(RetryPass, OnlyTheResultZeroOfTheRetryMovesARecordAndTheOrderStays) {
  session.results.failedApplications = {failedWith(L"Gone 1", L"1", 0),       failedWith(L"Gone 2", L"2", 0),
                                        failedWith(L"Restart", L"3", 3010),   failedWith(L"Gone 3", L"4", 0),
                                        failedWith(L"Cancelled", L"5", 1602), failedWith(L"Gone 4", L"6", 0)};
  EXPECT_EQ(finish(), (std::vector<std::string>{kDriverFilesHeader, kRetryHeader,
                                                "DEBUG Uninstalled failed application\t:\tGone 1\t:\t0",
                                                "DEBUG Uninstalled failed application\t:\tGone 2\t:\t0",
                                                "DEBUG Uninstalled failed application\t:\tRestart\t:\t3010",
                                                "DEBUG Uninstalled failed application\t:\tGone 3\t:\t0",
                                                "DEBUG Uninstalled failed application\t:\tCancelled\t:\t1602",
                                                "DEBUG Uninstalled failed application\t:\tGone 4\t:\t0"}));
  EXPECT_EQ(namesOf(session.results.removedApplications),
            (std::vector<std::wstring>{L"Gone 1", L"Gone 2", L"Gone 3", L"Gone 4"}));
  EXPECT_EQ(namesOf(session.results.failedApplications), (std::vector<std::wstring>{L"Restart", L"Cancelled"}));
  EXPECT_EQ(session.outcome, 0);
  EXPECT_EQ(launched.size(), 6u);
  EXPECT_FALSE(applicationRebootNeeded) << "the second pass asks for no restart";
}

TEST_F(RetryPass, RetryStandsBetweenTheTasksAndTheDrivers) {
  session.failures.failedScheduledTasks = {L"task"};
  session.results.failedDrivers = {named<DriverPackage>(L"driver")};
  session.results.failedApplications = {failedWith(L"Second chance", L"1", 0)};
  EXPECT_EQ(finish(), (std::vector<std::string>{
                          kDriverFilesHeader, "DEBUG -----------Failed Deletions of Scheduled Tasks---------------",
                          "DEBUG task", kRetryHeader, "DEBUG Uninstalled failed application\t:\tSecond chance\t:\t0",
                          "DEBUG -----------Failed Deletions of Drivers---------------", "DEBUG driver"}));
  EXPECT_EQ(session.outcome, -1);
}

TEST_F(RetryPass, WithoutAFailedApplicationThereIsNoHeader) {
  session.results.removedApplications = {named<ApplicationPackage>(L"Before")};
  EXPECT_EQ(finish(), (std::vector<std::string>{kDriverFilesHeader}));
  EXPECT_EQ(session.outcome, 1);
  EXPECT_EQ(session.results.removedApplications.size(), 1u);
}
