// previous_installers - removes the folders that the maker's driver installers have unpacked themselves into and left
// on a fixed drive. Reports through the log alone: no failure list, no restart.
#pragma once

#include <string>
#include <vector>

// True when the paths are the same, or one lies in the other. Links in them are resolved and letter case does not
// count; a path that does not exist is taken as it is spelled. False for paths on two drives and for an empty path.
bool AreRelatedPaths(const std::wstring& first, const std::wstring& second);

// True when `entry` is related to none of the exclusions.
bool IsNotExcluded(const std::vector<std::wstring>& exclusions, const std::wstring& entry);

// Looks below ORV in the root of the drives C:, of the system and of the temporary folder. Spares the registered
// packages of the minimal installer and the folder that this program was started from. What cannot be deleted stays,
// with a log line. Throws std::filesystem::filesystem_error "exists" when the system cannot say whether a folder is
// there.
void RemovePreviousInstallers();
