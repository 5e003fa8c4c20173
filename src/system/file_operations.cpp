#include "system/file_operations.h"

#include <filesystem>
#include <regex>

#include <windows.h>

#include "system/log.h"
#include "system/long_path.h"
#include "system/row_folders.h"

bool fileRebootPending = false;

namespace {

// A temporary file or a cache is not worth a restart. The expressions contain no repetition: the library's matcher
// needs stack for each character that a `.*` matches, and a path may have 32,767 of them.
bool looksTemporary(const std::wstring& path) {
  constexpr auto kFlags = std::regex::ECMAScript | std::regex::icase;
  static const std::wregex temporary(L"[.\\\\]te?mp", kFlags);
  static const std::wregex cache(L"cache", kFlags);
  return std::regex_search(path, temporary) || std::regex_search(path, cache);
}

bool markForRestart(const std::wstring& systemPath) {
  return ::MoveFileExW(systemPath.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
}

bool reportSpared(const std::wstring& path, DWORD error) {
  LogDebug(L"FileOperation::Delete - Skip deletion of log file [%s], Error Code[%d]", path.c_str(), error);
  return true;
}

void reportMarked(const std::wstring& path, DWORD error) {
  LogDebug(L"FileOperation::Delete - Mark File[%s] as deleted until reboot, Error Code[%d]", path.c_str(), error);
}

bool reportNotDeleted(const std::wstring& path, DWORD error) {
  LogError(L"FileOperation::Delete - File[%s] not Deleted, Error Code[%d]", path.c_str(), error);
  return false;
}

}  // namespace

bool clearReadOnly(const std::wstring& path) {
  const std::wstring systemPath = toSystemPath(path);
  const DWORD attributes = ::GetFileAttributesW(systemPath.c_str());
  return ::SetFileAttributesW(systemPath.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
}

bool FileOperation::Delete(std::wstring path, bool allowDelayedDelete) {
  const std::wstring systemPath = systemPathOf(path);
  if (::GetFileAttributesW(systemPath.c_str()) == INVALID_FILE_ATTRIBUTES || ::DeleteFileW(systemPath.c_str())) {
    return true;
  }
  if (!clearReadOnly(systemPath)) {
    return false;
  }
  if (::DeleteFileW(systemPath.c_str())) {
    return true;
  }
  const DWORD error = ::GetLastError();
  // Case-sensitive, anywhere in the extension: .logs is a log, .LOG is not.
  if (std::filesystem::path(path).extension().wstring().find(L".log") != std::wstring::npos) {
    return reportSpared(path, error);
  }
  if (!allowDelayedDelete) {
    return reportNotDeleted(path, error);
  }
  if (!markForRestart(systemPath)) {
    return reportNotDeleted(path, ::GetLastError());
  }
  reportMarked(path, ::GetLastError());
  if (looksTemporary(path)) {
    LogDebug(L"\t is a temp file");
  } else {
    fileRebootPending = true;
  }
  return true;
}

bool FileOperation::Delete(const wchar_t* path) {
  const std::wstring name = path;
  const std::wstring systemPath = systemPathOf(name);
  if (::GetFileAttributesW(systemPath.c_str()) == INVALID_FILE_ATTRIBUTES || ::DeleteFileW(systemPath.c_str())) {
    return true;
  }
  const DWORD error = ::GetLastError();
  if (std::filesystem::path(name).filename().wstring().find(L".log") != std::wstring::npos) {
    return reportSpared(name, error);
  }
  if (!markForRestart(systemPath)) {
    return reportNotDeleted(name, ::GetLastError());
  }
  reportMarked(name, ::GetLastError());
  return true;
}
