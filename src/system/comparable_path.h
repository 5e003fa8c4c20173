// comparable_path - the one spelling of a path that others are compared with. Knows no place and changes nothing.
#pragma once

#include <string>

// GetFullPathNameW.
std::wstring fullPath(const std::wstring& path);

// As much of the path as exists with its links resolved and in the spelling of the file system, the rest as it stands.
// Without a backslash at its end, without the prefix of extended-length paths. GetFinalPathNameByHandleW.
std::wstring comparablePath(const std::wstring& path);

// Both from comparablePath. Letter case does not count; nothing is inside an empty path.
bool isSameOrInside(const std::wstring& inner, const std::wstring& outer);

// With short names in their long form, links left alone; the path itself where it does not exist. GetLongPathNameW.
std::wstring longPath(const std::wstring& path);

// A path cut behind its last separator. A bare name has no folder.
struct EntryPath {
  std::wstring folder;
  std::wstring name;
};
EntryPath splitEntry(const std::wstring& path);

// An entry of a folder that comparablePath has spelled, itself not resolved: a link is the link. A stream of a file
// counts as the file, and blanks and dots at the end of a name do not count, as Windows has it.
std::wstring comparableEntry(const std::wstring& comparableFolder, std::wstring name);
