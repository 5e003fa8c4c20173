#include "report/report_stylesheet.h"

#include <filesystem>
#include <fstream>
#include <regex>

#include <windows.h>

// Some of these are only shown for the report of an installation.
const wchar_t kReportResourceBlock[] =
    L"\t<resource>\n"
    L"\t\t<hwinfo>Hardware information</hwinfo>\n"
    L"\t\t<existapppkg>Existing Application packages</existapppkg>\n"
    L"\t\t<existdrvpkg>Driver packages which will be removed</existdrvpkg>\n"
    L"\t\t<uninstapppkg>Uninstalled Application packages</uninstapppkg>\n"
    L"\t\t<uninstdrvpkg>Uninstalled Driver packages</uninstdrvpkg>\n"
    L"\t\t<failapppkg>Failed Application packages</failapppkg>\n"
    L"\t\t<faildrvpkg>Failed Driver packages</faildrvpkg>\n"
    L"\t\t<pkg2inst>Packages for install</pkg2inst>\n"
    L"\t\t<pkg2uninst>Packages for uninstall</pkg2uninst>\n"
    L"\t\t<otherdev>Other detected devices</otherdev>\n"
    L"\t\t<errmsg>Error messages</errmsg>\n"
    L"\t\t<debugmessage>Error Description</debugmessage>\n"
    L"\t\t<name>Name</name>\n"
    L"\t\t<manufacture>Manufacturer</manufacture>\n"
    L"\t\t<chiptype>Chip type</chiptype>\n"
    L"\t\t<chipid>Device ID</chipid>\n"
    L"\t\t<otherhw>Other hardware</otherhw>\n"
    L"\t\t<DownloadFailed>Download Failed</DownloadFailed>\n"
    L"\t\t<succeed>Success</succeed>\n"
    L"\t\t<fail>Failed</fail>\n"
    L"\t\t<vendorid>Vendor ID</vendorid>\n"
    L"\t\t<classcode>Class Code</classcode>\n"
    L"\t\t<revisionid>Revision ID</revisionid>\n"
    L"\t\t<ssid>Subsystem ID</ssid>\n"
    L"\t\t<ssvid>Subsystem vendor ID</ssvid>\n"
    L"\t\t<header1>Install Manager</header1>\n"
    L"\t\t<header2>Installation Report</header2>\n"
    L"\t\t<finalstatus>Final Status:</finalstatus>\n"
    L"\t\t<versionofitem>Version of Item:</versionofitem>\n"
    L"\t\t<size>Size:</size>\n"
    L"\t\t<bytes>Mbytes</bytes>\n"
    L"\t</resource>\n";

namespace {

constexpr wchar_t kStylesheetName[] = L"\\report.xml.xsl";

// Without this, a single blank between two elements is lost.
constexpr wchar_t kBlank[] = L"<xsl:text> </xsl:text>";

#define XSL_NAMESPACE L"xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\" version=\"1.0\""
#define INNER_TABLE L"<table WIDTH=\"100%\" STYLE=\"border: 1px solid #000000;\">\n"

constexpr wchar_t kInlineHead[] =
    L"<?xml-stylesheet type=\"text/xsl\" href=\"#stylesheet\"?>\n\n"
    L"<!DOCTYPE doc [\n<!ATTLIST xsl:stylesheet\nid ID #REQUIRED>\n]>\n"
    L"<doc>\n\n"
    L"<xsl:stylesheet id=\"stylesheet\" " XSL_NAMESPACE L">\n"
    L"<xsl:template match=\"/\" >";

constexpr wchar_t kExternalHead[] =
    L"<?xml version='1.0'?>\n<xsl:stylesheet " XSL_NAMESPACE L">\n<xsl:template match=\"/\">";

std::wstring value(const std::wstring& path) {
  return L"<xsl:value-of select=\"" + path + L"\"/>";
}

std::wstring word(const std::wstring& element) {
  return value(L"/tallyreport/resource/" + element);
}

std::wstring forEach(const std::wstring& path, const std::wstring& content) {
  return L"<xsl:for-each select=\"" + path + L"\">\n" + content + L"</xsl:for-each>\n";
}

std::wstring when(const std::wstring& test, const std::wstring& content) {
  return L"<xsl:if test=\"" + test + L"\">" + content + L"</xsl:if>\n";
}

std::wstring innerTable(const std::wstring& content) {
  return INNER_TABLE + content + L"</table>\n";
}

// A heading and its text, side by side.
std::wstring row(const std::wstring& heading, const std::wstring& content) {
  return L"<tr>\n<td width=\"50%\">" + heading + L"</td>\n<td>\n" + content + L"</td>\n</tr>\n";
}

std::wstring pair(const std::wstring& first, const std::wstring& second) {
  return L"<tr><td>" + first + L"</td><td>" + second + L"</td></tr>\n";
}

std::wstring red(const std::wstring& text) {
  return L"<p style=\"color:red\">" + text + L"</p>";
}

std::wstring titleRow() {
  return L"<TR>\n<TD colspan=\"2\" WIDTH=\"50%\"><center>" + word(L"header1") + L"<br/>" + word(L"header2") + L"<br/>" +
         value(L"/tallyreport/general/time") + L"<br/><br/></center></TD>\n</TR>\n";
}

std::wstring nameRow(const std::wstring& heading, const std::wstring& path) {
  return row(word(heading), innerTable(forEach(path, L"<tr><td>" + value(L"Name") + L"</td></tr>\n")));
}

std::wstring resultRow(const std::wstring& heading, const std::wstring& path) {
  return row(word(heading),
             innerTable(forEach(path, L"<tr>\n<td WIDTH=\"50%\">" + value(L"description") +
                                          L"</td>\n<td WIDTH=\"50%\">" + when(L"result='Fail'", red(word(L"fail"))) +
                                          when(L"result='Succeed'", word(L"succeed")) + L"</td>\n</tr>\n")));
}

// For reports of an installation, which this program does not write.
std::wstring installRow() {
  const std::wstring outcome = when(L"result='Fail'", red(word(L"fail"))) +
                               when(L"result='DownloadFailed'", red(word(L"DownloadFailed"))) +
                               when(L"result='Succeed'", L"<p style=\"color:green\">" + word(L"succeed") + L"</p>");
  const std::wstring package = L"<tr>\n<td>" + value(L"description") + L"</td>\n<td>\n" +
                               innerTable(pair(word(L"finalstatus"), outcome) +
                                          when(L"result='Fail'", pair(word(L"debugmessage"), value(L"message"))) +
                                          pair(word(L"versionofitem"), value(L"version")) +
                                          pair(word(L"size"), value(L"size") + kBlank + word(L"bytes"))) +
                               L"</td>\n</tr>\n";
  return when(L"/tallyreport/general/action='install'", L"\n" + row(L"<b>" + word(L"pkg2inst") + L"</b>", L"") +
                                                            forEach(L"/tallyreport/install/package", package));
}

// For reports with the machine's devices, which this program does not write either.
std::wstring deviceRow() {
  std::wstring facts;
  for (const wchar_t* fact : {L"manufacture", L"chipid", L"vendorid", L"classcode", L"revisionid", L"ssid", L"ssvid"}) {
    facts += pair(word(fact), value(fact));
  }
  return forEach(L"/tallyreport/dcm/device", row(value(L"name"), innerTable(facts)));
}

const std::wstring& stylesheetBody() {
  static const std::wstring body =
      L"\n<HTML>\n<BODY>\n<center>\n<TABLE BORDER=\"0\" CELLPADDING=\"2\" CELLSPACING=\"2\" WIDTH=\"100%\">\n" +
      titleRow() + nameRow(L"existapppkg", L"/tallyreport/exist/Applications") +
      nameRow(L"existdrvpkg", L"/tallyreport/exist/Drivers") +
      resultRow(L"uninstapppkg", L"/tallyreport/Uninstalled/Applications") +
      resultRow(L"uninstdrvpkg", L"/tallyreport/Uninstalled/Drivers") +
      resultRow(L"failapppkg", L"/tallyreport/Failed/Applications") +
      resultRow(L"faildrvpkg", L"/tallyreport/Failed/Drivers") + installRow() + deviceRow() +
      L"</TABLE>\n</center>\n</BODY>\n</HTML>\n</xsl:template>\n</xsl:stylesheet>\n\n";
  return body;
}

}  // namespace

void writeInlineStylesheet(std::wostream& stream) {
  stream << kInlineHead << std::endl;
  // Here the report's root is not the document's root.
  stream << std::regex_replace(stylesheetBody(), std::wregex(L"/tallyreport"), L"//tallyreport") << std::endl;
}

void writeStylesheetFile(const std::wstring& folder) {
  const std::wstring path = folder + kStylesheetName;
  ::DeleteFileW(path.c_str());  // as for the report
  std::wofstream stream{std::filesystem::path(path)};
  stream << kExternalHead << std::endl << stylesheetBody() << std::endl;
}
