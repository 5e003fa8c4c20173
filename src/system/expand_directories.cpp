#include "system/expand_directories.h"

#include <filesystem>

#include "system/row_folders.h"
#include "system/unique_rows.h"

void ExpandDirectories(std::vector<std::wstring>& directories, std::vector<std::wstring>& files, LinkInPlace link) {
  const std::vector<std::wstring> listed = directories;
  UniqueRows directoryRows(directories);
  UniqueRows fileRows(files);
  for (const std::wstring& directory : listed) {
    if (!isExistingDirectory(directory)) {
      continue;
    }
    try {
      walkDirectory(
          directory,
          [&](const DirectoryEntry& entry) { (entry.isDirectory() ? directoryRows : fileRows).append(entry.path); },
          link, nullptr, link == LinkInPlace::HasNoEntries ? rememberListedFolder : FolderVisitor());
    } catch (const std::filesystem::filesystem_error&) {
      if (isExistingDirectory(directory)) {
        throw;
      }
      // Another program has removed it since it was asked for.
    }
  }
}
