// file_status - asks whether something is there, and tells "no" from "cannot say".
#pragma once

#include <string>

#include <windows.h>

#include "system/handles.h"

// What a path leads to, links followed, opened for questions only, whoever else has it open. Empty with the reason in
// GetLastError. CreateFileW.
FileHandle openTarget(const std::wstring& path);

// The place of an open entry as the file system spells it, links on the way resolved, without the prefix of extended
// paths. Empty when the system does not tell. GetFinalPathNameByHandleW.
std::wstring finalPath(HANDLE entry);

// The attributes of what is there, and of what a link leads to where a link is there. INVALID_FILE_ATTRIBUTES with the
// reason in GetLastError. GetFileAttributesW, and CreateFileW for a reparse point.
DWORD targetAttributes(const std::wstring& path);

// True for an error by which the system says that nothing is there, whatever is wrong with the path.
bool saysNotThere(DWORD error);

// True for the two errors of a well-formed path that leads to nothing.
bool isNotFound(DWORD error);

// False when the system says that nothing is there, or that a link there leads to nothing. Throws
// std::filesystem::filesystem_error "exists" with the system's code when it cannot say.
bool fileExists(const std::wstring& path);

// True for a file on a disk, and for a link to one: no directory, no pipe, no device.
bool isRegularFile(const std::wstring& path);
