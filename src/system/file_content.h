// file_content - reads whole files. Knows nothing of what is in them.
#pragma once

#include <string>

#include <windows.h>

// Everything that an open file holds; empty when it cannot be read. GetFileSizeEx, ReadFile.
std::string readWhole(HANDLE file);
