// shortcuts - finds Start Menu shortcuts in the shell's folders. Deletes nothing and knows nothing of the manifest.
#pragma once

#include <string>

// The path of a shell folder by its CSIDL, at most 260 characters. True when SHGetFolderLocation succeeded; `out` is
// assigned only when the shell gave a folder.
bool GetShellFolderPath(int csidl, std::wstring& out);

// True for the path of a shortcut below Programs that lies in a product folder of its own. Pure.
bool namesProductFolder(const std::wstring& relativePath);

// Where a shortcut lies: below the Programs folder of all users or, when it is not there, below the user's own, whether
// or not it is there. Empty when the shell does not know that folder. PathFileExistsW.
std::wstring FindShortcut(const std::wstring& relativePath);
