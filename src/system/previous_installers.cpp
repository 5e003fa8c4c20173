#include "system/previous_installers.h"

#include <array>
#include <exception>
#include <filesystem>
#include <regex>
#include <set>
#include <string_view>
#include <system_error>

#include <windows.h>

#include "system/comparable_path.h"
#include "system/directory_walk.h"
#include "system/file_status.h"
#include "system/handles.h"
#include "system/log.h"
#include "system/long_path.h"
#include "system/module_path.h"
#include "system/process_launch.h"
#include "system/registry.h"

namespace {

constexpr wchar_t kMinimalInstallerKey[] = L"SOFTWARE\\QBX Installer\\Install\\MinimalInstaller\\";
constexpr wchar_t kPackagePathValue[] = L"Package Path";
constexpr wchar_t kDefaultRoot[] = L"C:\\ORV\\";
constexpr wchar_t kRootName[] = L"ORV\\";

// What the installers name their folders. Each expression stands for the whole name, in any case; the ninth and the
// last take no text in front on purpose.
constexpr std::array<const wchar_t*, 14> kNamePatterns = {
    L".*ORV_Software_Installer.*",
    L".*ORV-Software-Installer.*",
    L".*ORV_Halcyra_Installer.*",
    L".*ORV-Software-Fervane.*",
    L".*Halcyra-Software-Fervane.*",
    L".*Halcyra-Fervane.*",
    L".*ORV-Brimwood.*",
    L".*ORV_Brimwood.*",
    L"WU-TCC2",
    L".*Halcyra-Pro-Software.*",
    L".*Halcyra_Pro_Software.*",
    L".*ORV_Software_Pro.*",
    L".*ORV-Software-Pro.*",
    L"Bastil-.*",
};

// Everything in these folders of a root goes, whatever its name.
constexpr std::array<const wchar_t*, 3> kPackageFolders = {L"Packages\\", L"HalcyraInstaller\\",
                                                           L"ORVSoftwareInstaller\\"};

// A file-system failure in the system's own words.
std::wstring reason(const std::error_code& error) {
  std::wstring text = systemMessage(static_cast<DWORD>(error.value()));
  text.resize(text.find_last_not_of(L" \r\n") + 1);
  return text;
}

// What a standard exception says is in the code page of the machine.
std::wstring widen(std::string_view text) {
  const int length = static_cast<int>(text.size());
  std::wstring wide(static_cast<std::size_t>(::MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0)), L'\0');
  ::MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

// The packages that the minimal installer has registered. A value that cannot be read protects nothing.
void addRegisteredPackages(std::vector<std::wstring>& exclusions) {
  try {
    const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kMinimalInstallerKey, KEY_READ | KEY_WRITE);
    LogDebug(L"Min installer regkey has value");
    for (const std::wstring& subkey : EnumerateSubkeys(key.get())) {
      try {
        LogDebug(L"Min installer sub key %s", subkey.c_str());
        const std::wstring path = GetRegistryString(key.get(), subkey.c_str(), kPackagePathValue);
        LogDebug(L"Package path %s", path.c_str());
        if (fileExists(path)) {
          exclusions.push_back(path);
        }
      } catch (...) {
        // The next subkey may be in order.
      }
    }
  } catch (...) {
    // Most machines have no minimal installer.
  }
}

// The folder of this program, unless that is the root of a drive: a program started from there protects nothing.
void addOwnFolder(std::vector<std::wstring>& exclusions) {
  const std::filesystem::path program = fullPath(programPath());
  if (!program.has_root_directory()) {
    return;
  }
  const std::wstring folder = program.parent_path().wstring();
  if (comparablePath(folder) != comparablePath(program.root_path().wstring())) {
    exclusions.push_back(folder + L'\\');
  }
}

std::wstring temporaryDriveRoot() {
  wchar_t folder[MAX_PATH + 1] = {};
  ::GetTempPathW(ARRAYSIZE(folder), folder);
  const std::filesystem::path temporary = folder;
  const std::wstring drive = temporary.root_path().wstring();
  return temporary.has_root_name() && ::GetDriveTypeW(drive.c_str()) == DRIVE_FIXED ? drive + kRootName : kDefaultRoot;
}

std::set<std::wstring> findRoots() {
  std::set<std::wstring> roots = {kDefaultRoot, temporaryDriveRoot()};
  // Without a drive it would be a folder of the current directory.
  if (const std::wstring drive = GetOSDrive(); !drive.empty()) {
    roots.insert(drive + kRootName);
  }
  std::erase_if(roots, isLink);  // what lies behind a link is somebody's own
  return roots;
}

// Calls `visit` for each entry of a folder; a folder that cannot be read has none, and one that breaks off ends there.
void visitReadableEntries(const std::wstring& folder, const EntryVisitor& visit) {
  bool begun = false;
  try {
    visitEntries(folder, [&](const DirectoryEntry& entry) {
      begun = true;
      visit(entry);
    });
  } catch (const std::filesystem::filesystem_error& failure) {
    if (begun) {
      LogDebug(L"Encountered error while iterating %s. %ls", folder.c_str(), reason(failure.code()).c_str());
    }
  }
}

bool matches(const std::wregex& expression, const wchar_t* pattern, const DirectoryEntry& entry,
             const std::wstring& name) {
  try {
    return std::regex_match(name, expression);
  } catch (const std::exception& failure) {
    LogDebug(L"Exception occured when attempting to regex %s with %s. %ls", entry.path.c_str(), pattern,
             widen(failure.what()).c_str());
    return false;
  }
}

// The folders of a root that are named like an installer's.
void findNamedFolders(const std::wstring& root, const std::vector<std::wstring>& exclusions,
                      const std::vector<std::wregex>& patterns, std::vector<DirectoryEntry>& candidates) {
  visitReadableEntries(root, [&](const DirectoryEntry& entry) {
    if (!entry.isDirectory()) {
      return;
    }
    const std::wstring name = entry.path.substr(entry.path.find_last_of(L'\\') + 1);
    for (std::size_t index = 0; index < patterns.size(); ++index) {
      if (!matches(patterns[index], kNamePatterns[index], entry, name)) {
        continue;
      }
      if (IsNotExcluded(exclusions, entry.systemPath)) {
        candidates.push_back(entry);
        return;
      }
      LogDebug(L"Excluding %s", entry.path.c_str());
    }
  });
}

// A link that leads to nothing is none, nor is one to something that is neither file nor directory.
bool isFile(const DirectoryEntry& entry) {
  return !entry.isDirectory() && (!entry.isLink() || isRegularFile(entry.systemPath));
}

void findPackages(const std::wstring& folder, const std::vector<std::wstring>& exclusions,
                  std::vector<DirectoryEntry>& candidates) {
  visitReadableEntries(folder, [&](const DirectoryEntry& entry) {
    if (!entry.isDirectory() && !isFile(entry)) {
      return;
    }
    if (IsNotExcluded(exclusions, entry.systemPath)) {
      candidates.push_back(entry);
    } else {
      LogDebug(L"Excluding %s", entry.path.c_str());
    }
  });
}

// The files go first, one by one, so that one that stays costs no other.
void deleteFilesBelow(const DirectoryEntry& candidate) {
  try {
    walkDirectory(
        candidate,
        [](const DirectoryEntry& entry) {
          if (isFile(entry)) {
            LogDebug(L"Deleting file: %s", entry.path.c_str());
            ::DeleteFileW(entry.systemPath.c_str());
          }
        },
        LinkInPlace::HasNoEntries,
        [&candidate](const std::error_code& error) {
          LogDebug(L"Encountered error while iterating %s. %ls", candidate.path.c_str(), reason(error).c_str());
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
    LogDebug(L"Unable to delete %s. %ls", candidate.path.c_str(), reason(failure.code()).c_str());
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

bool AreRelatedPaths(const std::wstring& first, const std::wstring& second) {
  if (first.empty() || second.empty()) {
    return false;
  }
  const std::wstring one = comparablePath(first);
  const std::wstring other = comparablePath(second);
  return isSameOrInside(one, other) || isSameOrInside(other, one);
}

bool IsNotExcluded(const std::vector<std::wstring>& exclusions, const std::wstring& entry) {
  for (const std::wstring& exclusion : exclusions) {
    if (AreRelatedPaths(entry, exclusion)) {
      return false;
    }
  }
  return true;
}

void RemovePreviousInstallers() {
  std::vector<std::wstring> exclusions;
  addRegisteredPackages(exclusions);
  addOwnFolder(exclusions);

  const std::set<std::wstring> roots = findRoots();
  std::vector<std::wregex> patterns;
  patterns.reserve(std::size(kNamePatterns));
  for (const wchar_t* pattern : kNamePatterns) {
    patterns.emplace_back(pattern, std::regex::ECMAScript | std::regex::icase);
  }
  std::vector<DirectoryEntry> candidates;
  for (const std::wstring& root : roots) {
    findNamedFolders(root, exclusions, patterns, candidates);
  }
  std::vector<std::wstring> subfolders;
  for (const std::wstring& root : roots) {
    for (const wchar_t* name : kPackageFolders) {
      subfolders.push_back(root + name);
    }
  }
  for (const std::wstring& subfolder : subfolders) {
    findPackages(subfolder, exclusions, candidates);
  }

  for (const DirectoryEntry& candidate : candidates) {
    removeCandidate(candidate);
  }
  for (const std::wstring& subfolder : subfolders) {
    removeIfEmpty(subfolder);
  }
  for (const std::wstring& root : roots) {
    removeIfEmpty(root);
  }
}
