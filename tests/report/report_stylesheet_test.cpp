// report_stylesheet_test - the stylesheet in both of its places, and the words that the page shows.

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>

#include "report/report_stylesheet.h"
#include "support/test_folder.h"
#include "support/text.h"

namespace {

constexpr char kNamespace[] = "xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\" version=\"1.0\">\n";

std::string inlineStylesheet() {
  std::wostringstream stream;
  writeInlineStylesheet(stream);
  return narrow(stream.str());
}

std::string stylesheetFile() {
  const TestFolder folder;
  writeStylesheetFile(folder.path());
  std::string text = readFile(folder / L"report.xml.xsl");
  std::erase(text, '\r');
  return text;
}

// What both variants share: everything after the line with the template's opening tag.
std::string body(const std::string& stylesheet) {
  const std::size_t tag = stylesheet.find("<xsl:template");
  return stylesheet.substr(stylesheet.find('\n', tag) + 1);
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
    ++found;
  }
  return found;
}

}  // namespace

TEST(ReportWords, AreThisText) {
  const std::string words = narrow(kReportResourceBlock);
  EXPECT_EQ(words.size(), 1'293u);
  EXPECT_EQ(words,
            "\t<resource>\n"
            "\t\t<hwinfo>Hardware information</hwinfo>\n"
            "\t\t<existapppkg>Existing Application packages</existapppkg>\n"
            "\t\t<existdrvpkg>Driver packages which will be removed</existdrvpkg>\n"
            "\t\t<uninstapppkg>Uninstalled Application packages</uninstapppkg>\n"
            "\t\t<uninstdrvpkg>Uninstalled Driver packages</uninstdrvpkg>\n"
            "\t\t<failapppkg>Failed Application packages</failapppkg>\n"
            "\t\t<faildrvpkg>Failed Driver packages</faildrvpkg>\n"
            "\t\t<pkg2inst>Packages for install</pkg2inst>\n"
            "\t\t<pkg2uninst>Packages for uninstall</pkg2uninst>\n"
            "\t\t<otherdev>Other detected devices</otherdev>\n"
            "\t\t<errmsg>Error messages</errmsg>\n"
            "\t\t<debugmessage>Error Description</debugmessage>\n"
            "\t\t<name>Name</name>\n"
            "\t\t<manufacture>Manufacturer</manufacture>\n"
            "\t\t<chiptype>Chip type</chiptype>\n"
            "\t\t<chipid>Device ID</chipid>\n"
            "\t\t<otherhw>Other hardware</otherhw>\n"
            "\t\t<DownloadFailed>Download Failed</DownloadFailed>\n"
            "\t\t<succeed>Success</succeed>\n"
            "\t\t<fail>Failed</fail>\n"
            "\t\t<vendorid>Vendor ID</vendorid>\n"
            "\t\t<classcode>Class Code</classcode>\n"
            "\t\t<revisionid>Revision ID</revisionid>\n"
            "\t\t<ssid>Subsystem ID</ssid>\n"
            "\t\t<ssvid>Subsystem vendor ID</ssvid>\n"
            "\t\t<header1>Install Manager</header1>\n"
            "\t\t<header2>Installation Report</header2>\n"
            "\t\t<finalstatus>Final Status:</finalstatus>\n"
            "\t\t<versionofitem>Version of Item:</versionofitem>\n"
            "\t\t<size>Size:</size>\n"
            "\t\t<bytes>Mbytes</bytes>\n"
            "\t</resource>\n");
}

TEST(ReportStylesheet, HeadInsideTheReport) {
  EXPECT_TRUE(inlineStylesheet().starts_with(
      std::string("<?xml-stylesheet type=\"text/xsl\" href=\"#stylesheet\"?>\n\n"
                  "<!DOCTYPE doc [\n<!ATTLIST xsl:stylesheet\nid ID #REQUIRED>\n]>\n<doc>\n\n"
                  "<xsl:stylesheet id=\"stylesheet\" ") +
      kNamespace + "<xsl:template match=\"/\" >\n"));
}

TEST(ReportStylesheet, HeadOfItsOwnFile) {
  EXPECT_TRUE(stylesheetFile().starts_with(std::string("<?xml version='1.0'?>\n<xsl:stylesheet ") + kNamespace +
                                           "<xsl:template match=\"/\">\n"));
}

TEST(ReportStylesheet, BodiesDifferInThePathsToTheReportsRootAlone) {
  EXPECT_EQ(body(inlineStylesheet()),
            std::regex_replace(body(stylesheetFile()), std::regex("/tallyreport"), "//tallyreport"));
}

TEST(ReportStylesheet, PathsInItsOwnFileStartAtTheTop) {
  const std::string text = stylesheetFile();
  EXPECT_GT(count(text, "\"/tallyreport/"), 0u);
  EXPECT_EQ(count(text, "//tallyreport"), 0u);
}

TEST(ReportStylesheet, EveryPathInsideTheReportFindsTheRootBelowTheTop) {
  const std::string text = inlineStylesheet();
  EXPECT_GT(count(text, "tallyreport"), 0u);
  EXPECT_EQ(count(text, "tallyreport"), count(text, "\"//tallyreport"));
}

TEST(ReportStylesheet, PageOpensAndClosesInOrder) {
  std::string text = body(stylesheetFile());
  std::erase(text, '\n');
  EXPECT_TRUE(
      text.starts_with("<HTML><BODY><center>"
                       "<TABLE BORDER=\"0\" CELLPADDING=\"2\" CELLSPACING=\"2\" WIDTH=\"100%\"><TR>"));
  EXPECT_TRUE(text.ends_with("</TABLE></center></BODY></HTML></xsl:template></xsl:stylesheet>"));
  // The text ends with two line ends; the writer adds the third.
  EXPECT_TRUE(stylesheetFile().ends_with("</xsl:stylesheet>\n\n\n"));
  EXPECT_TRUE(inlineStylesheet().ends_with("</xsl:stylesheet>\n\n\n"));
}

TEST(ReportStylesheet, RowsStandInTheFixedOrder) {
  const std::string text = body(stylesheetFile());
  std::size_t at = 0;
  for (const char* part : {"colspan=\"2\" WIDTH=\"50%\"",
                           "/tallyreport/resource/header1\"/><br/>",
                           "/tallyreport/resource/header2\"/><br/>",
                           "/tallyreport/general/time\"/><br/><br/>",
                           "<td width=\"50%\"><xsl:value-of select=\"/tallyreport/resource/existapppkg\"/></td>",
                           "for-each select=\"/tallyreport/exist/Applications\"",
                           "select=\"Name\"",
                           "<td width=\"50%\"><xsl:value-of select=\"/tallyreport/resource/existdrvpkg\"/></td>",
                           "for-each select=\"/tallyreport/exist/Drivers\"",
                           "select=\"Name\"",
                           "<td width=\"50%\"><xsl:value-of select=\"/tallyreport/resource/uninstapppkg\"/></td>",
                           "for-each select=\"/tallyreport/Uninstalled/Applications\"",
                           "select=\"description\"",
                           "<td width=\"50%\"><xsl:value-of select=\"/tallyreport/resource/uninstdrvpkg\"/></td>",
                           "for-each select=\"/tallyreport/Uninstalled/Drivers\"",
                           "select=\"description\"",
                           "<td width=\"50%\"><xsl:value-of select=\"/tallyreport/resource/failapppkg\"/></td>",
                           "for-each select=\"/tallyreport/Failed/Applications\"",
                           "select=\"description\"",
                           "<td width=\"50%\"><xsl:value-of select=\"/tallyreport/resource/faildrvpkg\"/></td>",
                           "for-each select=\"/tallyreport/Failed/Drivers\"",
                           "select=\"description\"",
                           "test=\"/tallyreport/general/action='install'\"",
                           "<b><xsl:value-of select=\"/tallyreport/resource/pkg2inst\"/></b>",
                           "for-each select=\"/tallyreport/install/package\"",
                           "/tallyreport/resource/finalstatus",
                           "test=\"result='Fail'\"",
                           "/tallyreport/resource/fail\"",
                           "test=\"result='DownloadFailed'\"",
                           "/tallyreport/resource/DownloadFailed\"",
                           "test=\"result='Succeed'\"",
                           "/tallyreport/resource/succeed\"",
                           "/tallyreport/resource/debugmessage\"",
                           "select=\"message\"",
                           "/tallyreport/resource/versionofitem\"",
                           "select=\"version\"",
                           "/tallyreport/resource/size\"",
                           "select=\"size\"",
                           "/tallyreport/resource/bytes\"",
                           "for-each select=\"/tallyreport/dcm/device\"",
                           "select=\"name\"",
                           "/tallyreport/resource/manufacture",
                           "/tallyreport/resource/chipid",
                           "/tallyreport/resource/vendorid",
                           "/tallyreport/resource/classcode",
                           "/tallyreport/resource/revisionid",
                           "/tallyreport/resource/ssid",
                           "/tallyreport/resource/ssvid"}) {
    const std::size_t found = text.find(part, at);
    ASSERT_NE(found, std::string::npos) << part;
    at = found + std::string(part).size();
  }
}

TEST(ReportStylesheet, EachOfTheFourResultListsTellsFailureInRed) {
  const std::string text = body(stylesheetFile());
  // The fifth is the one for installations.
  EXPECT_EQ(count(text,
                  "<xsl:if test=\"result='Fail'\"><p style=\"color:red\">"
                  "<xsl:value-of select=\"/tallyreport/resource/fail\"/></p></xsl:if>"),
            5u);
  EXPECT_EQ(count(text,
                  "<xsl:if test=\"result='Succeed'\"><xsl:value-of select=\"/tallyreport/resource/succeed\"/>"
                  "</xsl:if>"),
            4u);
}

TEST(ReportStylesheet, InnerTablesHaveABorder) {
  EXPECT_EQ(count(body(stylesheetFile()), "<table WIDTH=\"100%\" STYLE=\"border: 1px solid #000000;\">"), 8u);
}

TEST(ReportStylesheet, FileThatCannotBeOpenedIsPassedOver) {
  const TestFolder folder;
  writeStylesheetFile(folder / L"missing");
  EXPECT_FALSE(pathExists(folder / L"missing"));
}
