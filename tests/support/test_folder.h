// test_folder - a folder for a test on the test machine's drive C:, and files in it.
#pragma once

#include <string>
#include <vector>

#include "system/handles.h"

class TestFolder {
 public:
  // Creates an empty folder with a unique name, C:\bench\folder-<number>.
  TestFolder();
  // Removes it with everything that a test has left in it.
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::wstring& path() const { return path_; }
  // The folder's path, a backslash and `relative`.
  std::wstring operator/(const std::wstring& relative) const { return path_ + L"\\" + relative; }

  // Creates a directory and its parents; returns its path.
  std::wstring makeDirectory(const std::wstring& relative) const;
  // Creates a file and its parent directories; returns its path.
  std::wstring makeFile(const std::wstring& relative, const std::string& content = "content") const;
  // Creates a link to an existing directory on drive C:, which the machine shows as a directory with a reparse point.
  // Returns its path.
  std::wstring makeDirectoryLink(const std::wstring& relative, const std::wstring& target) const;

 private:
  std::wstring path_;
};

// Removes a link to a directory but not the directory. Wine's RemoveDirectoryW cannot do that: it removes the directory
// behind the link if it is empty, and fails if it is not.
void removeDirectoryLink(const std::wstring& path);
// Whether anything exists at the path.
bool pathExists(const std::wstring& path);
// The file's bytes; empty if it cannot be read.
std::string readFile(const std::wstring& path);
// Opens a file without sharing, so that its deletion fails with ERROR_SHARING_VIOLATION as long as the handle is open.
FileHandle lockFile(const std::wstring& path);
// The rows of Session Manager\PendingFileRenameOperations, without "\??\": what the next restart will do.
std::vector<std::wstring> pendingDeletions();
// One row for every entry below a folder, with its attributes, write time and content. Two equal snapshots mean that
// nothing in the folder was touched. Links are rows; nothing behind them is read.
std::vector<std::string> snapshot(const std::wstring& folder);
