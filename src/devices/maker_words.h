// maker_words - the words that identify the maker in manufacturer and provider names.
#pragma once

#include <string>

// True if the text, which has to be in lower case, names the maker. "orv" counts even inside a longer word.
bool containsMakerWord(const std::wstring& lowerCaseText);
