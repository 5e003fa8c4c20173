// long_path - the forms in which a path is given to the Win32 file calls. Knows nothing of what is done with them.
//
// A call normalises a plain path first: it drops dots and blanks at the end of names, and takes some names for devices.
// A path in the extended form ("\\?\") is taken as it stands, so it alone names what a directory really holds.
#pragma once

#include <string>

// The path as it stands when a Win32 file call takes it as it is; else its full, normalised form behind the prefix of
// extended-length paths ("\\?\", or "\\?\UNC\"). Never cuts. Calls GetFullPathNameW for long paths only.
std::wstring toSystemPath(const std::wstring& path);

// The full, normalised form of a path that somebody wrote, behind the prefix and without a backslash at its end. A path
// that has a prefix stays as it is. Calls GetFullPathNameW.
std::wstring toExtendedPath(const std::wstring& path);

// An extended path in its plain spelling, for a comparison or the log: "C:\...", "\\server\...".
std::wstring withoutExtendedPrefix(const std::wstring& path);

// True when a call that is given the path takes it as it stands: no name in it is normalised away.
bool isNormalised(const std::wstring& path);

// The path up to its last backslash; that of a drive's root keeps it, since a bare drive is another place. Empty when
// there is none.
std::wstring folderOf(const std::wstring& path);

// The path without backslashes at its end; the root of a drive keeps its own.
std::wstring withoutEnd(const std::wstring& path);
