// removal_report_test - the report line by line, in the variant that the program of the file's type can read.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <windows.h>

#include <shellapi.h>

#include "report/browser_program.h"
#include "report/removal_report.h"
#include "report/report_stylesheet.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "ui/localised_strings.h"

namespace {

constexpr wchar_t kDate[] = L"Saturday, November 21, 2026";
constexpr wchar_t kTime[] = L"5:06:07 AM";

bool clockStandsStill = true;
std::wstring shownDate;
bool dateFails = false;
bool timeFails = false;
std::string reportWhenAsked;  // what the report file held when Windows was asked for its program

// The bench machine does not know the name that means the system's own locale.
std::wstring knownLocale(LPCWSTR locale) {
  wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
  ::GetSystemDefaultLocaleName(name, LOCALE_NAME_MAX_LENGTH);
  return std::wstring(locale) == LOCALE_NAME_SYSTEM_DEFAULT ? name : locale;
}

int answer(const wchar_t* text, wchar_t* buffer, int size, bool fails) {
  const int length = static_cast<int>(std::wstring(text).size()) + 1;
  if (size == 0) {
    return length;
  }
  ::wcscpy(buffer, text);
  if (fails) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  return length;
}

}  // namespace

LINK_SEAM(int, GetDateFormatEx,
          (LPCWSTR locale, DWORD flags, const SYSTEMTIME* date, LPCWSTR format, LPWSTR buffer, int size,
           LPCWSTR calendar)) {
  return clockStandsStill ? answer(shownDate.c_str(), buffer, size, dateFails)
                          : realFunction<decltype(&::GetDateFormatEx)>(L"kernel32.dll", "GetDateFormatEx")(
                                knownLocale(locale).c_str(), flags, date, format, buffer, size, calendar);
}

LINK_SEAM(int, GetTimeFormatEx,
          (LPCWSTR locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR format, LPWSTR buffer, int size)) {
  return clockStandsStill ? answer(kTime, buffer, size, timeFails)
                          : realFunction<decltype(&::GetTimeFormatEx)>(L"kernel32.dll", "GetTimeFormatEx")(
                                knownLocale(locale).c_str(), flags, time, format, buffer, size);
}

LINK_SEAM(HINSTANCE, FindExecutableW, (LPCWSTR file, LPCWSTR folder, LPWSTR result)) {
  reportWhenAsked = readFile(file);
  return realFunction<decltype(&::FindExecutableW)>(L"shell32.dll", "FindExecutableW")(file, folder, result);
}

namespace {

template <class Package>
std::vector<Package> named(const std::vector<std::wstring>& names) {
  std::vector<Package> packages;
  for (const std::wstring& name : names) {
    packages.emplace_back().Name = name;
  }
  return packages;
}

using Names = std::vector<std::wstring>;

struct Lists {
  Names existingApplications;
  Names existingDrivers;
  Names removedApplications;
  Names removedDrivers;
  Names failedApplications;
  Names failedDrivers;
};

const Lists kEachKind = {{L"App One", L"App Two"}, {L"Driver One"}, {L"App One"},
                         {L"Driver One"},          {L"App Two"},    {L"Driver Two"}};

constexpr char kTallyStart[] = "<tallyreport xmlns:dt=\"urn:schemas-microsoft-com:datatypes\">\n";

std::string generalLines(const std::string& time) {
  return "\t<general>\n\t\t<cmdline> </cmdline>\n\t\t<time>" + time +
         "</time>\n\t\t<action>uninst</action>\n\t\t<download></download>\n\t</general>\n";
}

// From the report's own root to its end, for the lists of kEachKind.
std::string tallyOfEachKind() {
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

std::string withoutCarriageReturns(std::string text) {
  std::erase(text, '\r');
  return text;
}

class RemovalReport : public testing::Test {
 protected:
  void SetUp() override {
    clockStandsStill = true;
    shownDate = kDate;
    dateFails = timeFails = false;
    reportWhenAsked.clear();
    associateReportsWith(L"");
  }

  void TearDown() override { languageFilePath.clear(); }

  // The old browser gets the stylesheet beside the report.
  void associateWithOldBrowser() { associateWithBrowser(L"11.00.19041.1"); }

  void associateWithBrowser(const std::wstring& version) {
    const std::wstring browser = folder / L"iexplore.exe";
    ASSERT_TRUE(makeProgram(browser, {{0x0409, version}}));
    associateReportsWith(browser);
  }

  void write(const Lists& lists) const { writeInto(folder.path(), lists); }

  static void writeInto(const std::wstring& path, const Lists& lists) {
    writeRemovalReport(path, L"uninst", named<ApplicationPackage>(lists.existingApplications),
                       named<DriverPackage>(lists.existingDrivers),
                       named<ApplicationPackage>(lists.removedApplications), named<DriverPackage>(lists.removedDrivers),
                       named<ApplicationPackage>(lists.failedApplications), named<DriverPackage>(lists.failedDrivers));
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

TEST_F(RemovalReport, ReportIsOnTheDiskBeforeWindowsIsAskedWhatOpensIt) {
  write(kEachKind);
  EXPECT_EQ(reportWhenAsked, "<?xml version=\"1.0\"?>\r\n");
}

TEST_F(RemovalReport, BrowserOfTheReportDecidesTheVariant) {
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

TEST_F(RemovalReport, WithoutAProgramForReportsTheStylesheetIsInside) {
  write(kEachKind);
  EXPECT_TRUE(isInline());
}

TEST_F(RemovalReport, OlderStylesheetBesideAnInlineReportStays) {
  const std::wstring older = folder.makeFile(L"report.xml.xsl", "of an earlier run");
  write(kEachKind);
  EXPECT_TRUE(isInline());
  EXPECT_EQ(readFile(older), "of an earlier run");
}

TEST_F(RemovalReport, OlderStylesheetIsReplacedByTheExternalVariant) {
  folder.makeFile(L"report.xml.xsl", std::string(20'000, 'x'));
  associateWithOldBrowser();
  write(kEachKind);
  EXPECT_EQ(readFile(stylesheetPath()).find("xxxx"), std::string::npos);
}

TEST_F(RemovalReport, FolderThatIsMissingIsPassedOverInSilence) {
  const CapturedLog log;
  writeInto(folder / L"missing", kEachKind);
  EXPECT_EQ(log.lines(), std::vector<std::string>());
  EXPECT_FALSE(pathExists(folder / L"missing"));
}

TEST_F(RemovalReport, ReportThatCannotBeOpenedStaysAndTheStylesheetIsWritten) {
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

TEST_F(RemovalReport, StylesheetThatCannotBeOpenedCostsTheReportNothing) {
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

TEST_F(RemovalReport, LettersBeyondAsciiInTheDateTakeOneByteEach) {
  shownDate = L"Samstag, 1. M\u00E4rz 2026";
  write(kEachKind);
  EXPECT_NE(report().find("<time>Samstag, 1. M\xE4rz 2026 5:06:07 AM</time>"), std::string::npos);
  EXPECT_TRUE(report().ends_with("</doc>\n"));
}

TEST_F(RemovalReport, FailuresOfTheClockAreLoggedForTheReportAndForTheFileStamp) {
  const std::string date = "DEBUG Call to GetDateFormatEx failed. Error code: 87 Invalid parameter. ";
  const std::string time = "DEBUG Call to GetTimeFormatEx failed. Error code: 87 Invalid parameter. ";
  const struct {
    bool dateFails;
    bool timeFails;
    std::vector<std::string> lines;
  } rows[] = {{true, false, {date, date}}, {false, true, {time, time}}, {true, true, {date, time, date, time}}};
  for (const auto& row : rows) {
    dateFails = row.dateFails;
    timeFails = row.timeFails;
    const CapturedLog log;
    write(kEachKind);
    EXPECT_EQ(log.lines(), row.lines);
    // What the buffers hold is shown all the same.
    EXPECT_EQ(tally(), tallyOfEachKind() + "</doc>\n");
  }
}

TEST_F(RemovalReport, TimeIsInTheLongFormOfTheSystemsLocale) {
  clockStandsStill = false;
  const auto now = [] {
    wchar_t date[200] = {};
    wchar_t time[200] = {};
    EXPECT_GT(::GetDateFormatW(LOCALE_SYSTEM_DEFAULT, DATE_LONGDATE, nullptr, nullptr, date, 200), 1);
    EXPECT_GT(::GetTimeFormatW(LOCALE_SYSTEM_DEFAULT, 0, nullptr, nullptr, time, 200), 1);
    return std::wstring(date) + L" " + time;
  };
  // The clock may step between the two; it does not do so twice.
  const std::wstring before = now();
  const std::wstring shown = formatReportTime();
  const std::wstring after = now();
  EXPECT_TRUE(shown == before || shown == after) << narrow(shown);
}

TEST_F(RemovalReport, FileStampIsTheSameInEveryLocale) {
  clockStandsStill = false;
  const auto now = [] {
    SYSTEMTIME time = {};
    ::GetLocalTime(&time);
    wchar_t text[40] = {};
    ::_snwprintf(text, 39, L"%04d_%02d_%02d_%02d.%02d.%02d", time.wYear, time.wMonth, time.wDay, time.wHour,
                 time.wMinute, time.wSecond);
    return std::wstring(text);
  };
  const std::wstring before = now();
  const std::wstring stamp = formatFileStamp();
  EXPECT_TRUE(stamp == before || stamp == now()) << narrow(stamp);
}

// The same reports in both variants, which pages.sh turns into pages.
TEST_F(RemovalReport, BothVariantsAreWrittenFromTheSameLists) {
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

TEST_F(RemovalReport, LettersThatNoByteHoldsStandAsReferencesAndCutNothingOff) {
  shownDate = L"2026\u5E743\u67081\u65E5";
  write(kEachKind);
  EXPECT_NE(report().find("<time>2026&#24180;3&#26376;1&#26085; 5:06:07 AM</time>"), std::string::npos);
  EXPECT_TRUE(report().ends_with("</doc>\n"));
}
