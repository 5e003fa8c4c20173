// long_path - lets paths of 260 characters and more through the Win32 file calls, whether or not the machine has long
// paths switched on. Knows nothing of what is done with them.
#pragma once

#include <string>

// The path as it stands when a Win32 file call takes it as it is; else its full, normalised form behind the prefix of
// extended-length paths ("\\?\", or "\\?\UNC\"). Never cuts. Calls GetFullPathNameW for long paths only.
std::wstring toSystemPath(const std::wstring& path);
