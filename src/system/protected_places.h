// protected_places - folders and keys that belong to the system or to the user as a whole. No document may name them
// for removal with all they hold; a row that does is a mistake of its author. Knows no document and removes nothing.
#pragma once

#include <string>

// True for a drive's root, the Windows and Program Files folders, the folders that hold all users' or one user's data,
// the temporary folder, and every folder above one of these. Compares without case, after GetFullPathNameW and, for
// what exists, GetLongPathNameW; the prefixes "\\?\" and "\\.\" do not count. A bare drive is taken for its root.
bool isProtectedDirectory(const std::wstring& path);

// True for a file pattern that takes everything in such a folder, or a whole kind of files there: its last element
// begins with a * or has no letter at all. "System32\orv*.dll" is none.
bool isProtectedPattern(const std::wstring& path);

// True for a root, for keys such as SOFTWARE, SYSTEM or a user's whole profile, for the system's own keys directly
// below them, and for every key above one of these. `path` is in the manifest's form; compares without case.
bool isProtectedKey(const std::wstring& path);
