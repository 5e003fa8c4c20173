// text - converts wide text to the form in the log and in exception messages, for comparisons in tests.
#pragma once

#include <string>

#include <windows.h>

inline std::string narrow(const std::wstring& text) {
  const int length = static_cast<int>(text.size());
  std::string result(
      static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr)),
      '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), static_cast<int>(result.size()), nullptr,
                        nullptr);
  return result;
}
