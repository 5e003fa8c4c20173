// text_case - comparisons and conversions of text without regard to case. Each says which letters it folds.
#pragma once

#include <string>
#include <string_view>

// Each character by the locale's towlower.
std::wstring toLower(std::wstring text);

// Equal when the letters A to Z are folded and nothing else.
bool equalsNoCase(std::wstring_view left, std::wstring_view right);
