// status_seams - simulates paths whose existence the system cannot determine, and dangling links; the test machine has
// neither. Replaces Windows functions, so include it in one source file of a program only.
#pragma once

#include <string>
#include <utility>

#include <windows.h>

#include "support/link_seam.h"

// A path and the error that a query for it returns; without a path, the real function answers.
struct PathError {
  std::wstring path;
  DWORD error = ERROR_SUCCESS;
};

inline PathError undecided;         // querying the attributes fails
inline PathError failingTarget;     // opening fails, as for a dangling link
inline std::wstring shownAsLink;    // appears as a link
inline std::wstring goesMeanwhile;  // an empty folder that another program removes just before it is opened

inline void forgetStatusSeams() {
  undecided = {};
  failingTarget = {};
  shownAsLink.clear();
  goesMeanwhile.clear();
}

// A dangling link: the entry exists, and opening it returns this error.
inline void showAsBrokenLink(const std::wstring& path, DWORD error) {
  shownAsLink = path;
  failingTarget = {path, error};
}

// Compares paths whatever form a call is given.
inline bool isSamePlace(const std::wstring& place, std::wstring path) {
  if (path.starts_with(LR"(\\?\)")) {
    path.erase(0, 4);
  }
  return !place.empty() && (path == place || path == place + L'\\');
}

LINK_SEAM(DWORD, GetFileAttributesW, (LPCWSTR path)) {
  if (isSamePlace(undecided.path, path)) {
    ::SetLastError(undecided.error);
    return INVALID_FILE_ATTRIBUTES;
  }
  const DWORD attributes = realFunction<decltype(&::GetFileAttributesW)>(L"kernel32.dll", "GetFileAttributesW")(path);
  return attributes != INVALID_FILE_ATTRIBUTES && isSamePlace(shownAsLink, path)
             ? attributes | FILE_ATTRIBUTE_REPARSE_POINT
             : attributes;
}

LINK_SEAM(HANDLE, CreateFileW,
          (LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
           HANDLE pattern)) {
  if (isSamePlace(failingTarget.path, path)) {
    ::SetLastError(failingTarget.error);
    return INVALID_HANDLE_VALUE;
  }
  if (isSamePlace(goesMeanwhile, path)) {
    ::RemoveDirectoryW(path);
  }
  return realFunction<decltype(&::CreateFileW)>(L"kernel32.dll", "CreateFileW")(path, access, sharing, security,
                                                                                disposition, flags, pattern);
}
