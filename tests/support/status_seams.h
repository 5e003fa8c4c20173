// status_seams - places of which the system cannot say whether they are there, and links that lead nowhere, neither of
// which the test machine has. To be included by one source file of a program, since it takes the place of Windows
// functions.
#pragma once

#include <string>
#include <utility>

#include <windows.h>

#include "support/link_seam.h"

// A path, and the error that asking for it gives; no path lets the machine answer.
struct PathError {
  std::wstring path;
  DWORD error = ERROR_SUCCESS;
};

inline PathError undecided;         // asking for the attributes fails
inline PathError failingTarget;     // opening fails, as it does for a link that leads to nothing
inline std::wstring shownAsLink;    // the machine shows it as a link
inline std::wstring goesMeanwhile;  // an empty folder that another program removes right before it is opened

inline void forgetStatusSeams() {
  undecided = {};
  failingTarget = {};
  shownAsLink.clear();
  goesMeanwhile.clear();
}

// A link that leads to nothing: the entry is there, and opening it gives this error.
inline void showAsBrokenLink(const std::wstring& path, DWORD error) {
  shownAsLink = path;
  failingTarget = {path, error};
}

// The form in which a call is given a path does not count.
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
