// shortcut_removal - deletes Start Menu shortcuts with their product folder. Knows nothing of the manifest.
#pragma once

#include <string>

// Deletes a shortcut and the folder that holds it, with whatever else lies in that folder. `relativePath` is a product
// folder, a backslash and the link's name, below the Programs folder of all users or of the user. True on success. A
// path that does not lie in a folder below Programs is refused with a log line. Throws
// std::filesystem::filesystem_error "remove_all" when the folder cannot be removed.
bool DeleteShortcut(const std::wstring& relativePath);

// Deletes the file through SHFileOperationW, silently and for good, then removes `folder` with all that is left in it.
// False when the shell reports an error; then `folder` is left alone.
bool ShellDeleteAndRemoveFolder(const std::wstring& path, const std::wstring& folder);
