// held_file - files of ours in a folder to which the user's other programs can write as well: nobody can change such a
// file, or put another in its place, between its writing and its use. Knows nothing of what is in them.
#pragma once

#include <string>
#include <string_view>

#include "system/handles.h"

// Writes a file, in the place of whatever has its name, and holds it: until the handle is closed others can only read
// it, and administrators alone can write to it afterwards. A link of that name is removed and never followed. While
// another run of the program holds the file, it is waited for, up to two seconds. Empty when the file could not be
// written: what lies there then is not ours. DeleteFileW, CreateFileW, ReOpenFile.
FileHandle writeHeldFile(const std::wstring& path, std::string_view bytes);

// Holds a folder in its place. Empty when there is none, or when a link has its name. CreateFileW.
FileHandle holdFolder(const std::wstring& path);
