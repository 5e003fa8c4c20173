// report_fixture - reports of a test: the lists that go into them, the text that has to come out, and the program that
// the machine opens them with. Include it in one file of a test program: it brings the seam of the clock along.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <windows.h>

#include "report/browser_program.h"
#include "report/removal_report.h"
#include "report/report_stylesheet.h"
#include "support/system_locale.h"
#include "support/test_folder.h"
#include "support/text.h"

template <class Package>
std::vector<Package> named(const std::vector<std::wstring>& names) {
  std::vector<Package> packages;
  for (const std::wstring& name : names) {
    packages.emplace_back().Name = name;
  }
  return packages;
}

struct Lists {
  std::vector<std::wstring> existingApplications;
  std::vector<std::wstring> existingDrivers;
  std::vector<std::wstring> removedApplications;
  std::vector<std::wstring> removedDrivers;
  std::vector<std::wstring> failedApplications;
  std::vector<std::wstring> failedDrivers;
};

inline const Lists kEachKind = {{L"App One", L"App Two"}, {L"Driver One"}, {L"App One"},
                                {L"Driver One"},          {L"App Two"},    {L"Driver Two"}};

inline constexpr char kTallyStart[] = "<tallyreport xmlns:dt=\"urn:schemas-microsoft-com:datatypes\">\n";

inline std::string generalLines(const std::string& time) {
  return "\t<general>\n\t\t<cmdline> </cmdline>\n\t\t<time>" + time +
         "</time>\n\t\t<action>uninst</action>\n\t\t<download></download>\n\t</general>\n";
}

// From the report's own root to its end, for the lists of kEachKind.
inline std::string tallyOfEachKind() {
  return kTallyStart + generalLines("Saturday, November 21, 2026 5:06:07 AM") +
         "\t<exist>\n"
         "<Applications>\n\t\t\t<Name>App One</Name>\n\t\t\t</Applications>"
         "<Applications>\n\t\t\t<Name>App Two</Name>\n\t\t\t</Applications>"
         "<Drivers>\n\t\t\t<Name>Driver One</Name>\n\t\t\t</Drivers>"
         "\t</exist>\n"
         "\t<Uninstalled>\n"
         "\t\t<Applications>\n\t\t\t\t\t<description>App One</description>\n\t\t\t\t\t<result>Succeed</result>\n"
         "\t\t\t\t\t</Applications>\n"
         "\t\t<Drivers>\n\t\t\t\t\t<description>Driver One</description>\n\t\t\t\t\t<result>Succeed</result>\n"
         "\t\t\t\t\t</Drivers>\n"
         "\t</Uninstalled>\n"
         "\t<Failed>\n"
         "\t\t<Applications>\n\t\t\t\t\t<description>App Two</description>\n\t\t\t\t\t<result>Fail</result>\n"
         "\t\t\t\t\t</Applications>\n"
         "\t\t<Drivers>\n\t\t\t\t\t<description>Driver Two</description>\n\t\t\t\t\t<result>Fail</result>\n"
         "\t\t\t\t\t</Drivers>\n"
         "\t</Failed>\n" +
         narrow(kReportResourceBlock) + "</tallyreport>\n";
}

inline std::string withoutCarriageReturns(std::string text) {
  std::erase(text, '\r');
  return text;
}

// Reports in a folder of their own, at a time that stands still, with no program for their type.
class ReportTest : public testing::Test {
 protected:
  void SetUp() override {
    stillClock = StillClock{L"Saturday, November 21, 2026", L"5:06:07 AM"};
    associateReportsWith(L"");
  }

  // The old browser gets the stylesheet beside the report.
  void associateWithOldBrowser() { associateWithBrowser(L"11.00.19041.1"); }

  void associateWithBrowser(const std::wstring& version) {
    const std::wstring browser = folder / L"iexplore.exe";
    ASSERT_TRUE(makeProgram(browser, {{0x0409, version}}));
    associateReportsWith(browser);
  }

  void write(const Lists& lists) const { writeInto(folder.path(), lists); }

  static void writeInto(const std::wstring& path, const Lists& lists) {
    EligiblePackages existing;
    existing.eligibleApplications = named<ApplicationPackage>(lists.existingApplications);
    existing.eligibleDrivers = named<DriverPackage>(lists.existingDrivers);
    PackageResults results;
    results.removedApplications = named<ApplicationPackage>(lists.removedApplications);
    results.removedDrivers = named<DriverPackage>(lists.removedDrivers);
    results.failedApplications = named<ApplicationPackage>(lists.failedApplications);
    results.failedDrivers = named<DriverPackage>(lists.failedDrivers);
    writeRemovalReport(path, L"uninst", existing, results);
  }

  std::string report() const { return withoutCarriageReturns(readFile(reportPath())); }
  std::wstring reportPath() const { return folder / L"report.xml"; }
  std::wstring stylesheetPath() const { return folder / L"report.xml.xsl"; }
  bool isInline() const { return report().find("<doc>") != std::string::npos; }

  // From the report's own root on.
  std::string tally() const {
    const std::string text = report();
    const std::size_t start = text.find(kTallyStart);
    return start == std::string::npos ? text : text.substr(start);
  }

  TestFolder folder;
};
