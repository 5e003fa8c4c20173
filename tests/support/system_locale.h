// system_locale - lets the clock tell its time by the name of the system's locale, which the bench machine does not
// know: without it each report that a test has written logs two failures. Include it in one file of a test program.
#pragma once

#include <string>

#include <windows.h>

#include "support/link_seam.h"

inline std::wstring knownLocale(LPCWSTR locale) {
  return std::wstring(locale) == L"!x-sys-default-locale" ? L"en-US" : locale;
}

LINK_SEAM(int, GetDateFormatEx,
          (LPCWSTR locale, DWORD flags, const SYSTEMTIME* date, LPCWSTR format, LPWSTR buffer, int size,
           LPCWSTR calendar)) {
  return realFunction<decltype(&::GetDateFormatEx)>(L"kernel32.dll", "GetDateFormatEx")(
      knownLocale(locale).c_str(), flags, date, format, buffer, size, calendar);
}

LINK_SEAM(int, GetTimeFormatEx,
          (LPCWSTR locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR format, LPWSTR buffer, int size)) {
  return realFunction<decltype(&::GetTimeFormatEx)>(L"kernel32.dll", "GetTimeFormatEx")(
      knownLocale(locale).c_str(), flags, time, format, buffer, size);
}
