// json_reader_path - the form in which the JSON reader takes the path of a document.
#pragma once

#include <string>
#include <string_view>

// The reader opens narrow paths alone. Only the low byte of each character is kept, so a path with other characters
// leads to a file that cannot be opened, and the document counts as unreadable.
std::string jsonReaderPath(std::wstring_view path);
