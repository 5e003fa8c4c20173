#include "system/shortcuts.h"

#include <windows.h>

#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include "system/directory_walk.h"
#include "system/log.h"
#include "system/row_folders.h"

namespace {

// The product's folder goes with its shortcut. A path without a folder of its own, or one that climbs out of it, would
// take the whole Programs folder or worse along. The other kind of slash would hide where the folder ends.
bool namesProductFolder(const std::wstring& relativePath) {
  if (relativePath.find_first_of(L"/:") != std::wstring::npos) {
    return false;
  }
  const auto isName = [](const std::wstring& part) { return part.find_first_not_of(L". ") != std::wstring::npos; };
  std::size_t start = 0;
  std::size_t folders = 0;
  for (std::size_t end; (end = relativePath.find(L'\\', start)) != std::wstring::npos; start = end + 1) {
    if (!isName(relativePath.substr(start, end - start))) {
      return false;
    }
    ++folders;
  }
  return folders > 0 && isName(relativePath.substr(start));
}

std::wstring belowShellFolder(int csidl, const std::wstring& relativePath) {
  std::wstring folder;
  GetShellFolderPath(csidl, folder);
  return folder.empty() ? folder : folder + L'\\' + relativePath;
}

// The shell would go through a link in the place of the product's folder, or above it. Held for the moment only, since
// the folder itself is to go.
bool liesInItsFolder(const std::wstring& path) {
  RowFolders folders(1);
  return folders.hold(path) != RowFolders::Answer::Refused;
}

}  // namespace

bool GetShellFolderPath(int csidl, std::wstring& out) {
  PIDLIST_ABSOLUTE list = nullptr;
  const bool found = SUCCEEDED(::SHGetFolderLocation(nullptr, csidl, nullptr, 0, &list));
  if (list) {
    wchar_t buffer[MAX_PATH] = {};
    ::SHGetPathFromIDListW(list, buffer);
    out = buffer;
    IMalloc* allocator = nullptr;
    if (SUCCEEDED(::SHGetMalloc(&allocator))) {
      allocator->Free(list);
      allocator->Release();
    }
  }
  return found;
}

bool DeleteShortcut(const std::wstring& relativePath) {
  if (!namesProductFolder(relativePath)) {
    LogError(L"DeleteShortcut - Shortcut[%s] names no folder of its own, not deleted", relativePath.c_str());
    return false;
  }
  std::wstring path = belowShellFolder(CSIDL_COMMON_PROGRAMS, relativePath);
  if (!::PathFileExistsW(path.c_str())) {
    path = belowShellFolder(CSIDL_PROGRAMS, relativePath);
  }
  if (path.empty() || !liesInItsFolder(path)) {
    return false;
  }
  return ShellDeleteAndRemoveFolder(path, path.substr(0, path.rfind(L'\\')));
}

bool ShellDeleteAndRemoveFolder(const std::wstring& path, const std::wstring& folder) {
  std::wstring from = path;
  from.push_back(L'\0');  // the shell takes a list that ends with an empty text
  SHFILEOPSTRUCTW operation = {};
  operation.wFunc = FO_DELETE;
  operation.pFrom = from.c_str();
  operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOCONFIRMMKDIR | FOF_NOERRORUI;
  if (::SHFileOperationW(&operation) != 0) {
    return false;
  }
  removeTree(folder);
  return true;
}
