#include "system/file_status.h"

#include <filesystem>
#include <system_error>

#include <windows.h>

#include "system/long_path.h"

FileHandle openTarget(const std::wstring& path) {
  return FileHandle(::CreateFileW(toSystemPath(path).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

std::wstring finalPath(HANDLE entry) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        ::GetFinalPathNameByHandleW(entry, path.data(), static_cast<DWORD>(path.size()), VOLUME_NAME_DOS);
    if (length < path.size()) {
      path.resize(length);
      return withoutExtendedPrefix(path);
    }
    path.resize(length + 1);
  }
}

DWORD targetAttributes(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(toSystemPath(path).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    return attributes;
  }
  BY_HANDLE_FILE_INFORMATION target = {};
  const FileHandle opened = openTarget(path);
  return opened && ::GetFileInformationByHandle(opened.get(), &target) ? target.dwFileAttributes
                                                                       : INVALID_FILE_ATTRIBUTES;
}

bool isRegularFile(const std::wstring& path) {
  const DWORD attributes = targetAttributes(path);
  return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE));
}

bool saysNotThere(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_INVALID_DRIVE:
    case ERROR_NOT_READY:
    case ERROR_INVALID_PARAMETER:
    case ERROR_BAD_PATHNAME:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_DIRECTORY:
      return true;
    default:
      return false;
  }
}

bool isNotFound(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

bool fileExists(const std::wstring& path) {
  if (targetAttributes(path) != INVALID_FILE_ATTRIBUTES) {
    return true;
  }
  const DWORD error = ::GetLastError();
  if (!saysNotThere(error)) {
    throw std::filesystem::filesystem_error("exists", path,
                                            std::error_code(static_cast<int>(error), std::system_category()));
  }
  return false;
}
