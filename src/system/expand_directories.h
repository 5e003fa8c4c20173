// expand_directories - turns rows of directories into rows of all they hold. Deletes nothing.
#pragma once

#include <string>
#include <vector>

#include "system/directory_walk.h"

// Appends what lies below each existing directory of the list: directories and links to directories to `directories`,
// everything else to `files`, each row only once. What it appends is not walked again. Links met in a walk are rows,
// never ways; `link` says what one in the place of a listed directory, or above it, is. Directories that are listed for
// removal are remembered for the rows below them (row_folders.h), those that are followed are not. Throws
// std::filesystem::filesystem_error when a directory cannot be read.
void ExpandDirectories(std::vector<std::wstring>& directories, std::vector<std::wstring>& files,
                       LinkInPlace link = LinkInPlace::HasNoEntries);
