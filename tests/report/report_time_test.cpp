// report_time_test - the date and time of a report: formatted for the system's locale, with every letter, and after a
// failure of the clock.

#include <string>
#include <vector>

#include <windows.h>

#include "report/report_fixture.h"
#include "support/captured_log.h"

namespace {

class ReportTime : public ReportTest {};

}  // namespace

TEST_F(ReportTime, TimeIsInTheLongFormOfTheSystemsLocale) {
  stillClock.reset();
  const auto now = [] {
    wchar_t date[200] = {};
    wchar_t time[200] = {};
    EXPECT_GT(::GetDateFormatW(LOCALE_SYSTEM_DEFAULT, DATE_LONGDATE, nullptr, nullptr, date, 200), 1);
    EXPECT_GT(::GetTimeFormatW(LOCALE_SYSTEM_DEFAULT, 0, nullptr, nullptr, time, 200), 1);
    return std::wstring(date) + L" " + time;
  };
  // The time may change between the two calls, but not twice.
  const std::wstring before = now();
  const std::wstring shown = formatReportTime();
  const std::wstring after = now();
  EXPECT_TRUE(shown == before || shown == after) << narrow(shown);
}

TEST_F(ReportTime, FileStampIsTheSameInEveryLocale) {
  stillClock.reset();
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

TEST_F(ReportTime, LettersBeyondAsciiStandAsReferencesAndCutNothingOff) {
  const struct {
    std::wstring date;
    std::string shown;
  } rows[] = {
      {L"Samstag, 1. M\u00E4rz 2026", "Samstag, 1. M&#228;rz 2026"},
      {L"s\u00E1bado\u007E\u0080\u00FF", "s&#225;bado~&#128;&#255;"},
      {L"2026\u5E743\u67081\u65E5", "2026&#24180;3&#26376;1&#26085;"},
  };
  for (const auto& row : rows) {
    stillClock->date = row.date;
    write(kEachKind);
    EXPECT_NE(report().find("<time>" + row.shown + " 5:06:07 AM</time>"), std::string::npos) << row.shown;
    EXPECT_TRUE(report().ends_with("</doc>\n")) << row.shown;
  }
}

TEST_F(ReportTime, LetterThatTakesTwoUnitsIsOneReference) {
  const struct {
    std::wstring date;
    std::string shown;
  } rows[] = {
      {L"\U0001E8D0 2026", "&#125136; 2026"},
      {L"\U00010000\U0010FFFF\u5E74", "&#65536;&#1114111;&#24180;"},
      // Half a surrogate pair is not a character, and a browser would not show a page with a reference to one.
      {{0xD83A, L'x', 0xDCD0, 0xD83A}, "&#65533;x&#65533;&#65533;"},
      {{0xDCD0, 0xD83A, 0xDCD0}, "&#65533;&#125136;"},
  };
  for (const auto& row : rows) {
    stillClock->date = row.date;
    write(kEachKind);
    EXPECT_NE(report().find("<time>" + row.shown + " 5:06:07 AM</time>"), std::string::npos) << row.shown;
    EXPECT_TRUE(report().ends_with("</doc>\n"));
  }
}

TEST_F(ReportTime, FailuresOfTheClockAreLoggedForTheReportAndForTheFileStamp) {
  const std::string date = "DEBUG Call to GetDateFormatEx failed. Error code: 87 Invalid parameter. ";
  const std::string time = "DEBUG Call to GetTimeFormatEx failed. Error code: 87 Invalid parameter. ";
  const struct {
    bool dateFails;
    bool timeFails;
    std::vector<std::string> lines;
  } rows[] = {{true, false, {date, date}}, {false, true, {time, time}}, {true, true, {date, time, date, time}}};
  for (const auto& row : rows) {
    stillClock->dateFails = row.dateFails;
    stillClock->timeFails = row.timeFails;
    const CapturedLog log;
    write(kEachKind);
    EXPECT_EQ(log.lines(), row.lines);
    // The content of the buffers is shown all the same.
    EXPECT_EQ(tally(), tallyOfEachKind() + "</doc>\n");
  }
}
