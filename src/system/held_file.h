// held_file - writes files into a folder in which any program of the user can write, so that nobody can change or
// replace them before they are used. Knows nothing of what is in them.
#pragma once

#include <string>
#include <string_view>

#include "system/handles.h"

// Writes a file, replacing whatever has its name, and holds it: until the handle is closed others can only read it, and
// afterwards only administrators can write to it. A link of that name is deleted, never followed. Waits up to two
// seconds while another run of the program holds the file. Empty when the file could not be written: what is there then
// is not ours. DeleteFileW, CreateFileW, ReOpenFile.
FileHandle writeHeldFile(const std::wstring& path, std::string_view bytes);

// Keeps a folder from being renamed or removed until the handle is closed. Empty when there is no such folder, or a
// link has its name. CreateFileW.
FileHandle holdFolder(const std::wstring& path);
