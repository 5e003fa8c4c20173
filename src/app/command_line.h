// command_line - cuts the command line into words. What the words switch on is the session's matter.
#pragma once

#include <string>
#include <vector>

// The pieces of `text` between the matches of the regular expression (ECMAScript grammar), empty pieces included. An
// empty text gives an empty list.
std::vector<std::wstring> splitByPattern(const std::wstring& pattern, const std::wstring& text);
