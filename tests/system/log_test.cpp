#include "system/log.h"

#include <gmock/gmock.h>

#include <cwchar>
#include <string>
#include <vector>

#include <windows.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::wstring> received;

bool receive(LogLevel level, const wchar_t* format, va_list arguments) {
  wchar_t text[64] = L"";
  ::_vsnwprintf(text, 63, format, arguments);
  received.push_back(std::to_wstring(static_cast<int>(level)) + L' ' + text);
  return true;
}

class LogSinkTest : public testing::Test {
 protected:
  LogSinkTest() { received.clear(); }
  ~LogSinkTest() override { setLogSink(nullptr); }
};

}  // namespace

TEST_F(LogSinkTest, GetsEachLineWithItsLevelFormatAndArguments) {
  setLogSink(receive);
  LogDebug(L"%s and %d", L"text", 7);
  LogError(L"%hs", "narrow");
  EXPECT_THAT(received, ElementsAre(L"0 text and 7", L"2 narrow"));
}

TEST_F(LogSinkTest, GetsNoLineAnyMoreWhenAnotherTakesItsPlace) {
  setLogSink(receive);
  setLogSink([](LogLevel, const wchar_t*, va_list) { return true; });
  LogDebug(L"line");
  EXPECT_THAT(received, IsEmpty());
}

TEST_F(LogSinkTest, IsNotNeeded) {
  setLogSink(nullptr);
  LogDebug(L"line");
  LogError(L"line");
  EXPECT_THAT(received, IsEmpty());
}
