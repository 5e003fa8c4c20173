#include "system/long_path.h"

#include <windows.h>

namespace {

// CreateDirectoryW and its kin keep twelve characters of MAX_PATH for a file name.
constexpr std::size_t kLongestPlainPath = MAX_PATH - 12;

}  // namespace

std::wstring toSystemPath(const std::wstring& path) {
  if (path.size() < kLongestPlainPath || path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\")) {
    return path;
  }
  // Behind the prefix a path is taken as it is, so blanks, dots and doubled backslashes are put right before.
  const DWORD needed = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (needed == 0) {
    return path;
  }
  std::wstring full(needed, L'\0');
  const DWORD length = ::GetFullPathNameW(path.c_str(), needed, full.data(), nullptr);
  if (length == 0 || length >= needed) {
    return path;
  }
  full.resize(length);
  if (full.starts_with(L"\\\\")) {
    return L"\\\\?\\UNC" + full.substr(1);
  }
  return L"\\\\?\\" + full;
}
