// finish_report_test - what the end of a run hands to the report and to the user: the lists without repeated drivers,
// and an outcome that the report has no part in.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <windows.h>

#include "app/cleanup_session.h"
#include "resources/resource_ids.h"
#include "support/test_folder.h"
#include "ui/program_module.h"
#include "ui/window_fixture.h"

namespace {

template <class Package>
std::vector<Package> named(const std::vector<std::wstring>& names) {
  std::vector<Package> packages;
  for (const std::wstring& name : names) {
    packages.emplace_back().Name = name;
  }
  return packages;
}

std::wstring workFolder() {
  wchar_t temp[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, temp);
  return std::wstring(temp) + L"CleanUp\\";
}

class FinishReport : public testing::Test {
 protected:
  FinishReport() : session(::GetModuleHandleW(nullptr), arguments, SW_SHOW) {
    session.switches.silent = true;
    session.switches.rebootAfterRun = false;
    ::DeleteFileW(report.c_str());
  }

  // The report's rows of one kind, between the section's two lines.
  std::vector<std::string> rows(const std::string& section, const std::string& element) const {
    std::string text = readFile(report);
    text = text.substr(0, text.find("</" + section + ">"));
    const std::size_t start = text.find("\t<" + section + ">");
    const std::string open = "<" + element + ">";
    std::vector<std::string> found;
    for (std::size_t at = text.find(open, start); at != std::string::npos; at = text.find(open, at + 1)) {
      found.push_back(text.substr(at + open.size(), text.find('<', at + 1) - at - open.size()));
    }
    return found;
  }

  wchar_t arguments[1] = L"";
  CleanupSession session;
  const std::wstring report = workFolder() + L"report.xml";
};

using Rows = std::vector<std::string>;

}  // namespace

TEST_F(FinishReport, EachListStandsInItsSection) {
  session.packages.eligibleApplications = named<ApplicationPackage>({L"App A", L"App B"});
  session.packages.eligibleDrivers = named<DriverPackage>({L"Driver A"});
  session.results.removedApplications = named<ApplicationPackage>({L"App A"});
  session.results.removedDrivers = named<DriverPackage>({L"Driver A"});
  session.results.failedDrivers = named<DriverPackage>({L"Driver B"});
  session.finishRun();
  EXPECT_EQ(rows("exist", "Name"), (Rows{"App A", "App B", "Driver A"}));
  EXPECT_EQ(rows("Uninstalled", "description"), (Rows{"App A", "Driver A"}));
  EXPECT_EQ(rows("Uninstalled", "result"), (Rows{"Succeed", "Succeed"}));
  EXPECT_EQ(rows("Failed", "description"), (Rows{"Driver B"}));
  EXPECT_EQ(rows("Failed", "result"), (Rows{"Fail"}));
  EXPECT_NE(readFile(report).find("<action>uninst</action>"), std::string::npos);
}

TEST_F(FinishReport, DriverNamedTwiceInAListIsReportedOnce) {
  session.packages.eligibleDrivers = named<DriverPackage>({L"A", L"B", L"A"});
  session.results.removedDrivers = named<DriverPackage>({L"B", L"A", L"B", L"B"});
  session.results.failedDrivers = named<DriverPackage>({L"A", L"A", L"C"});
  session.finishRun();
  EXPECT_EQ(rows("exist", "Name"), (Rows{"A", "B"}));
  EXPECT_EQ(rows("Uninstalled", "description"), (Rows{"B", "A"}));
  EXPECT_EQ(rows("Failed", "description"), (Rows{"A", "C"}));  // A is in the other list too: each counts by itself
}

TEST_F(FinishReport, ApplicationNamedTwiceIsReportedTwice) {
  session.results.removedApplications = named<ApplicationPackage>({L"A", L"A"});
  session.finishRun();
  EXPECT_EQ(rows("Uninstalled", "description"), (Rows{"A", "A"}));
}

TEST_F(FinishReport, ReportThatCannotBeWrittenLeavesTheOutcome) {
  session.finishRun();
  ASSERT_TRUE(pathExists(report));
  const FileHandle lock = lockFile(report);
  session.finishRun();
  EXPECT_EQ(session.outcome, 1);
  session.results.failedDrivers = named<DriverPackage>({L"A"});
  session.finishRun();
  EXPECT_EQ(session.outcome, -1);
}

TEST_F(FinishReport, FailedFilesAndFoldersAloneGiveTheTextOfSuccess) {
  session.switches.silent = false;
  session.failures.failedFiles = {L"C:\\file"};
  session.failures.failedDirectories = {L"C:\\folder"};
  moduleInstance = ::GetModuleHandleW(nullptr);
  session.finishRun();
  ASSERT_TRUE(session.finishDialog);
  ::SendMessageW(session.finishDialog, WM_PAINT, 0, 0);
  EXPECT_EQ(controlText(session.finishDialog, IDC_OUTCOME_TEXT),
            L"The ORV Cleanup Utility has successfully completed.");
  ::DestroyWindow(session.finishDialog);
  pumpWaitingMessages(nullptr);
}
