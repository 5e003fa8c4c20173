// directory_walk - the only place that walks or removes directory trees. A reparse point (junction, directory link,
// mount point) met in a walk is an entry, never a way: nothing behind it is listed, touched or counted, and removing it
// removes the link alone. Depth is no matter, neither for the stack nor for the length of paths. Decides nothing about
// what may go.
#pragma once

#include <functional>
#include <string>
#include <system_error>

#include <windows.h>

struct DirectoryEntry {
  std::wstring path;  // the walked folder's path as the caller gave it, and below it the names, joined by a backslash
  DWORD attributes;   // FILE_ATTRIBUTE_*, of the link itself where the entry is one
  bool isDirectory() const { return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }
  bool isReparsePoint() const { return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0; }
};

using EntryVisitor = std::function<void(const DirectoryEntry&)>;

// What a reparse point in the place of the walked directory itself is. Followed shows what lies behind it, which is for
// walks that protect it, or whose place the user may have moved.
enum class LinkInPlace { HasNoEntries, IsFollowed };

// Calls `visit` for every entry directly in `directory`. Throws
// std::filesystem::filesystem_error with the system's code: "directory_iterator::directory_iterator" when `directory`
// cannot be read, "directory_iterator::operator++" when the reading breaks off.
void visitEntries(const std::wstring& directory, const EntryVisitor& visit,
                  LinkInPlace link = LinkInPlace::HasNoEntries);

// Calls `visit` for every entry below `directory`, each directory before what lies in it. `directory` itself is not an
// entry. Throws std::filesystem::filesystem_error with the system's code:
// "recursive_directory_iterator::recursive_directory_iterator" when `directory` cannot be read,
// "recursive_directory_iterator::operator++" when a folder below it cannot, or the reading breaks off. With
// `passOver` the second kind of failure goes there instead, and the walk goes on behind what could not be read.
void walkDirectory(const std::wstring& directory, const EntryVisitor& visit,
                   LinkInPlace link = LinkInPlace::HasNoEntries,
                   const std::function<void(const std::error_code&)>& passOver = nullptr);

// True when `path` is an existing directory, a link to one included.
bool isExistingDirectory(const std::wstring& path);

// True when `path` is a reparse point. Backslashes at its end do not count, behind which the system would look at what
// the link leads to. False when nothing is there. GetFileAttributesW.
bool isLink(const std::wstring& path);

// The path without backslashes at its end; the root of a drive keeps its own, since a bare drive is another place.
std::wstring withoutEnd(const std::wstring& path);

// Removes one file, link or empty directory. True when it was there and is gone; false in every other case, with the
// reason in GetLastError. Leaves attributes alone: a read-only entry stays.
bool removeSingleEntry(const std::wstring& path);

// Removes `path` with all that lies in it, read-only entries included. A path that is not there is no failure. Throws
// std::filesystem::filesystem_error "remove_all" with the path of the first entry that stays.
void removeTree(const std::wstring& path);
