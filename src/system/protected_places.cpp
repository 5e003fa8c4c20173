#include "system/protected_places.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include <windows.h>

#include <shlobj.h>
#include <shlwapi.h>

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
    wchar_t temp[MAX_PATH] = {};
    if (::GetTempPathW(MAX_PATH, temp) != 0) {
      found.push_back(normalised(temp));
    }
    return found;
  }();
  return folders;
}

}  // namespace

bool isProtectedDirectory(const std::wstring& path) {
  const DWORD needed = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  std::wstring full(needed, L'\0');
  full.resize(::GetFullPathNameW(path.c_str(), needed, full.data(), nullptr));
  if (full.empty()) {
    return false;
  }
  if (::PathIsRootW(full.c_str())) {
    return true;
  }
  const std::wstring folder = normalised(full);
  return std::any_of(protectedFolders().begin(), protectedFolders().end(),
                     [&folder](const std::wstring& place) { return isAtOrAbove(folder, place); });
}

bool isProtectedKey(const std::wstring& path) {
  std::wstring key = normalised(path);
  constexpr std::wstring_view kUsers = L"hkey_users";
  if (isAtOrAbove(kUsers, key)) {
    const std::size_t user = key.find(L'\\');
    const std::size_t rest = user == std::wstring::npos ? user : key.find(L'\\', user + 1);
    key = L"hkey_current_user" + (rest == std::wstring::npos ? L"" : key.substr(rest));
  }
  return std::any_of(kProtectedKeys.begin(), kProtectedKeys.end(),
                     [&key](std::wstring_view place) { return isAtOrAbove(key, place); });
}
