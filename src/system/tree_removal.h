// tree_removal - the only place that removes directory trees. A link in a tree is removed itself, and nothing behind it
// is touched; names are taken as directory_walk takes them. Decides nothing about what may go.
#pragma once

#include <string>

#include "system/directory_walk.h"

// Removes one file, link or empty directory. True when it existed and has been removed; otherwise false, with the
// reason in GetLastError. Leaves attributes alone, so a read-only entry stays.
bool removeSingleEntry(const std::wstring& path);

// Removes `path` with everything in it, including read-only entries. A path that does not exist is no failure. Throws
// std::filesystem::filesystem_error "remove_all" with the path of the first entry that could not be removed; with
// ERROR_CANT_ACCESS_FILE when a link on the way leads elsewhere, or a folder is no longer the one that was listed.
void removeTree(const WalkedPath& path);
