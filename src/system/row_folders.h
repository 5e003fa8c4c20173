// row_folders - makes sure that what a row of a work list names is where the row says, and knows the path by which
// system calls reach it. Remembers for the whole run what the walks have listed, since a row's text alone does not show
// whether its name was read from a directory or written by somebody. Deletes nothing.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>

#include "system/held_folder.h"

// Remembers a directory that a walk lists: from then on each row directly in it, such as `path` + "\name", is taken for
// a name that was read from it.
void rememberListedFolder(const std::wstring& path, const ListedFolder& folder);

// Remembers a single entry of a directory that was not listed as a whole.
void rememberListedEntry(const std::wstring& row, const std::wstring& systemPath);

// The directory that a listed directory was read from, as rows have it. Empty unless the walks have listed both.
std::wstring listedParentOf(const std::wstring& directory);

// The path by which system calls reach what a row names: the exact name when it was read from a directory, else the row
// as it was written (toSystemPath).
std::wstring systemPathOf(const std::wstring& row);

// The folders of a list's current rows. Each is held as long as further rows in it may follow.
class RowFolders {
 public:
  enum class Answer {
    Held,      // what the row names is in its folder
    NotThere,  // there is no such folder
    Refused,   // the row must not be carried out; the log says why
  };

  // Holds up to `most` folders at a time, so that rows which alternate between several of them cost no more than sorted
  // ones.
  explicit RowFolders(std::size_t most) : most_(most) {}

  // Checks and holds the folder that contains the row's last element.
  Answer hold(const std::wstring& row);

  // Releases all folders.
  void release();

 private:
  HeldFolder holdListed(const std::wstring& row, const ListedFolder& folder);

  std::size_t most_;
  std::unordered_map<std::wstring, HeldFolder> held_;  // by the folder's system path
  std::wstring lastPath_;                              // of the one held last, where most rows lie that follow
  // The folder that the one held last lies in: the next one most likely lies there too.
  std::wstring parentPath_;
  HeldFolder parent_;
};
