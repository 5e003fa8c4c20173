#include "system/long_path.h"

#include <string_view>

#include <windows.h>

namespace {

// CreateDirectoryW and similar calls reserve twelve of the MAX_PATH characters for a file name.
constexpr std::size_t kLongestPlainPath = MAX_PATH - 12;

constexpr std::wstring_view kPrefix = L"\\\\?\\";
constexpr std::wstring_view kServerPrefix = L"\\\\?\\UNC\\";
constexpr std::wstring_view kDevicePrefix = L"\\\\.\\";

bool hasPrefix(const std::wstring& path) {
  return path.starts_with(kPrefix) || path.starts_with(kDevicePrefix);
}

// Empty when the call fails.
std::wstring fullPath(const std::wstring& path) {
  const DWORD needed = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  std::wstring full(needed, L'\0');
  const DWORD length = needed == 0 ? 0 : ::GetFullPathNameW(path.c_str(), needed, full.data(), nullptr);
  full.resize(length < needed ? length : 0);
  return full;
}

// With the prefix a path is no longer normalised, so this is done first.
std::wstring extended(const std::wstring& path) {
  std::wstring full = fullPath(path);
  if (full.empty()) {
    return path;
  }
  if (hasPrefix(full)) {
    return full;  // a device, such as NUL
  }
  return full.starts_with(L"\\\\") ? std::wstring(kServerPrefix) + full.substr(2) : std::wstring(kPrefix) + full;
}

}  // namespace

std::wstring toSystemPath(const std::wstring& path) {
  return path.size() < kLongestPlainPath || hasPrefix(path) ? path : extended(path);
}

std::wstring toExtendedPath(const std::wstring& path) {
  return withoutEnd(hasPrefix(path) ? path : extended(path));
}

std::wstring withoutExtendedPrefix(const std::wstring& path) {
  if (path.starts_with(kServerPrefix)) {
    return L"\\\\" + path.substr(kServerPrefix.size());
  }
  return path.starts_with(kPrefix) ? path.substr(kPrefix.size()) : path;
}

bool isNormalised(const std::wstring& path) {
  return fullPath(path) == path;
}

std::wstring folderOf(const std::wstring& path) {
  const std::size_t backslash = path.find_last_of(L'\\');
  if (backslash == std::wstring::npos) {
    return {};
  }
  return backslash > 0 && path[backslash - 1] == L':' ? path.substr(0, backslash + 1) : path.substr(0, backslash);
}

std::wstring withoutEnd(const std::wstring& path) {
  const std::size_t end = path.find_last_not_of(L"\\/");
  return end == std::wstring::npos || path[end] == L':' ? path : path.substr(0, end + 1);
}
