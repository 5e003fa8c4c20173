// update_cache - finds the driver packages of the maker in the download cache of Windows Update. Deletes nothing, and
// starts no program: the caller lists what is in a file.
#pragma once

#include <string>

#include "system/directory_walk.h"

// Calls `visit` for each file of the cache that may hold a full graphics driver: larger than 250,000,000 bytes, with a
// name that `expand` takes as it stands. A file that cannot be opened is passed over. The cache is held meanwhile.
// Throws std::filesystem::filesystem_error when the cache cannot be asked for or read.
void FindLargeCachedFiles(const EntryVisitor& visit);

// True when `listing`, which `expand -d` has printed for a file, names one of the maker's display drivers. Pure.
bool PlansRemovalOfCachedFile(const std::string& listing);
