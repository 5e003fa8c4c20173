// binary_resource - writes documents that the program carries as resources to files. Knows nothing of what is in them.
#pragma once

#include <string>

#include <windows.h>

#include "system/handles.h"

// Writes a resource of type BINARY to a file in the work folder, replacing an older one; a link in the place of the
// file is replaced too, and one in the place of the folder is not followed. With `held` the file stays open there, and
// nobody can change it until that is closed; it is empty when there is no such file of ours. The result is always false
// and says nothing. FindResourceW.
bool extractBinaryResource(HMODULE module, int resourceId, const std::wstring& path, FileHandle* held = nullptr);
