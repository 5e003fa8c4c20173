// text_case - searches, compares and converts text without regard to case. Each function says which letters it folds.
// Knows nothing of what the text means.
#pragma once

#include <string>
#include <string_view>

// Converts each character with the locale's towlower.
std::wstring toLower(std::wstring text);

// True when the texts are equal once the letters A to Z are folded, and no others.
bool equalsNoCase(std::wstring_view left, std::wstring_view right);

// True when `text` contains `part`, with case. Every text contains an empty part.
bool contains(std::wstring_view text, std::wstring_view part);

// True when `text` contains `part`, both folded with the locale's towupper. An empty text contains nothing, not even an
// empty part.
bool ContainsNoCase(const std::wstring& text, const std::wstring& part);
