// file_operations - deletes single files, now or at the next restart. Decides nothing about which files may go.
#pragma once

#include <string>

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
