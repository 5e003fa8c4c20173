// long_path - brings paths into the form that a Win32 file call needs. Knows nothing of what the call does.
//
// A call normalises a plain path: it drops dots and blanks at the end of names, and takes some names for devices. A
// path in the extended form ("\\?\") is used unchanged, so only this form can name everything that a directory may
// contain.
#pragma once

#include <string>

// The path itself when it is short enough for a Win32 file call; else its full, normalised form with the prefix of
// extended paths ("\\?\", or "\\?\UNC\"). Never truncates. Calls GetFullPathNameW for long paths only.
std::wstring toSystemPath(const std::wstring& path);

// The full, normalised form of a path that somebody wrote, with the prefix and without a backslash at its end. A path
// that has a prefix is left unchanged. Calls GetFullPathNameW.
std::wstring toExtendedPath(const std::wstring& path);

// An extended path in its plain spelling, for comparing or for the log: "C:\...", "\\server\...".
std::wstring withoutExtendedPrefix(const std::wstring& path);

// True when normalising would leave the path unchanged, so that a call opens exactly what it names.
bool isNormalised(const std::wstring& path);

// The path up to its last backslash. The root of a drive keeps the backslash, since "C:" alone is another place. Empty
// when there is no backslash.
std::wstring folderOf(const std::wstring& path);

// The path without slashes at its end; the root of a drive keeps its backslash.
std::wstring withoutEnd(const std::wstring& path);
