#include "system/previous_installers.h"

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <regex>
#include <set>
#include <string_view>

#include <windows.h>

#include "system/comparable_path.h"
#include "system/file_status.h"
#include "system/log.h"
#include "system/machine_facts.h"
#include "system/module_path.h"
#include "system/registry.h"
#include "system/system_message.h"

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
          exclusions.push_back(comparablePath(path));
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
  const std::wstring folder = comparablePath(program.parent_path().wstring());
  if (folder != comparablePath(program.root_path().wstring())) {
    exclusions.push_back(folder);
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

// A folder that cannot be read has no entries; one whose reading breaks off has those that were read.
InstallerFolder readFolder(const std::wstring& path, bool isRoot) {
  InstallerFolder folder = {path, isRoot, {}, std::nullopt};
  bool begun = false;
  try {
    visitEntries(path, [&](const DirectoryEntry& entry) {
      begun = true;
      if (entry.isDirectory() || (!isRoot && isFileEntry(entry))) {
        folder.entries.push_back({entry, comparablePath(entry.systemPath)});
      }
    });
  } catch (const std::filesystem::filesystem_error& failure) {
    if (begun) {
      folder.failure = systemMessage(failure.code());
    }
  }
  return folder;
}

std::vector<std::wregex> namePatterns() {
  std::vector<std::wregex> patterns;
  patterns.reserve(kNamePatterns.size());
  for (const wchar_t* pattern : kNamePatterns) {
    patterns.emplace_back(pattern, std::regex::ECMAScript | std::regex::icase);
  }
  return patterns;
}

// Plans for an entry of a root. One that is excluded gets a line for each pattern that its name fits.
void planByName(const InstallerEntry& candidate, bool isExcluded, const std::vector<std::wregex>& patterns,
                PreviousInstallersPlan& plan) {
  const std::wstring& path = candidate.entry.path;
  const std::wstring name = path.substr(path.find_last_of(L'\\') + 1);
  for (std::size_t index = 0; index < patterns.size(); ++index) {
    try {
      if (!std::regex_match(name, patterns[index])) {
        continue;
      }
    } catch (const std::exception& failure) {
      plan.lines.push_back(L"Exception occured when attempting to regex " + path + L" with " + kNamePatterns[index] +
                           L". " + widen(failure.what()));
      continue;
    }
    if (!isExcluded) {
      plan.remove.push_back(candidate.entry);
      return;
    }
    if (plan.kept.empty() || plan.kept.back() != path) {
      plan.kept.push_back(path);
    }
    plan.lines.push_back(L"Excluding " + path);
  }
}

}  // namespace

PreviousInstallers FindPreviousInstallers() {
  PreviousInstallers found;
  addRegisteredPackages(found.exclusions);
  addOwnFolder(found.exclusions);
  const std::set<std::wstring> roots = findRoots();
  for (const std::wstring& root : roots) {
    found.folders.push_back(readFolder(root, true));
  }
  for (const std::wstring& root : roots) {
    for (const wchar_t* name : kPackageFolders) {
      found.folders.push_back(readFolder(root + name, false));
    }
  }
  return found;
}

PreviousInstallersPlan PlanPreviousInstallers(const PreviousInstallers& found) {
  PreviousInstallersPlan plan;
  const std::vector<std::wregex> patterns = namePatterns();
  for (const InstallerFolder& folder : found.folders) {
    for (const InstallerEntry& candidate : folder.entries) {
      const bool isExcluded = !IsNotExcluded(found.exclusions, candidate.comparable);
      if (folder.isRoot) {
        planByName(candidate, isExcluded, patterns, plan);
      } else if (isExcluded) {
        plan.kept.push_back(candidate.entry.path);
        plan.lines.push_back(L"Excluding " + candidate.entry.path);
      } else {
        plan.remove.push_back(candidate.entry);
      }
    }
    if (folder.failure) {
      plan.lines.push_back(L"Encountered error while iterating " + folder.path + L". " + *folder.failure);
    }
  }
  for (const bool isRoot : {false, true}) {
    for (const InstallerFolder& folder : found.folders) {
      if (folder.isRoot == isRoot) {
        plan.folders.push_back(folder.path);
      }
    }
  }
  return plan;
}

bool AreRelatedPaths(const std::wstring& first, const std::wstring& second) {
  return isSameOrInside(first, second) || isSameOrInside(second, first);
}

bool IsNotExcluded(const std::vector<std::wstring>& exclusions, const std::wstring& entry) {
  return std::none_of(exclusions.begin(), exclusions.end(),
                      [&entry](const std::wstring& exclusion) { return AreRelatedPaths(entry, exclusion); });
}

bool isFileEntry(const DirectoryEntry& entry) {
  return !entry.isDirectory() && (!entry.isLink() || isRegularFile(entry.systemPath));
}
