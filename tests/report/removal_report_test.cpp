// removal_report_test - the report line by line, with the stylesheet inside and in a separate file.

#include <string>
#include <vector>

#include <windows.h>

#include "report/report_fixture.h"
#include "ui/localised_strings.h"

namespace {

class RemovalReport : public ReportTest {
 protected:
  void TearDown() override { languageFilePath.clear(); }
};

}  // namespace

TEST_F(RemovalReport, ExternalVariantLineByLine) {
  associateWithOldBrowser();
  write(kEachKind);
  EXPECT_EQ(report(), "<?xml version=\"1.0\"?>\n<?xml-stylesheet type=\"text/xsl\" href=\"Report.xml.xsl\"?>\n" +
                          tallyOfEachKind());
  EXPECT_TRUE(pathExists(stylesheetPath()));
}

TEST_F(RemovalReport, InlineVariantLineByLine) {
  write(kEachKind);
  const std::string text = report();
  EXPECT_TRUE(
      text.starts_with("<?xml version=\"1.0\"?>\n"
                       "<?xml-stylesheet type=\"text/xsl\" href=\"#stylesheet\"?>\n\n"
                       "<!DOCTYPE doc [\n<!ATTLIST xsl:stylesheet\nid ID #REQUIRED>\n]>\n<doc>\n\n"
                       "<xsl:stylesheet id=\"stylesheet\""))
      << text.substr(0, 300);
  EXPECT_EQ(tally(), tallyOfEachKind() + "</doc>\n");
  EXPECT_NE(text.find("</xsl:stylesheet>\n\n\n" + std::string(kTallyStart)), std::string::npos);
  EXPECT_FALSE(pathExists(stylesheetPath()));
}

TEST_F(RemovalReport, LinesEndAsWindowsEndsThem) {
  write(kEachKind);
  const std::string bytes = readFile(reportPath());
  for (std::size_t end = bytes.find('\n'); end != std::string::npos; end = bytes.find('\n', end + 1)) {
    ASSERT_EQ(bytes[end - 1], '\r') << "at byte " << end;
  }
}

TEST_F(RemovalReport, LinksInThePlacesOfTheFilesAreNotWrittenThrough) {
  associateWithOldBrowser();
  const TestFolder elsewhere;
  const std::wstring precious = elsewhere.makeFile(L"precious", "precious");
  for (const std::wstring& path : {reportPath(), stylesheetPath()}) {
    ASSERT_TRUE(::CreateHardLinkW(path.c_str(), precious.c_str(), nullptr)) << ::GetLastError();
  }
  write(kEachKind);
  EXPECT_EQ(readFile(precious), "precious");
  EXPECT_TRUE(report().ends_with("</tallyreport>\n"));
  EXPECT_NE(readFile(stylesheetPath()), "precious");
}

TEST_F(RemovalReport, EmptyListsLeaveTheirSectionsInPlace) {
  write({});
  EXPECT_EQ(tally(), kTallyStart + generalLines("Saturday, November 21, 2026 5:06:07 AM") +
                         "\t<exist>\n\t</exist>\n\t<Uninstalled>\n\t</Uninstalled>\n\t<Failed>\n\t</Failed>\n" +
                         narrow(kReportResourceBlock) + "</tallyreport>\n</doc>\n");
}

TEST_F(RemovalReport, DriverBeginsOnTheLineOfTheApplicationBeforeIt) {
  write({{L"An application"}, {L"A driver"}, {}, {}, {}, {}});
  EXPECT_NE(report().find("\t\t\t</Applications><Drivers>\n"), std::string::npos);
}

TEST_F(RemovalReport, NamesOfAnyLengthAreWhole) {
  Lists lists;
  for (std::size_t length = 0; length < 300; ++length) {
    lists.removedDrivers.push_back(std::wstring(length, L'x'));
  }
  lists.removedDrivers.push_back(std::wstring(5'000, L'y'));
  std::string expected = "\t<Uninstalled>\n";
  for (const std::wstring& name : lists.removedDrivers) {
    expected += "\t\t<Drivers>\n\t\t\t\t\t<description>" + narrow(name) +
                "</description>\n\t\t\t\t\t<result>Succeed</result>\n\t\t\t\t\t</Drivers>\n";
  }
  write(lists);
  EXPECT_NE(report().find(expected + "\t</Uninstalled>\n"), std::string::npos);
}

TEST_F(RemovalReport, NamesStandAsTheyAre) {
  write({{L"A & B <100%s> \"C\""}, {}, {}, {}, {}, {}});
  EXPECT_NE(report().find("<Name>A & B <100%s> \"C\"</Name>"), std::string::npos);
}

TEST_F(RemovalReport, RepeatedNamesAndTheirOrderStayAsGiven) {
  write({{L"b", L"a", L"b"}, {}, {}, {}, {}, {}});
  EXPECT_NE(report().find("<exist>\n<Applications>\n\t\t\t<Name>b</Name>\n\t\t\t</Applications>"
                          "<Applications>\n\t\t\t<Name>a</Name>\n\t\t\t</Applications>"
                          "<Applications>\n\t\t\t<Name>b</Name>\n\t\t\t</Applications>\t</exist>\n"),
            std::string::npos);
}

TEST_F(RemovalReport, LaterRunReplacesALongerReport) {
  write({{}, {}, {std::wstring(9'000, L'x')}, {}, {}, {}});
  write(kEachKind);
  EXPECT_EQ(tally(), tallyOfEachKind() + "</doc>\n");
}

TEST_F(RemovalReport, WordsOfTheReportStayEnglishWhateverTheLanguage) {
  std::string captions = "<Language >";
  for (int number = 0; number < 200; ++number) {
    captions += "<Caption Value=\"" + std::to_string(number) + "\">Wort</Caption>";
  }
  languageFilePath = folder.makeFile(L"DEU.xml", captions + "</Language>");
  ASSERT_EQ(userText(kCaptionTitle, L"title"), L"Wort");
  write(kEachKind);
  EXPECT_EQ(tally(), tallyOfEachKind() + "</doc>\n");
}

// Writes the same report in both variants, which test_pages.py turns into pages.
TEST_F(RemovalReport, BothVariantsAreWrittenFromTheSameLists) {
  stillClock->date = L"Samstag, 21. M\u00E4rz 2026";
  Lists lists = {{L"App One"}, {L"Driver One"}, {}, {L"Driver One"}, {L"App One"}, {L"Driver Two"}};
  for (int number = 0; number < 500; ++number) {
    lists.removedApplications.push_back(L"Application number " + std::to_wstring(number));
  }
  ::CreateDirectoryW(L"C:\\bench\\pages", nullptr);
  const std::wstring inlineFolder = L"C:\\bench\\pages\\inline";
  const std::wstring externalFolder = L"C:\\bench\\pages\\external";
  ::CreateDirectoryW(inlineFolder.c_str(), nullptr);
  ::CreateDirectoryW(externalFolder.c_str(), nullptr);
  writeInto(inlineFolder, lists);
  associateWithOldBrowser();
  writeInto(externalFolder, lists);
  const auto tallyIn = [](const std::wstring& path) {
    const std::string text = readFile(path + L"\\report.xml");
    const std::size_t start = text.find("<tallyreport");
    return text.substr(start, text.find("</tallyreport>") - start);
  };
  EXPECT_EQ(tallyIn(inlineFolder), tallyIn(externalFolder));
  EXPECT_TRUE(pathExists(externalFolder + L"\\report.xml.xsl"));
}
