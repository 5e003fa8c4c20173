// shortcuts - deletes Start Menu shortcuts with their product folder. Knows the shell's folders, nothing of the
// manifest.
#pragma once

#include <string>

// The path of a shell folder by its CSIDL, at most 260 characters. True when SHGetFolderLocation succeeded; `out` is
// assigned only when the shell gave a folder.
bool GetShellFolderPath(int csidl, std::wstring& out);

// Deletes a shortcut and the folder that holds it, with whatever else lies in that folder. `relativePath` is a product
// folder, a backslash and the link's name, below the Programs folder of all users; when the link is not there, the
// user's own Programs folder is tried. True on success. A path that does not lie in a folder below Programs is refused
// with a log line. Throws std::filesystem::filesystem_error "remove_all" when the folder cannot be removed.
bool DeleteShortcut(const std::wstring& relativePath);

// Deletes the file through SHFileOperationW, silently and for good, then removes `folder` with all that is left in it.
// False when the shell reports an error; then `folder` is left alone.
bool ShellDeleteAndRemoveFolder(const std::wstring& path, const std::wstring& folder);
