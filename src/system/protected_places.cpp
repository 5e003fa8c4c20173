#include "system/protected_places.h"

#include <algorithm>
#include <array>
#include <regex>
#include <string_view>
#include <vector>

#include <windows.h>

#include <shlobj.h>
#include <shlwapi.h>

#include "system/temporary_folder.h"
#include "system/text_case.h"

namespace {

constexpr std::array<int, 15> kProtectedFolders = {
    CSIDL_WINDOWS,        CSIDL_SYSTEM,           CSIDL_SYSTEMX86,
    CSIDL_PROGRAM_FILES,  CSIDL_PROGRAM_FILESX86, CSIDL_PROGRAM_FILES_COMMON,
    CSIDL_COMMON_APPDATA, CSIDL_COMMON_PROGRAMS,  CSIDL_COMMON_DOCUMENTS,
    CSIDL_PROFILE,        CSIDL_APPDATA,          CSIDL_LOCAL_APPDATA,
    CSIDL_PROGRAMS,       CSIDL_PERSONAL,         CSIDL_DESKTOPDIRECTORY,
};

// Below a root, in lower case. HKEY_USERS\<user> is compared as HKEY_CURRENT_USER.
constexpr std::array<std::wstring_view, 15> kProtectedKeys = {
    L"hkey_classes_root\\clsid",
    L"hkey_classes_root\\installer",
    L"hkey_current_config\\software",
    L"hkey_current_config\\system",
    L"hkey_current_user\\control panel",
    L"hkey_current_user\\environment",
    L"hkey_current_user\\software\\classes",
    L"hkey_current_user\\software\\microsoft\\windows\\currentversion",
    L"hkey_local_machine\\hardware",
    L"hkey_local_machine\\software\\classes\\clsid",
    L"hkey_local_machine\\software\\microsoft\\windows nt\\currentversion",
    L"hkey_local_machine\\software\\microsoft\\windows\\currentversion\\uninstall",
    L"hkey_local_machine\\software\\wow6432node\\microsoft\\windows\\currentversion",
    L"hkey_local_machine\\system\\currentcontrolset\\control\\class",
    L"hkey_local_machine\\system\\currentcontrolset\\services",
};

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

const std::vector<std::wstring>& protectedFolders() {
  static const std::vector<std::wstring> folders = [] {
    std::vector<std::wstring> found;
    for (const int csidl : kProtectedFolders) {
      wchar_t folder[MAX_PATH] = {};
      if (SUCCEEDED(::SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, folder))) {
        found.push_back(normalised(folder));
      }
    }
    if (const std::wstring temporary = temporaryFolder(); !temporary.empty()) {
      found.push_back(normalised(temporary));
    }
    return found;
  }();
  return folders;
}

// "\\?\C:\Windows" and its kin are spellings of "C:\Windows".
std::wstring withoutPrefix(std::wstring path) {
  std::replace(path.begin(), path.end(), L'/', L'\\');
  while (path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\")) {
    path.erase(0, 4);
  }
  return path;
}

// It means the drive's current directory, which may be anywhere.
bool isBareDrive(const std::wstring& path) {
  return path.size() == 2 && path[1] == L':';
}

DWORD WINAPI fullPathName(LPCWSTR path, LPWSTR buffer, DWORD size) {
  return ::GetFullPathNameW(path, size, buffer, nullptr);
}

// What a call says of a path; empty when it fails.
std::wstring answerOf(const std::wstring& path, DWORD(WINAPI* call)(LPCWSTR path, LPWSTR buffer, DWORD size)) {
  std::wstring answer(call(path.c_str(), nullptr, 0), L'\0');
  answer.resize(call(path.c_str(), answer.data(), static_cast<DWORD>(answer.size())));
  return answer;
}

bool isRootOrProtected(const std::wstring& fullPath) {
  if (fullPath.empty()) {
    return false;
  }
  if (::PathIsRootW(fullPath.c_str())) {
    return true;
  }
  const std::wstring folder = normalised(fullPath);
  return std::any_of(protectedFolders().begin(), protectedFolders().end(),
                     [&folder](const std::wstring& place) { return isAtOrAbove(folder, place); });
}

// The control sets of the system, of which one is the current one, in its lower-case form: "controlset001".
std::wstring withCurrentControlSet(const std::wstring& key) {
  static const std::wregex numbered(L"^(hkey_local_machine\\\\system\\\\)controlset[0-9]{3}(?=\\\\|$)");
  return std::regex_replace(key, numbered, L"$1currentcontrolset");
}

}  // namespace

bool isProtectedDirectory(const std::wstring& path) {
  const std::wstring plain = withoutPrefix(path);
  if (isBareDrive(plain)) {
    return true;
  }
  const std::wstring full = answerOf(plain, fullPathName);
  return isRootOrProtected(full) || isRootOrProtected(answerOf(full, ::GetLongPathNameW));
}

bool isProtectedPattern(const std::wstring& path) {
  const std::size_t separator = path.find_last_of(L"\\/:");
  if (separator == std::wstring::npos) {
    return false;
  }
  const std::wstring name = path.substr(separator + 1);
  const bool takesAll =
      name.starts_with(L'*') || (!name.empty() && name.find_first_not_of(L"*.?") == std::wstring::npos);
  return takesAll && isProtectedDirectory(path.substr(0, separator + 1));
}

bool isProtectedKey(const std::wstring& path) {
  std::wstring key = withCurrentControlSet(normalised(path));
  constexpr std::wstring_view kUsers = L"hkey_users";
  if (isAtOrAbove(kUsers, key)) {
    const std::size_t user = key.find(L'\\');
    const std::size_t rest = user == std::wstring::npos ? user : key.find(L'\\', user + 1);
    key = L"hkey_current_user" + (rest == std::wstring::npos ? L"" : key.substr(rest));
  }
  return std::any_of(kProtectedKeys.begin(), kProtectedKeys.end(),
                     [&key](std::wstring_view place) { return isAtOrAbove(key, place); });
}
