// file_status - asks what is at a path, and tells "nothing" from "the system cannot say". Changes nothing.
#pragma once

#include <string>

#include <windows.h>

#include "system/handles.h"

// Opens what a path leads to, following links, with no access but for queries, so that it succeeds whoever else has it
// open. Empty on failure, with the reason in GetLastError. CreateFileW.
FileHandle openTarget(const std::wstring& path);

// The path of an open entry with links resolved, in the spelling of the file system, without a "\\?\" prefix. Empty
// when the call fails. GetFinalPathNameByHandleW.
std::wstring finalPath(HANDLE entry);

// The attributes of what a path leads to, following links. INVALID_FILE_ATTRIBUTES on failure, with the reason in
// GetLastError. GetFileAttributesW, and CreateFileW for a reparse point.
DWORD targetAttributes(const std::wstring& path);

// True for every error that means that nothing is there, including those for a path that cannot exist.
bool saysNotThere(DWORD error);

// True for ERROR_FILE_NOT_FOUND and ERROR_PATH_NOT_FOUND.
bool isNotFound(DWORD error);

// False when nothing is there, or only a link that leads to nothing. Throws std::filesystem::filesystem_error "exists"
// with the system's code when the system cannot say.
bool fileExists(const std::wstring& path);

// True for a file on a disk and for a link to one, false for a directory, a pipe or a device.
bool isRegularFile(const std::wstring& path);
