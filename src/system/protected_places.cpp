#include "system/protected_places.h"

#include <algorithm>
#include <array>
#include <regex>
#include <string_view>
#include <vector>

#include <windows.h>

#include <shlobj.h>
#include <shlwapi.h>

#include "system/comparable_path.h"
#include "system/directory_walk.h"
#include "system/long_path.h"
#include "system/temporary_folder.h"
#include "system/text_case.h"

namespace {

constexpr std::array<int, 17> kShellFolders = {
    CSIDL_WINDOWS,
    CSIDL_SYSTEM,
    CSIDL_SYSTEMX86,
    CSIDL_PROGRAM_FILES,
    CSIDL_PROGRAM_FILESX86,
    CSIDL_PROGRAM_FILES_COMMON,
    CSIDL_PROGRAM_FILES_COMMONX86,
    CSIDL_COMMON_APPDATA,
    CSIDL_COMMON_PROGRAMS,
    CSIDL_COMMON_DOCUMENTS,
    CSIDL_COMMON_DESKTOPDIRECTORY,
    CSIDL_PROFILE,
    CSIDL_APPDATA,
    CSIDL_LOCAL_APPDATA,
    CSIDL_PROGRAMS,
    CSIDL_PERSONAL,
    CSIDL_DESKTOPDIRECTORY,
};

// Below the Windows folder: folders that drivers, programs and components share, and those of the registry's own files.
constexpr std::array<const wchar_t*, 13> kFoldersOfWindows = {
    L"assembly",
    L"Fonts",
    L"INF",
    L"Installer",
    L"Microsoft.NET",
    L"servicing",
    L"WinSxS",
    L"System32\\CatRoot",
    L"System32\\config",
    L"System32\\drivers\\etc",
    L"System32\\DriverStore\\FileRepository",
    L"System32\\Tasks",
    L"System32\\wbem",
};

// All keys here are spelled as comparableKey spells them, in lower case.
constexpr std::wstring_view kMachine = L"hkey_local_machine";
constexpr std::wstring_view kUser = L"hkey_current_user";
constexpr std::wstring_view kMachineClasses = L"hkey_local_machine\\software\\classes";
constexpr std::wstring_view kUserClasses = L"hkey_current_user\\software\\classes";

constexpr std::array<std::wstring_view, 11> kProtectedKeys = {
    L"hkey_current_config\\software",
    L"hkey_current_config\\system",
    L"hkey_current_user\\control panel",
    L"hkey_current_user\\environment",
    L"hkey_local_machine\\components",
    L"hkey_local_machine\\drivers",
    L"hkey_local_machine\\hardware",
    L"hkey_local_machine\\system\\currentcontrolset\\control\\class",
    L"hkey_local_machine\\system\\currentcontrolset\\services\\eventlog\\application",
    L"hkey_local_machine\\system\\mounteddevices",
    L"hkey_local_machine\\system\\setup",
};

// Below SOFTWARE, in the machine's hive and in a user's.
constexpr std::array<std::wstring_view, 13> kProtectedSoftwareKeys = {
    L"classes\\appid",
    L"classes\\clsid",
    L"classes\\directory\\background\\shellex\\contextmenuhandlers",
    L"classes\\installer",
    L"classes\\interface",
    L"classes\\typelib",
    L"microsoft\\windows nt\\currentversion",
    L"microsoft\\windows\\currentversion\\app paths",
    L"microsoft\\windows\\currentversion\\policies",
    L"microsoft\\windows\\currentversion\\run",
    L"microsoft\\windows\\currentversion\\runonce",
    L"microsoft\\windows\\currentversion\\uninstall",
    L"policies",
};

// No vendor keeps anything below these: accounts, secrets, the boot configuration, the device tree.
constexpr std::array<std::wstring_view, 4> kKeysOfWindowsAlone = {
    L"hkey_local_machine\\bcd00000000",
    L"hkey_local_machine\\sam",
    L"hkey_local_machine\\security",
    L"hkey_local_machine\\system\\currentcontrolset\\enum",
};

// A pattern with fewer literal characters in a row matches a whole kind of files.
constexpr std::size_t kFewestLiteralCharacters = 3;

// In lower case, with single backslashes and none at the end.
std::wstring normalised(const std::wstring& path) {
  std::wstring result;
  for (const wchar_t character : path) {
    if (character != L'\\' || (!result.empty() && result.back() != L'\\')) {
      result.push_back(character);
    }
  }
  while (result.ends_with(L'\\')) {
    result.pop_back();
  }
  return toLower(result);
}

// Both normalised.
bool isAtOrAbove(std::wstring_view path, std::wstring_view place) {
  return place.starts_with(path) && (place.size() == path.size() || place[path.size()] == L'\\');
}

template <class Places, class Predicate>
bool isOneOf(const Places& places, Predicate isMeant) {
  return std::any_of(places.begin(), places.end(), isMeant);
}

// A row may use any spelling of a place, whichever the system reports (TEMP has short names, a folder was moved and has
// a link in its place).
void appendSpellings(const std::wstring& folder, std::vector<std::wstring>& places) {
  if (!folder.empty()) {
    places.insert(places.end(),
                  {normalised(folder), normalised(longPath(fullPath(folder))), normalised(comparablePath(folder))});
  }
}

std::wstring shellFolder(int csidl) {
  wchar_t folder[MAX_PATH] = {};
  return SUCCEEDED(::SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, folder)) ? folder : std::wstring();
}

const std::vector<std::wstring>& protectedFolders() {
  static const std::vector<std::wstring> folders = [] {
    std::vector<std::wstring> found;
    for (const int csidl : kShellFolders) {
      appendSpellings(shellFolder(csidl), found);
    }
    if (const std::wstring windows = shellFolder(CSIDL_WINDOWS); !windows.empty()) {
      for (const wchar_t* folder : kFoldersOfWindows) {
        appendSpellings(windows + L'\\' + folder, found);
      }
    }
    appendSpellings(temporaryFolder(), found);
    return found;
  }();
  return folders;
}

// "\\?\C:\Windows" and "\\.\C:\Windows" are spellings of "C:\Windows".
std::wstring withoutPrefix(std::wstring path) {
  std::replace(path.begin(), path.end(), L'/', L'\\');
  while (path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\")) {
    path.erase(0, 4);
  }
  return path;
}

// "C:\Windows::$INDEX_ALLOCATION" is a spelling of "C:\Windows", too: a colon after the drive's own begins the name of
// a stream.
std::wstring withoutStreams(std::wstring path) {
  constexpr std::size_t kBehindDrive = 2;
  for (std::size_t colon = path.find(L':', kBehindDrive); colon != std::wstring::npos; colon = path.find(L':', colon)) {
    path.erase(colon, std::min(path.find(L'\\', colon), path.size()) - colon);
  }
  return path;
}

// It stands for the current directory of the drive, which may be any folder.
bool isBareDrive(const std::wstring& path) {
  return path.size() == 2 && path[1] == L':';
}

// comparablePath spells the root of a drive without its backslash.
bool isRootOrProtected(const std::wstring& path) {
  if (path.empty()) {
    return false;
  }
  if (isBareDrive(path) || ::PathIsRootW(path.c_str())) {
    return true;
  }
  const std::wstring folder = normalised(path);
  return isOneOf(protectedFolders(), [&folder](const std::wstring& place) { return isAtOrAbove(folder, place); });
}

// A numbered control set ("controlset001") counts as the current one.
std::wstring withCurrentControlSet(const std::wstring& key) {
  static const std::wregex numbered(L"^(hkey_local_machine\\\\system\\\\)controlset[0-9]{3}(?=\\\\|$)");
  return std::regex_replace(key, numbered, L"$1currentcontrolset");
}

// One spelling for keys that mean the same here: the hive of one user stands for that of any other, HKEY_CLASSES_ROOT
// for the machine's classes, and a 32-bit key for the key without WOW6432Node in its path.
std::wstring comparableKey(const std::wstring& path) {
  std::wstring key = withCurrentControlSet(normalised(path));
  constexpr std::wstring_view kUsers = L"hkey_users";
  constexpr std::wstring_view kClassesRoot = L"hkey_classes_root";
  constexpr std::wstring_view kTwin = L"\\wow6432node";
  if (isAtOrAbove(kUsers, key)) {
    const std::size_t user = key.find(L'\\');
    const std::size_t end = user == std::wstring::npos ? key.size() : std::min(key.find(L'\\', user + 1), key.size());
    key.replace(0, end, key.substr(0, end).ends_with(L"_classes") ? kUserClasses : kUser);
  } else if (isAtOrAbove(kClassesRoot, key)) {
    key.replace(0, kClassesRoot.size(), kMachineClasses);
  }
  for (std::size_t twin = key.find(kTwin); twin != std::wstring::npos; twin = key.find(kTwin, twin)) {
    if (isAtOrAbove(key.substr(0, twin + kTwin.size()), key)) {
      key.erase(twin, kTwin.size());
    } else {
      ++twin;
    }
  }
  return key;
}

bool isProtectedSoftwareKey(const std::wstring& key) {
  for (const std::wstring_view root : {kMachine, kUser}) {
    const std::wstring software = std::wstring(root) + L"\\software";
    if (isAtOrAbove(key, software)) {
      return true;
    }
    if (isAtOrAbove(software, key) &&
        isOneOf(kProtectedSoftwareKeys, [rest = std::wstring_view(key).substr(software.size() + 1)](
                                            std::wstring_view place) { return isAtOrAbove(rest, place); })) {
      return true;
    }
  }
  return false;
}

// The length of the longest run of literal characters before the first dot of a name. Windows takes <, > and " for
// wildcards, too.
std::size_t literalCharacters(std::wstring_view name) {
  std::size_t longest = 0;
  std::size_t row = 0;
  for (const wchar_t character : name.substr(0, name.find(L'.'))) {
    row = std::wstring_view(L"*?<>\" ").find(character) == std::wstring_view::npos ? row + 1 : 0;
    longest = std::max(longest, row);
  }
  return longest;
}

}  // namespace

bool isProtectedDirectory(const std::wstring& path) {
  const std::wstring plain = withoutStreams(withoutPrefix(path));
  if (isBareDrive(plain)) {
    return true;
  }
  const std::wstring full = fullPath(plain);
  if (isRootOrProtected(full) || isRootOrProtected(longPath(full))) {
    return true;
  }
  // There may be links on the way to it. If it is a link itself, only the link would be removed.
  const auto [folder, name] = splitEntry(withoutEnd(full));
  return !folder.empty() && isRootOrProtected(comparableEntry(comparablePath(folder), name));
}

bool isProtectedPattern(const std::wstring& path) {
  const auto [folder, name] = splitEntry(path);
  const bool isPattern = name.find_first_of(L"*?<>\"") != std::wstring::npos;
  const bool hasNoLetter = !name.empty() && name.find_first_not_of(L"*.?") == std::wstring::npos;
  if (folder.empty() || !(hasNoLetter || (isPattern && literalCharacters(name) < kFewestLiteralCharacters))) {
    return false;
  }
  // A pattern also matches what lies behind a link in the place of its folder.
  return isProtectedDirectory(folder) || isRootOrProtected(comparablePath(withoutStreams(withoutPrefix(folder))));
}

bool isProtectedKey(const std::wstring& path) {
  const std::wstring key = comparableKey(path);
  return isOneOf(kProtectedKeys, [&key](std::wstring_view place) { return isAtOrAbove(key, place); }) ||
         isOneOf(kKeysOfWindowsAlone,
                 [&key](std::wstring_view place) { return isAtOrAbove(key, place) || isAtOrAbove(place, key); }) ||
         isProtectedSoftwareKey(key);
}
