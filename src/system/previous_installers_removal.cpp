#include "system/previous_installers_removal.h"

#include <filesystem>
#include <string>
#include <system_error>

#include <windows.h>

#include "system/file_status.h"
#include "system/log.h"
#include "system/long_path.h"
#include "system/system_message.h"
#include "system/tree_removal.h"

namespace {

// The files go first, one by one, so that one that stays costs no other.
void deleteFilesBelow(const DirectoryEntry& candidate) {
  try {
    walkDirectory(
        candidate,
        [](const DirectoryEntry& entry) {
          if (isFileEntry(entry)) {
            LogDebug(L"Deleting file: %s", entry.path.c_str());
            ::DeleteFileW(entry.systemPath.c_str());
          }
        },
        LinkInPlace::HasNoEntries,
        [&candidate](const std::error_code& error) {
          LogDebug(L"Encountered error while iterating %s. %ls", candidate.path.c_str(), systemMessage(error).c_str());
        });
  } catch (const std::filesystem::filesystem_error&) {
    // A plain file, or a folder that cannot be read: what follows reports it when it stays.
  }
}

void removeCandidate(const DirectoryEntry& candidate) {
  deleteFilesBelow(candidate);
  LogDebug(L"Deleting directory: %s", candidate.path.c_str());
  try {
    removeTree(candidate);
  } catch (const std::filesystem::filesystem_error& failure) {
    LogDebug(L"Unable to delete %s. %ls", candidate.path.c_str(), systemMessage(failure.code()).c_str());
  }
}

// A link in the folder's place stays: it says nothing of what it leads to. So does a file, which is no installer's.
void removeIfEmpty(const std::wstring& folder) {
  const std::wstring path = withoutEnd(folder);
  if (fileExists(path) && isExistingDirectory(path) && !isLink(path)) {
    removeSingleEntry(path);
  }
}

}  // namespace

void RemovePreviousInstallers(const PreviousInstallersPlan& plan) {
  for (const std::wstring& line : plan.lines) {
    LogDebug(L"%s", line.c_str());
  }
  for (const DirectoryEntry& candidate : plan.remove) {
    removeCandidate(candidate);
  }
  for (const std::wstring& folder : plan.folders) {
    removeIfEmpty(folder);
  }
}
