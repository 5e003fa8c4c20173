// expand_directories - lists what directories of a work list contain as further rows. Deletes nothing.
#pragma once

#include <string>
#include <vector>

#include "system/directory_walk.h"

// Appends everything below each existing directory of the list: directories and links to directories to `directories`,
// everything else to `files`, each row only once. Appended rows are not walked again. A link that is met in a walk
// becomes a row and is not followed; `link` says whether one in the place of a listed directory, or above it, is.
// Unless links are followed, the directories are remembered for the rows below them (row_folders.h). Throws
// std::filesystem::filesystem_error when a directory cannot be read.
void ExpandDirectories(std::vector<std::wstring>& directories, std::vector<std::wstring>& files,
                       LinkInPlace link = LinkInPlace::HasNoEntries);
