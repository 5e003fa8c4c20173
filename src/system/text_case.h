// text_case - searching text, and comparing and converting it without regard to case. Each says which letters it folds.
#pragma once

#include <string>
#include <string_view>

// Each character by the locale's towlower.
std::wstring toLower(std::wstring text);

// Equal when the letters A to Z are folded and nothing else.
bool equalsNoCase(std::wstring_view left, std::wstring_view right);

// True when the part stands anywhere in the text, case included. An empty part stands everywhere.
bool contains(std::wstring_view text, std::wstring_view part);

// True when `part` stands anywhere in `text`, both folded by the locale's towupper. No text at all contains nothing,
// not even an empty part.
bool ContainsNoCase(const std::wstring& text, const std::wstring& part);
