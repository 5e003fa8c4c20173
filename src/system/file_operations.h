// file_operations - deletes single files, now or at the next restart, and spells out directories into rows.
// Decides nothing about which files may go.
#pragma once

#include <string>
#include <vector>

#include "system/directory_walk.h"

// A deletion that matters waits for the next restart. Only ever goes from false to true.
extern bool fileRebootPending;

// Takes the read-only attribute off a file. False when the system refuses, with the reason in GetLastError.
bool clearReadOnly(const std::wstring& path);

namespace FileOperation {

// Deletes one file. True when it is gone or never was there, when it is marked for deletion at the next restart, or
// when it is spared as a log that is in use. Clears the read-only attribute where it must. The mark sets
// fileRebootPending unless the path looks like a temporary file or a cache. Without `allowDelayedDelete` (factory
// reset) nothing is marked. False when the file stays; throws nothing. DeleteFileW, SetFileAttributesW, MoveFileExW.
bool Delete(std::wstring path, bool allowDelayedDelete);

// The form for the Vulkan loader's files. It differs on purpose: the read-only attribute stays, the test for a log
// looks at the whole file name, a file in use is always marked, and the mark never asks for a restart.
bool Delete(const wchar_t* path);

}  // namespace FileOperation

// Appends what lies below each existing directory of the list: directories and links to directories to `directories`,
// everything else to `files`, each row only once. What it appends is not walked again. Links met in a walk are rows,
// never ways; `link` says what one in the place of a listed directory, or above it, is. Directories that are listed for
// removal are remembered for the rows below them (row_folders.h), those that are followed are not. Throws
// std::filesystem::filesystem_error when a directory cannot be read.
void ExpandDirectories(std::vector<std::wstring>& directories, std::vector<std::wstring>& files,
                       LinkInPlace link = LinkInPlace::HasNoEntries);
