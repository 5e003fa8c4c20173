// directory_seams - folders that cannot be read, reading that breaks off, and links that are removed as Windows does
// it. To be included by one source file of a program, since it takes the place of Windows functions.
#pragma once

#include <string>
#include <string_view>

#include <windows.h>

#include "support/link_seam.h"
#include "support/test_folder.h"

inline std::wstring unreadableFolder;  // opening it for its entries fails with ERROR_ACCESS_DENIED
inline int readsUntilFailure = -1;     // then reading on fails with ERROR_CRC
inline std::wstring entryShownAsLink;  // an entry of this name that the machine shows as a link while it is listed

inline void forgetDirectorySeams() {
  unreadableFolder.clear();
  readsUntilFailure = -1;
  entryShownAsLink.clear();
}

LINK_SEAM(HANDLE, FindFirstFileExW,
          (LPCWSTR name, FINDEX_INFO_LEVELS level, LPVOID data, FINDEX_SEARCH_OPS operation, LPVOID filter,
           DWORD flags)) {
  std::wstring_view folder = name;
  folder = folder.substr(0, folder.find_last_of(L'\\'));
  if (!unreadableFolder.empty() && folder == unreadableFolder) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  return realFunction<decltype(&::FindFirstFileExW)>(L"kernel32.dll", "FindFirstFileExW")(name, level, data, operation,
                                                                                          filter, flags);
}

LINK_SEAM(BOOL, FindNextFileW, (HANDLE find, LPWIN32_FIND_DATAW data)) {
  if (readsUntilFailure >= 0 && readsUntilFailure-- == 0) {
    ::SetLastError(ERROR_CRC);
    return FALSE;
  }
  const BOOL found = realFunction<decltype(&::FindNextFileW)>(L"kernel32.dll", "FindNextFileW")(find, data);
  if (found && entryShownAsLink == data->cFileName) {
    data->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
  }
  return found;
}

// The bench machine's own call reaches through a link to the directory behind it. Windows removes the link.
LINK_SEAM(BOOL, RemoveDirectoryW, (LPCWSTR path)) {
  const DWORD attributes = ::GetFileAttributesW(path);
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    removeDirectoryLink(path);
    return TRUE;
  }
  return realFunction<decltype(&::RemoveDirectoryW)>(L"kernel32.dll", "RemoveDirectoryW")(path);
}
