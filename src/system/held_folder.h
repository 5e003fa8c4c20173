// held_folder - makes sure that a folder is the one that is meant, and holds it while something in it goes: as long as
// it is open, neither it nor a folder above it can be renamed or replaced. Knows nothing of what goes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <windows.h>

#include "system/handles.h"

// Which directory it is, whatever it is called: its volume, and its number there.
struct DirectoryId {
  DWORD volume = 0;
  std::uint64_t number = 0;
  bool operator==(const DirectoryId&) const = default;
};

// A directory that was listed, and by which system path.
struct ListedFolder {
  std::wstring systemPath;
  DirectoryId id;
};

// True for a reparse point that stands for another place: a symbolic link, a junction, a mounted volume. Placeholders
// of the cloud, deduplicated and compressed files have reparse points too and are files and folders like any other. A
// tag of 0, where a file system does not tell it, counts as a link.
bool isLinkTag(DWORD attributes, DWORD reparseTag);

// The same of an open entry. GetFileInformationByHandleEx.
bool isLinkHandle(HANDLE entry, DWORD attributes);

// The same of what is at the path. CreateFileW for a reparse point.
bool isLinkAt(const std::wstring& systemPath, DWORD attributes);

// Opens a directory to be listed and holds it: nobody can rename or remove it meanwhile, unless somebody has it open
// for that already; then `*isPinned` is false. A link in its place is opened itself, unless `throughLink`. CreateFileW.
FileHandle openFolder(const std::wstring& systemPath, bool throughLink, bool* isPinned = nullptr);

// The number of an open entry on its volume. Empty where the file system gives none. NtQueryInformationFile.
std::optional<std::uint64_t> fileNumberOf(HANDLE entry);

// What an open entry is.
struct OpenEntry {
  DWORD attributes = 0;
  bool isLink = false;
  DirectoryId id;
};

// Asks an open entry. Which volume it lies on is the dearest part of the question and is left out where the caller
// knows it. Empty when the system does not tell, with the reason in GetLastError. GetFileInformationByHandle, or
// GetFileInformationByHandleEx and NtQueryInformationFile.
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
