// system_locale - makes time formatting accept the name of the system's locale, which Wine 8 does not know: without it,
// each report that a test writes logs two failures. A test can also stop the clock or make it fail. Include it in one
// file of a test program.
#pragma once

#include <cwchar>
#include <optional>
#include <string>

#include <windows.h>

#include "support/link_seam.h"

// What the formatting functions return. A failing one fills the buffer all the same.
struct StillClock {
  std::wstring date;
  std::wstring time;
  bool dateFails = false;
  bool timeFails = false;
};

inline std::optional<StillClock> stillClock;

inline std::wstring knownLocale(LPCWSTR locale) {
  wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
  ::GetSystemDefaultLocaleName(name, LOCALE_NAME_MAX_LENGTH);
  return std::wstring(locale) == LOCALE_NAME_SYSTEM_DEFAULT ? name : locale;
}

// The result of a call with this buffer, or of one without a buffer, which asks for the size.
inline int stillAnswer(const std::wstring& text, bool fails, wchar_t* buffer, int size) {
  const int length = static_cast<int>(text.size()) + 1;
  if (size == 0) {
    return length;
  }
  ::wcscpy(buffer, text.c_str());
  if (fails) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  return length;
}

LINK_SEAM(int, GetDateFormatEx,
          (LPCWSTR locale, DWORD flags, const SYSTEMTIME* date, LPCWSTR format, LPWSTR buffer, int size,
           LPCWSTR calendar)) {
  return stillClock ? stillAnswer(stillClock->date, stillClock->dateFails, buffer, size)
                    : realFunction<decltype(&::GetDateFormatEx)>(L"kernel32.dll", "GetDateFormatEx")(
                          knownLocale(locale).c_str(), flags, date, format, buffer, size, calendar);
}

LINK_SEAM(int, GetTimeFormatEx,
          (LPCWSTR locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR format, LPWSTR buffer, int size)) {
  return stillClock ? stillAnswer(stillClock->time, stillClock->timeFails, buffer, size)
                    : realFunction<decltype(&::GetTimeFormatEx)>(L"kernel32.dll", "GetTimeFormatEx")(
                          knownLocale(locale).c_str(), flags, time, format, buffer, size);
}
