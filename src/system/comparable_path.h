// comparable_path - spells paths so that two of them can be compared. Knows no particular place and changes nothing.
#pragma once

#include <string>

// The full, normalised path. GetFullPathNameW.
std::wstring fullPath(const std::wstring& path);

// The part of the path that exists, with links resolved and in the spelling of the file system, followed by the rest as
// it is. Has no backslash at its end and no "\\?\" prefix. GetFinalPathNameByHandleW.
std::wstring comparablePath(const std::wstring& path);

// True when `inner` is `outer` or lies in it; both come from comparablePath. Case does not matter, and nothing lies in
// an empty path.
bool isSameOrInside(const std::wstring& inner, const std::wstring& outer);

// The path with short (8.3) names in their long form and links left alone; the path itself when it does not exist.
// GetLongPathNameW.
std::wstring longPath(const std::wstring& path);

// A path, split after its last separator. A bare name has no folder.
struct EntryPath {
  std::wstring folder;
  std::wstring name;
};
EntryPath splitEntry(const std::wstring& path);

// The comparable path of an entry in a folder from comparablePath. The entry itself is not resolved: a link stands for
// itself. A stream stands for its file, and blanks and dots at the end of a name are dropped, as Windows does.
std::wstring comparableEntry(const std::wstring& comparableFolder, std::wstring name);
