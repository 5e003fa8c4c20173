// file_operations - deletes single files, now or at the next restart. Decides nothing about which files may go.
#pragma once

#include <string>

// True once a file that matters has been marked for deletion at the next restart. Never set back.
extern bool fileRebootPending;

// Clears the read-only attribute of a file. False on failure, with the reason in GetLastError.
bool clearReadOnly(const std::wstring& path);

namespace FileOperation {

// Deletes one file, clearing its read-only attribute where necessary. True when it has been deleted or did not exist,
// when it is marked for deletion at the next restart, or when it is a log in use, which is spared. Marking sets
// fileRebootPending unless the path looks like a temporary file or a cache. Without `allowDelayedDelete` (factory
// reset) nothing is marked. False when the file stays. Throws nothing. DeleteFileW, SetFileAttributesW, MoveFileExW.
bool Delete(std::wstring path, bool allowDelayedDelete);

// The variant for files of the Vulkan loader. It differs on purpose: the read-only attribute is kept, the test for a
// log looks at the whole file name, a file in use is always marked, and marking never asks for a restart.
bool Delete(const wchar_t* path);

}  // namespace FileOperation
