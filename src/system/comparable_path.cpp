#include "system/comparable_path.h"

#include <algorithm>

#include <windows.h>

#include <shlwapi.h>

#include "system/file_status.h"
#include "system/handles.h"
#include "system/long_path.h"

namespace {

constexpr DWORD kLongestPath = 32768;

// The path of an existing entry with links resolved, in the spelling of the file system; empty when it does not exist.
std::wstring resolvedPath(const std::wstring& path) {
  const FileHandle entry = openTarget(path);
  return entry ? finalPath(entry.get()) : std::wstring();
}

}  // namespace

std::wstring fullPath(const std::wstring& path) {
  std::wstring full(kLongestPath, L'\0');
  full.resize(::GetFullPathNameW(path.c_str(), kLongestPath, full.data(), nullptr));
  return full;
}

std::wstring comparablePath(const std::wstring& path) {
  // An extended path names an entry as it was listed; normalised, it could name another one.
  std::wstring existing = withoutEnd(path.starts_with(L"\\\\?\\") ? path : fullPath(path));
  std::wstring rest;
  std::wstring resolved;
  while ((resolved = resolvedPath(existing)).empty() && !::PathIsRootW(existing.c_str())) {
    const std::size_t backslash = existing.find_last_of(L'\\');
    if (backslash == std::wstring::npos || backslash + 1 == existing.size()) {
      break;
    }
    rest.insert(0, existing.substr(backslash));
    existing.resize(backslash);
    if (existing.ends_with(L':')) {
      existing += L'\\';  // "C:" alone would mean the current directory of the drive
    }
  }
  std::wstring comparable = resolved.empty() ? existing : resolved;
  const std::size_t end = comparable.find_last_not_of(L'\\');
  comparable.resize(end == std::wstring::npos ? 0 : end + 1);
  comparable += rest;
  return withoutExtendedPrefix(comparable);
}

bool isSameOrInside(const std::wstring& inner, const std::wstring& outer) {
  return !outer.empty() && inner.size() >= outer.size() &&
         ::CompareStringOrdinal(inner.data(), static_cast<int>(outer.size()), outer.data(),
                                static_cast<int>(outer.size()), TRUE) == CSTR_EQUAL &&
         (inner.size() == outer.size() || inner[outer.size()] == L'\\');
}

std::wstring longPath(const std::wstring& path) {
  const std::wstring systemPath = toSystemPath(path);
  // Most rows name something that does not exist, and finding that out costs less than GetLongPathNameW, which lists
  // each folder on the way.
  if (::GetFileAttributesW(systemPath.c_str()) == INVALID_FILE_ATTRIBUTES) {
    const DWORD error = ::GetLastError();
    if (isNotFound(error)) {
      return path;
    }
  }
  std::wstring spelled(MAX_PATH, L'\0');
  DWORD length = ::GetLongPathNameW(systemPath.c_str(), spelled.data(), static_cast<DWORD>(spelled.size()));
  if (length >= spelled.size()) {
    spelled.resize(length);
    length = ::GetLongPathNameW(systemPath.c_str(), spelled.data(), static_cast<DWORD>(spelled.size()));
  }
  if (length == 0 || length >= spelled.size()) {
    return path;
  }
  spelled.resize(length);
  return withoutExtendedPrefix(spelled);
}

EntryPath splitEntry(const std::wstring& path) {
  std::size_t end = path.find_last_of(L"\\/");
  if (end == std::wstring::npos) {
    end = path.size() > 1 && path[1] == L':' ? 1 : end;  // an entry in the current directory of that drive
  }
  return {path.substr(0, end + 1), path.substr(end + 1)};
}

std::wstring comparableEntry(const std::wstring& comparableFolder, std::wstring name) {
  name.resize(std::min(name.find(L':'), name.size()));
  name.resize(name.find_last_not_of(L" .") + 1);
  return longPath(comparableFolder + L'\\' + name);
}
