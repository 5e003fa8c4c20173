// maker_words - the words by which the maker's drivers are known.
#pragma once

#include <string>

// True when the text, in lower case, names the maker: "orv" as a bare part of a word is enough.
bool containsMakerWord(const std::wstring& lowerCaseText);
