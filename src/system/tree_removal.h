// tree_removal - the only place that removes directory trees. A link in a tree is removed itself, and nothing behind it
// is touched; names are taken as directory_walk takes them. Decides nothing about what may go.
#pragma once

#include <string>

#include "system/directory_walk.h"

// Removes one file, link or empty directory. True when it was there and is gone; false in every other case, with the
// reason in GetLastError. Leaves attributes alone: a read-only entry stays.
bool removeSingleEntry(const std::wstring& path);

// Removes `path` with all that lies in it, read-only entries included. A path that is not there is no failure. Throws
// std::filesystem::filesystem_error "remove_all" with the path of the first entry that stays: with
// ERROR_CANT_ACCESS_FILE where a link on the way leads elsewhere, or a folder is no longer the listed one.
void removeTree(const WalkedPath& path);
