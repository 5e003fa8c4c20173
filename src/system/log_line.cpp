#include "system/log_line.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <unordered_map>

#include <windows.h>

namespace {

const std::unordered_map<int, const wchar_t*>& levelNames() {
  static const std::unordered_map<int, const wchar_t*> names = {{0, L"DEBUG"}, {1, L"WARNING"}, {2, L"ERROR"}};
  return names;
}

void appendNarrow(std::string& text, wchar_t unit) {
  if (unit < 0x80) {
    text += static_cast<char>(unit);
    return;
  }
  char bytes[MB_LEN_MAX];
  if (const int count = ::wctomb(bytes, unit); count > 0) {
    text.append(bytes, static_cast<std::size_t>(count));
    return;
  }
  // The runtime's own conversion would end the line here, without its line feed.
  constexpr char kDigits[] = "0123456789abcdef";
  text += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) {
    text += kDigits[unit >> shift & 0xF];
  }
}

}  // namespace

const wchar_t* LogTimeStamp::now() {
  // Not the runtime's own clock function, which may work out the time zone with each call.
  const std::time_t second = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  if (second != second_ || text_[0] == L'\0') {
    const std::tm* local = std::localtime(&second);
    const std::tm time = local ? *local : std::tm{};
    ::_snwprintf(text_, kCharacters - 1, L"%04d%c%02d%c%02d-%02d%c%02d%c%02d", time.tm_year + 1900, L':',
                 time.tm_mon + 1, L':', time.tm_mday, time.tm_hour, L':', time.tm_min, L':', time.tm_sec);
    second_ = second;
  }
  return text_;
}

const wchar_t* LogLine::compose(const wchar_t* stamp, LogLevel level, const wchar_t* format, va_list arguments) {
  const wchar_t* const levelName = levelNames().at(static_cast<int>(level));
  std::fill_n(text_, used_, L'\0');
  const auto start = static_cast<std::size_t>(::_snwprintf(text_, kCharacters - 1, L"Thread Id:%d\t%s\t%s\t",
                                                           static_cast<int>(::GetCurrentThreadId()), stamp, levelName));
  // The runtime's own formatter, which reads %s as wide text; the compiler's replacements read it as narrow. A negative
  // result means that the message was cut or broken off, and has no terminator of its own.
  const int formatted = ::_vsnwprintf(text_ + start, kCharacters - 1 - start, format, arguments);
  used_ = formatted < 0 ? kCharacters : std::min(start + static_cast<std::size_t>(formatted) + 2, kCharacters);
  const std::size_t end = std::min(start + std::wcslen(text_ + start), kCharacters - 2);
  text_[end] = L'\n';
  text_[end + 1] = L'\0';
  return text_;
}

void appendLogBytes(std::string& bytes, const wchar_t* line) {
  for (const wchar_t* unit = line; *unit; ++unit) {
    appendNarrow(bytes, *unit);
  }
}
