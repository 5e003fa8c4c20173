// directory_walk - the only place that walks directory trees. A link (symbolic link, junction, mount point) met in a
// walk is listed as an entry and never followed: nothing behind it is listed, touched or counted. Names are taken as a
// directory holds them: one that ends in a dot or a blank, or is that of a device, is opened as itself. Trees may be of
// any depth and paths of any length. Changes nothing, and decides nothing about what may go.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <system_error>

#include <windows.h>

#include "system/held_folder.h"

struct DirectoryEntry {
  std::wstring
      path;  // for the log and for lists: the walked folder's path as the caller gave it, and below it the names
  std::wstring systemPath;  // the same place for every call: full, in the extended form, the names as they were read
  DWORD attributes = 0;     // FILE_ATTRIBUTE_*, of the link itself where the entry is one
  DWORD reparseTag = 0;     // IO_REPARSE_TAG_*, where the entry has one
  std::uint64_t fileNumber = 0;  // its number on its volume; 0 where the file system gives none
  bool isDirectory() const { return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }
  bool isLink() const { return isLinkTag(attributes, reparseTag); }
};

// What is walked or removed: a path that somebody wrote, which the system may normalise, or an entry that was read from
// a directory, which it may not.
struct WalkedPath {
  // NOLINTBEGIN(google-explicit-constructor): callers hand over what they have.
  WalkedPath(const std::wstring& written);
  WalkedPath(const DirectoryEntry& entry) : path(entry.path), systemPath(entry.systemPath) {}
  // NOLINTEND(google-explicit-constructor)
  std::wstring path;
  std::wstring systemPath;
};

using EntryVisitor = std::function<void(const DirectoryEntry&)>;
// Called with the path of a directory, as the entries below it have it, before the first of its entries. Of an empty
// directory nothing is told.
using FolderVisitor = std::function<void(const std::wstring& path, const ListedFolder& folder)>;

// What a reparse point in the place of the walked directory itself, or above it, is. Followed shows what lies behind
// it, which is for walks that protect it, or whose place the user may have moved.
enum class LinkInPlace { HasNoEntries, IsFollowed };

// Calls `visit` for every entry directly in `directory`, which is held until the last has been visited. Throws
// std::filesystem::filesystem_error with the system's code: "directory_iterator::directory_iterator" when `directory`
// cannot be read, "directory_iterator::operator++" when the reading breaks off.
void visitEntries(const WalkedPath& directory, const EntryVisitor& visit, LinkInPlace link = LinkInPlace::HasNoEntries);

// Calls `visit` for every entry below `directory`, each directory before what lies in it, and `begin` for each
// directory that has entries. All directories on the way to an entry are held while it is visited. `directory` itself
// is not an entry. A directory that is no longer the one that was listed, or has gone, when its turn comes, is not
// entered. Throws std::filesystem::filesystem_error with the system's code:
// "recursive_directory_iterator::recursive_directory_iterator" when `directory` cannot be read,
// "recursive_directory_iterator::operator++" when a folder below it cannot, or the reading breaks off. With
// `passOver` the second kind of failure goes there instead, and the walk goes on behind what could not be read.
void walkDirectory(const WalkedPath& directory, const EntryVisitor& visit, LinkInPlace link = LinkInPlace::HasNoEntries,
                   const std::function<void(const std::error_code&)>& passOver = nullptr,
                   const FolderVisitor& begin = nullptr);

// True when `path` is an existing directory, a link to one included.
bool isExistingDirectory(const std::wstring& path);

// True when `path` is a link. Backslashes at its end do not count, behind which the system would look at what the link
// leads to. False when nothing is there. GetFileAttributesW.
bool isLink(const std::wstring& path);
