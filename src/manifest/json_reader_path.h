// json_reader_path - converts a path for the JSON reader. Opens nothing.
#pragma once

#include <string>
#include <string_view>

// The reader takes narrow paths only. Each character is cut to its low byte, so a path with other characters names a
// file that cannot be opened, and the document counts as unreadable.
std::string jsonReaderPath(std::wstring_view path);
