// test_folder - a folder of a test's own on the test machine's drive C:, and files in it.
#pragma once

#include <string>
#include <vector>

#include "system/handles.h"

class TestFolder {
 public:
  // Makes an empty folder with a name of its own, C:\bench\folder-<number>.
  TestFolder();
  // Removes it with all that a test has left in it.
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::wstring& path() const { return path_; }
  // The folder's path, a backslash and `relative`.
  std::wstring operator/(const std::wstring& relative) const { return path_ + L"\\" + relative; }

  // Makes a directory with all that lead to it; returns its path.
  std::wstring makeDirectory(const std::wstring& relative) const;
  // Makes a file with all directories that lead to it; returns its path.
  std::wstring makeFile(const std::wstring& relative, const std::string& content = "content") const;
  // Makes a link to an existing directory on drive C:, as the machine shows one: a directory with a reparse point.
  // Returns its path.
  std::wstring makeDirectoryLink(const std::wstring& relative, const std::wstring& target) const;

 private:
  std::wstring path_;
};

// Removes a link to a directory and leaves what lies behind it. The test machine's RemoveDirectoryW cannot do that: it
// takes the directory behind the link when that is empty, and fails when it is not.
void removeDirectoryLink(const std::wstring& path);
// Whether anything is there.
bool pathExists(const std::wstring& path);
// The file's bytes; empty when it cannot be read.
std::string readFile(const std::wstring& path);
// Opens a file without sharing, so that its deletion fails with ERROR_SHARING_VIOLATION while the handle lives.
FileHandle lockFile(const std::wstring& path);
// The rows of Session Manager\PendingFileRenameOperations: what waits for the next restart, "\??\" cut off.
std::vector<std::wstring> pendingDeletions();
// Every entry below a folder with its attributes, its time of writing and its content, a row each: two equal snapshots
// mean that nothing in the folder was touched. Links are rows, nothing behind them is looked at.
std::vector<std::string> snapshot(const std::wstring& folder);
