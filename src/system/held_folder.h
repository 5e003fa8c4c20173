// held_folder - makes sure that a folder is the intended one and keeps it open while something in it is removed: as
// long as it is open, neither it nor a folder above it can be renamed or replaced. Knows nothing of what is removed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <windows.h>

#include "system/handles.h"

// Identifies a directory independently of its path: its volume, and its number on that volume.
struct DirectoryId {
  DWORD volume = 0;
  std::uint64_t number = 0;
  bool operator==(const DirectoryId&) const = default;
};

// A directory that was listed, and the system path by which it was opened.
struct ListedFolder {
  std::wstring systemPath;
  DirectoryId id;
};

// True for a reparse point that leads to another place: a symbolic link, a junction, a mounted volume. Cloud
// placeholders and deduplicated or compressed files have reparse points, too, but are treated as plain files and
// folders. A tag of 0, from a file system that does not report tags, counts as a link.
bool isLinkTag(DWORD attributes, DWORD reparseTag);

// The same for an open entry. GetFileInformationByHandleEx.
bool isLinkHandle(HANDLE entry, DWORD attributes);

// The same for what is at a path. CreateFileW for a reparse point.
bool isLinkAt(const std::wstring& systemPath, DWORD attributes);

// Opens a directory to be listed and holds it: nobody can rename or remove it meanwhile, unless somebody has it open
// for that already; then `*isPinned` is false. A link in its place is opened itself, unless `throughLink`. CreateFileW.
FileHandle openFolder(const std::wstring& systemPath, bool throughLink, bool* isPinned = nullptr);

// What is known about an open entry.
struct OpenEntry {
  DWORD attributes = 0;
  bool isLink = false;
  DirectoryId id;
};

// Queries an open entry. Asking for its volume is the slowest part and is left out when the caller knows it. Empty on
// failure, with the reason in GetLastError. GetFileInformationByHandle, or GetFileInformationByHandleEx and
// NtQueryInformationFile.
std::optional<OpenEntry> askEntry(HANDLE entry, std::optional<DWORD> volume = std::nullopt);

class HeldFolder {
 public:
  enum class State {
    Held,
    NotThere,
    Elsewhere,  // a link on the way to it leads to another place than the path says
    Exchanged,  // it is not the directory that was listed
    Unknown,    // the system does not say where it is; error() tells why
  };

  HeldFolder() = default;
  // A folder that must lie where its path, a full one in the extended form, says. 8.3 names, letter case, what a drive
  // stands for, and the links that Windows itself keeps for old programs ("C:\Users\All Users") make no other place.
  explicit HeldFolder(const std::wstring& systemPath);
  // A folder that must be the one that was listed. Where `parent` keeps the folder that it lies in from being replaced,
  // the folder is on the same volume, which is then not asked for.
  explicit HeldFolder(const ListedFolder& folder, const HeldFolder* parent = nullptr);

  State state() const { return state_; }
  DWORD error() const { return error_; }

 private:
  bool open(const std::wstring& systemPath, bool throughLink);
  void settle(State state, DWORD error = ERROR_SUCCESS);
  std::optional<DWORD> volumeBelow() const;

  FileHandle handle_;
  bool isPinned_ = false;        // others cannot rename or remove it
  std::optional<DWORD> volume_;  // of a listed folder
  State state_ = State::NotThere;
  DWORD error_ = ERROR_SUCCESS;
};
