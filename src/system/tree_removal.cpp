#include "system/tree_removal.h"

#include <filesystem>
#include <system_error>
#include <unordered_map>
#include <vector>

#include <windows.h>

#include "system/file_status.h"
#include "system/held_folder.h"
#include "system/long_path.h"

namespace {

constexpr char kRemoveFailed[] = "remove_all";

[[noreturn]] void raise(const char* text, const std::wstring& path, DWORD error) {
  throw std::filesystem::filesystem_error(text, path, std::error_code(static_cast<int>(error), std::system_category()));
}

bool removeEntry(const std::wstring& systemPath, DWORD attributes) {
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) ? ::RemoveDirectoryW(systemPath.c_str())
                                                 : ::DeleteFileW(systemPath.c_str());
}

// Removes one entry of a tree, clearing its read-only attribute where necessary. An entry that has disappeared
// meanwhile is no failure.
void removeTreeEntry(const WalkedPath& entry, DWORD attributes) {
  if (removeEntry(entry.systemPath, attributes)) {
    return;
  }
  DWORD error = ::GetLastError();
  if (error == ERROR_ACCESS_DENIED && (attributes & FILE_ATTRIBUTE_READONLY) &&
      ::SetFileAttributesW(entry.systemPath.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY))) {
    if (removeEntry(entry.systemPath, attributes)) {
      return;
    }
    error = ::GetLastError();
  }
  if (!isNotFound(error)) {
    raise(kRemoveFailed, entry.path, error);
  }
}

// Throws unless the folder is held or does not exist; false in the second case.
bool requireHeld(const HeldFolder& folder, const std::wstring& path) {
  switch (folder.state()) {
    case HeldFolder::State::Held:
      return true;
    case HeldFolder::State::NotThere:
      return false;
    case HeldFolder::State::Unknown:
      raise(kRemoveFailed, path, folder.error());
    default:
      raise(kRemoveFailed, path, ERROR_CANT_ACCESS_FILE);
  }
}

// Everything below a directory, and the directories that contain it, by their system paths.
struct Tree {
  std::vector<DirectoryEntry> entries;
  std::unordered_map<std::wstring, DirectoryId> folders;
};

Tree listTree(const WalkedPath& directory) {
  Tree tree;
  try {
    walkDirectory(
        directory, [&tree](const DirectoryEntry& entry) { tree.entries.push_back(entry); }, LinkInPlace::HasNoEntries,
        nullptr,
        [&tree](const std::wstring&, const ListedFolder& folder) {
          tree.folders.insert_or_assign(folder.systemPath, folder.id);
        });
  } catch (const std::filesystem::filesystem_error& failure) {
    throw std::filesystem::filesystem_error(kRemoveFailed, failure.path1(), failure.code());
  }
  return tree;
}

// Each directory is held while its entries are removed, and released before it is removed itself.
void removeEntriesOf(const Tree& tree) {
  std::wstring heldPath;
  HeldFolder held;
  // A directory was listed before its content, so from the end it comes after it.
  for (auto entry = tree.entries.rbegin(); entry != tree.entries.rend(); ++entry) {
    const std::wstring folder = folderOf(entry->systemPath);
    if (folder != heldPath) {
      held = HeldFolder(ListedFolder{folder, tree.folders.at(folder)});
      heldPath = folder;
    }
    if (requireHeld(held, entry->path)) {
      removeTreeEntry(*entry, entry->attributes);
    }
  }
}

}  // namespace

bool removeSingleEntry(const std::wstring& path) {
  // Mostly it is a directory; what it is matters only where that fails.
  const std::wstring systemPath = toSystemPath(path);
  if (::RemoveDirectoryW(systemPath.c_str())) {
    return true;
  }
  const DWORD error = ::GetLastError();
  const DWORD attributes = ::GetFileAttributesW(systemPath.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
    return ::DeleteFileW(systemPath.c_str());
  }
  ::SetLastError(error);
  return false;
}

void removeTree(const WalkedPath& path) {
  const DWORD attributes = ::GetFileAttributesW(path.systemPath.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const DWORD error = ::GetLastError();
    if (!isNotFound(error)) {
      raise(kRemoveFailed, path.path, error);
    }
    return;
  }
  const HeldFolder parent(folderOf(path.systemPath));
  if (!requireHeld(parent, path.path)) {
    return;
  }
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) {
    // Everything is listed before anything is removed, so that no directory is open when it is to be removed.
    removeEntriesOf(listTree(path));
  }
  removeTreeEntry(path, attributes);
}
