// row_folders - makes sure that what a row of a work list names lies where the row says, and knows what the row is
// called for the system's calls. Remembers for the whole run what the walks have listed: rows are plain text, by which
// alone one could not tell a name that was read from a directory from one that somebody wrote.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>

#include "system/held_folder.h"

// Remembers a directory that a walk lists: from then on each row directly in it, such as `path` + "\name", is a name
// that was read from this directory.
void rememberListedFolder(const std::wstring& path, const ListedFolder& folder);

// Remembers an entry that was read from a directory which was not listed as a whole.
void rememberListedEntry(const std::wstring& row, const std::wstring& systemPath);

// The directory that a listed directory was read from, as rows have it. Empty unless the walks have listed both.
std::wstring listedParentOf(const std::wstring& directory);

// The path by which the system's calls reach what a row names: exact for what was read from a directory, else as it was
// written (toSystemPath).
std::wstring systemPathOf(const std::wstring& row);

// The folders of the rows that a list has come to. Each is held as long as rows in it may follow.
class RowFolders {
 public:
  enum class Answer {
    Held,      // what the row names lies in its folder
    NotThere,  // there is no such folder
    Refused,   // the row is not to be carried out; the log has a line that says why
  };

  // Holds up to `most` folders at a time, so that rows in turn from several of them cost no more than in order.
  explicit RowFolders(std::size_t most) : most_(most) {}

  // Makes sure of the folder that the row's last element lies in.
  Answer hold(const std::wstring& row);

  // Gives up all that is held.
  void release();

 private:
  HeldFolder holdListed(const std::wstring& row, const ListedFolder& folder);

  std::size_t most_;
  std::unordered_map<std::wstring, HeldFolder> held_;  // by the folder's system path
  // The folder that the one held last lies in: the next one most likely lies there too.
  std::wstring parentPath_;
  HeldFolder parent_;
};
