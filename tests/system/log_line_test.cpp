#include "system/log_line.h"

#include <gmock/gmock.h>

#include <cstdarg>
#include <stdexcept>
#include <string>

#include <windows.h>

namespace {

std::wstring composed(LogLine& line, LogLevel level, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::wstring text = line.compose(L"stamp", level, format, arguments);
  va_end(arguments);
  return text;
}

std::wstring expected(const std::wstring& level, const std::wstring& message) {
  return L"Thread Id:" + std::to_wstring(::GetCurrentThreadId()) + L"\tstamp\t" + level + L'\t' + message + L'\n';
}

std::string bytesOf(const wchar_t* line) {
  std::string bytes;
  appendLogBytes(bytes, line);
  return bytes;
}

}  // namespace

TEST(LogLine, HasThreadStampLevelAndMessage) {
  LogLine line;
  EXPECT_EQ(composed(line, LogLevel::Debug, L"%s: %d", L"text", 7), expected(L"DEBUG", L"text: 7"));
  EXPECT_EQ(composed(line, LogLevel::Warning, L""), expected(L"WARNING", L""));
  EXPECT_EQ(composed(line, LogLevel::Error, L"%hs", "narrow"), expected(L"ERROR", L"narrow"));
}

TEST(LogLine, KeepsNothingOfALongerOneBeforeIt) {
  LogLine line;
  composed(line, LogLevel::Debug, L"%s", std::wstring(70'000, L'x').c_str());
  EXPECT_EQ(composed(line, LogLevel::Debug, L"short"), expected(L"DEBUG", L"short"));
}

TEST(LogLine, IsCutInFrontOfItsLineFeed) {
  LogLine line;
  const std::wstring text = composed(line, LogLevel::Debug, L"%s", std::wstring(70'000, L'x').c_str());
  EXPECT_EQ(text.size(), 65'535u);
  EXPECT_TRUE(text.ends_with(L"xx\n"));
}

TEST(LogLine, NeedsALevelThatHasAName) {
  LogLine line;
  EXPECT_THROW(composed(line, static_cast<LogLevel>(3), L""), std::out_of_range);
}

TEST(LogBytes, AreAppendedAndEscapeWhatTheLocaleLacks) {
  std::string bytes = "before ";
  appendLogBytes(bytes, L"plain\n");
  EXPECT_EQ(bytes, "before plain\n");
  EXPECT_EQ(bytesOf(L"\u4F60 \u0416"), "\\u4f60 \\u0416");
  EXPECT_EQ(bytesOf(L""), "");
}

TEST(LogTimeStampTest, HasDateAndTimeAndStaysWithinASecond) {
  LogTimeStamp stamp;
  const std::wstring first = stamp.now();
  EXPECT_EQ(first.size(), 19u);
  for (const std::size_t colon : {4u, 7u, 13u, 16u}) {
    EXPECT_EQ(first[colon], L':') << colon;
  }
  EXPECT_EQ(first[10], L'-');
  EXPECT_LE(first, std::wstring(stamp.now()));
}
