// report_variants_test - the program that opens a report decides where the stylesheet is, and a file that cannot be
// written is the only thing missing.

#include <string>
#include <vector>

#include <windows.h>

#include <shellapi.h>

#include "report/report_fixture.h"
#include "support/captured_log.h"
#include "support/link_seam.h"

namespace {

std::string reportWhenAsked;  // the report's content when Windows was asked for its program

}  // namespace

LINK_SEAM(HINSTANCE, FindExecutableW, (LPCWSTR file, LPCWSTR folder, LPWSTR result)) {
  reportWhenAsked = readFile(file);
  return realFunction<decltype(&::FindExecutableW)>(L"shell32.dll", "FindExecutableW")(file, folder, result);
}

namespace {

class ReportVariants : public ReportTest {};

}  // namespace

TEST_F(ReportVariants, ReportIsOnTheDiskBeforeWindowsIsAskedWhatOpensIt) {
  write(kEachKind);
  EXPECT_EQ(reportWhenAsked, "<?xml version=\"1.0\"?>\r\n");
}

TEST_F(ReportVariants, BrowserOfTheReportDecidesTheVariant) {
  const struct {
    const wchar_t* program;
    const wchar_t* version;
    bool isInline;
  } rows[] = {
      {L"iexplore.exe", L"11.00.19041.1", false}, {L"iexplore.exe", L"11.00.19044.1", true},
      {L"iexplore.exe", L"11.00.9600.1", true},   {L"IExplore.EXE", L"11.00.19041.1", false},
      {L"other.exe", L"11.00.19041.1", true},     {L"old-iexplore.exe", L"11.00.19041.1", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(narrow(row.program) + " " + narrow(row.version));
    const TestFolder programs;
    ASSERT_TRUE(makeProgram(programs / row.program, {{0x0409, row.version}}));
    associateReportsWith(programs / row.program);
    write(kEachKind);
    EXPECT_EQ(isInline(), row.isInline);
    EXPECT_EQ(pathExists(stylesheetPath()), !row.isInline);
    ::DeleteFileW(stylesheetPath().c_str());
  }
}

TEST_F(ReportVariants, WithoutAProgramForReportsTheStylesheetIsInside) {
  write(kEachKind);
  EXPECT_TRUE(isInline());
}

TEST_F(ReportVariants, OlderStylesheetBesideAnInlineReportStays) {
  const std::wstring older = folder.makeFile(L"report.xml.xsl", "of an earlier run");
  write(kEachKind);
  EXPECT_TRUE(isInline());
  EXPECT_EQ(readFile(older), "of an earlier run");
}

TEST_F(ReportVariants, OlderStylesheetIsReplacedByTheExternalVariant) {
  folder.makeFile(L"report.xml.xsl", std::string(20'000, 'x'));
  associateWithOldBrowser();
  write(kEachKind);
  EXPECT_EQ(readFile(stylesheetPath()).find("xxxx"), std::string::npos);
}

TEST_F(ReportVariants, FolderThatIsMissingIsPassedOverInSilence) {
  const CapturedLog log;
  writeInto(folder / L"missing", kEachKind);
  EXPECT_EQ(log.lines(), std::vector<std::string>());
  EXPECT_FALSE(pathExists(folder / L"missing"));
}

TEST_F(ReportVariants, ReportThatCannotBeOpenedStaysAndTheStylesheetIsWritten) {
  folder.makeFile(L"report.xml", "of an earlier run");
  associateWithOldBrowser();
  const CapturedLog log;
  {
    const FileHandle lock = lockFile(reportPath());
    write(kEachKind);
  }
  EXPECT_EQ(log.lines(), std::vector<std::string>());
  EXPECT_EQ(readFile(reportPath()), "of an earlier run");
  EXPECT_TRUE(pathExists(stylesheetPath()));
}

TEST_F(ReportVariants, StylesheetThatCannotBeOpenedCostsTheReportNothing) {
  folder.makeFile(L"report.xml.xsl", "of an earlier run");
  associateWithOldBrowser();
  const CapturedLog log;
  {
    const FileHandle lock = lockFile(stylesheetPath());
    write(kEachKind);
  }
  EXPECT_EQ(log.lines(), std::vector<std::string>());
  EXPECT_EQ(tally(), tallyOfEachKind());
  EXPECT_EQ(readFile(stylesheetPath()), "of an earlier run");
}
