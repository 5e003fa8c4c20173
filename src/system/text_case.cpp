#include "system/text_case.h"

#include <algorithm>
#include <cwctype>

std::wstring toLower(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](wchar_t character) { return static_cast<wchar_t>(std::towlower(character)); });
  return text;
}

bool equalsNoCase(std::wstring_view left, std::wstring_view right) {
  const auto fold = [](wchar_t character) {
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a') : character;
  };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [&fold](wchar_t one, wchar_t other) { return fold(one) == fold(other); });
}

bool contains(std::wstring_view text, std::wstring_view part) {
  return text.find(part) != std::wstring_view::npos;
}

bool ContainsNoCase(const std::wstring& text, const std::wstring& part) {
  return !text.empty() &&
         std::search(text.begin(), text.end(), part.begin(), part.end(), [](wchar_t one, wchar_t other) {
           return std::towupper(one) == std::towupper(other);
         }) != text.end();
}
