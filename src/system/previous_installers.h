// previous_installers - finds what the maker's driver installers have unpacked and left on a fixed drive, and plans
// what of it goes. Deletes nothing.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "system/directory_walk.h"

// One entry of an installers' folder.
struct InstallerEntry {
  DirectoryEntry entry;
  std::wstring comparable;  // comparablePath of it
};

// What an installers' folder holds: directories, and of a package folder also files.
struct InstallerFolder {
  std::wstring path;
  bool isRoot = false;  // of a root only what is named like an installer goes, of a package folder everything
  std::vector<InstallerEntry> entries;
  std::optional<std::wstring> failure;  // why the reading broke off, when it did
};

struct PreviousInstallers {
  // What has to stay, each as comparablePath spells it: the packages that the minimal installer has registered, and the
  // folder that this program was started from.
  std::vector<std::wstring> exclusions;
  std::vector<InstallerFolder> folders;  // the roots, then the package folders of each
};

// Looks below ORV in the root of the drives C:, of the system and of the temporary folder. A folder that cannot be read
// counts as empty. Logs what the minimal installer has registered. Throws std::filesystem::filesystem_error "exists"
// when the system cannot say whether something is there.
PreviousInstallers FindPreviousInstallers();

struct PreviousInstallersPlan {
  std::vector<DirectoryEntry> remove;  // with all they hold, in this order
  std::vector<std::wstring> kept;      // would go if they were not related to an exclusion
  std::vector<std::wstring> folders;   // go when nothing is left in them: the package folders, then the roots
  std::vector<std::wstring> lines;     // the log's lines about what is kept and what could not be read
};

// Pure.
PreviousInstallersPlan PlanPreviousInstallers(const PreviousInstallers& found);

// True when the paths, both from comparablePath, are the same, or one lies in the other. False for paths on two drives
// and for an empty path. Pure.
bool AreRelatedPaths(const std::wstring& first, const std::wstring& second);

// True when `entry` is related to none of the exclusions. Pure.
bool IsNotExcluded(const std::vector<std::wstring>& exclusions, const std::wstring& entry);

// True for a file, and for a link that leads to one: no link that leads to nothing, no pipe, no device.
bool isFileEntry(const DirectoryEntry& entry);
