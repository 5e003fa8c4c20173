#include "system/shortcuts.h"

#include <windows.h>

#include <shlobj.h>
#include <shlwapi.h>

namespace {

std::wstring belowShellFolder(int csidl, const std::wstring& relativePath) {
  std::wstring folder;
  GetShellFolderPath(csidl, folder);
  return folder.empty() ? folder : folder + L'\\' + relativePath;
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

// The product's folder is deleted together with its shortcut. With a path that has no folder of its own or leads out of
// it, that would be the whole Programs folder or worse. A forward slash would hide where the folder ends.
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

std::wstring FindShortcut(const std::wstring& relativePath) {
  const std::wstring everyones = belowShellFolder(CSIDL_COMMON_PROGRAMS, relativePath);
  return ::PathFileExistsW(everyones.c_str()) ? everyones : belowShellFolder(CSIDL_PROGRAMS, relativePath);
}
