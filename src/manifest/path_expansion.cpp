#include "manifest/path_expansion.h"

#include <algorithm>

#include <windows.h>

#include <shlobj.h>
#include <shlwapi.h>

#include "system/handles.h"
#include "system/log.h"
#include "system/long_path.h"
#include "system/row_folders.h"

namespace {

constexpr wchar_t kDefaultInstallDir[] = L"C:\\Program Files\\ORV";
constexpr wchar_t kX86Dir[] = L"C:\\Program Files (x86)\\ORV";

constexpr DWORD kInstallDirBytes = 2048;

// The two folders that INSTALL_DIR and INSTALL_DIR32 stand for.
struct InstallFolders {
  std::wstring installDir;
  std::wstring installDir32;
};

InstallFolders findInstallFolders() {
  InstallFolders folders;
  if (!getInstallDirValue(folders.installDir)) {
    folders.installDir = kDefaultInstallDir;
  }
  // The value may be the install manager's own folder, one level below the one that is meant.
  if (folders.installDir.find(L"PKM") != std::wstring::npos) {
    folders.installDir.resize(std::min(folders.installDir.rfind(L'\\'), folders.installDir.size()));
  }
  // Greater or equal, not just equal: a folder on a later drive or below the default folder has a 32-bit counterpart
  // too; one below "C:\Program Files (x86)" has none.
  const bool useX86Dir = folders.installDir >= kDefaultInstallDir;
  folders.installDir32 = useX86Dir ? kX86Dir : folders.installDir;
  return folders;
}

std::wstring expandRow(const std::wstring& row, const InstallFolders& folders) {
  if (row.starts_with(L'%')) {
    return getKnownFolder(row) + row.substr(row.rfind(L'%') + 1);
  }
  if (row.starts_with(L"INSTALL_DIR")) {
    const std::size_t backslash = row.find(L'\\');
    const std::wstring tail = backslash == std::wstring::npos ? L"" : row.substr(backslash);
    return (row.starts_with(L"INSTALL_DIR32") ? folders.installDir32 : folders.installDir) + tail;
  }
  if (::PathGetDriveNumberW(row.c_str()) == -1) {
    return getOsRootDrive() + row;
  }
  return row;
}

// The prefix of the matching names: the pattern without its last element, ending in one backslash.
std::wstring inFrontOfNames(const std::wstring& pattern) {
  const std::size_t separator = pattern.find_last_of(L"\\/:");
  if (separator == std::wstring::npos || pattern[separator] == L':') {
    return pattern.substr(0, separator + 1);  // the names are those of a current directory
  }
  const std::size_t end = pattern.find_last_not_of(L"\\/", separator);
  return pattern.substr(0, end + 1) + L'\\';
}

// Adds everything that matches, including directories and, if the pattern matches them, `.` and `..`.
void appendMatches(const std::wstring& pattern, UniqueRows& target) {
  WIN32_FIND_DATAW found = {};
  const FindHandle find(::FindFirstFileW(toSystemPath(pattern).c_str(), &found));
  if (!find) {
    return;
  }
  const std::wstring front = inFrontOfNames(pattern);
  const std::wstring folder = toExtendedPath(front);
  do {
    std::wstring row = front + found.cFileName;
    if (!isNormalised(row)) {
      rememberListedEntry(row, (folder.ends_with(L'\\') ? folder : folder + L'\\') + found.cFileName);
    }
    target.append(std::move(row));
  } while (::FindNextFileW(find.get(), &found));
}

}  // namespace

bool getInstallDirValue(std::wstring& out) {
  out.clear();
  RegistryKey key;
  if (::RegOpenKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\KTL Systems\\Install", key.put()) != ERROR_SUCCESS) {
    return false;
  }
  wchar_t buffer[kInstallDirBytes / sizeof(wchar_t) + 1] = {};
  DWORD size = kInstallDirBytes;
  const bool read = ::RegQueryValueExW(key.get(), L"InstallDir", nullptr, nullptr, reinterpret_cast<BYTE*>(buffer),
                                       &size) == ERROR_SUCCESS;
  LogDebug(read ? L"Getting InstallDir registry value succeeded" : L"Getting InstallDir registry value failed");
  if (read) {
    out = buffer;
  }
  // Left open on purpose: the install key stays in use until the process ends.
  (void)key.release();
  return read;
}

std::wstring getOsRootDrive() {
  wchar_t windows[MAX_PATH] = {};
  ::GetWindowsDirectoryW(windows, MAX_PATH);
  const std::wstring text = windows;
  return text.empty() ? text : text.substr(0, text.find(L'\\')) + L'\\';
}

std::wstring getKnownFolder(const std::wstring& row) {
  // The length is only right if the row begins with a percent sign, which is the only form in use.
  const std::wstring name = row.substr(row.find(L'%') + 1, row.rfind(L'%') - 1);
  int csidl = 0;
  if (::lstrcmpiW(name.c_str(), L"APPDATA") == 0) {
    csidl = CSIDL_APPDATA;
  } else if (::lstrcmpiW(name.c_str(), L"LOCALAPPDATA") == 0) {
    csidl = CSIDL_LOCAL_APPDATA;
  } else {
    return {};
  }
  wchar_t folder[MAX_PATH + 1] = {};
  ::SHGetFolderPathW(nullptr, csidl, nullptr, 0, folder);
  return folder;
}

void appendMissing(std::vector<std::wstring> rows, UniqueRows& target) {
  for (std::wstring& row : rows) {
    target.append(std::move(row));
  }
}

void appendMissing(std::vector<std::wstring> rows, std::vector<std::wstring>& target) {
  UniqueRows uniqueTarget(target);
  appendMissing(std::move(rows), uniqueTarget);
}

void expandFileRows(std::vector<std::wstring> rows, UniqueRows& target, const RowAdmission& admit) {
  const InstallFolders folders = findInstallFolders();
  for (const std::wstring& row : rows) {
    if (row.empty()) {
      continue;
    }
    std::wstring path = expandRow(row, folders);
    if (admit && !admit(path)) {
      continue;
    }
    if (path.find(L'*') == std::wstring::npos) {
      target.append(std::move(path));
    } else {
      appendMatches(path, target);
    }
  }
}

void expandFileRows(std::vector<std::wstring> rows, std::vector<std::wstring>& target) {
  UniqueRows uniqueTarget(target);
  expandFileRows(std::move(rows), uniqueTarget);
}

void expandDirectoryRows(std::vector<std::wstring> rows, UniqueRows& target) {
  const InstallFolders folders = findInstallFolders();
  for (const std::wstring& row : rows) {
    if (!row.empty()) {
      target.append(expandRow(row, folders));
    }
  }
}

void expandDirectoryRows(std::vector<std::wstring> rows, std::vector<std::wstring>& target) {
  UniqueRows uniqueTarget(target);
  expandDirectoryRows(std::move(rows), uniqueTarget);
}
