#include "devices/maker_words.h"

#include <algorithm>
#include <array>

#include "system/text_case.h"

bool containsMakerWord(const std::wstring& lowerCaseText) {
  constexpr std::array<const wchar_t*, 4> kWords = {L"ktltech", L"orvane devices", L"ktl tech", L"orv"};
  return std::any_of(kWords.begin(), kWords.end(),
                     [&lowerCaseText](const wchar_t* word) { return contains(lowerCaseText, word); });
}
