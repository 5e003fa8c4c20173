#include "system/file_status.h"

#include <filesystem>
#include <system_error>

#include <windows.h>

#include "system/long_path.h"

bool fileExists(const std::wstring& path) {
  if (::GetFileAttributesW(toSystemPath(path).c_str()) != INVALID_FILE_ATTRIBUTES) {
    return true;
  }
  const DWORD error = ::GetLastError();
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
      return false;
    default:
      throw std::filesystem::filesystem_error("exists", path,
                                              std::error_code(static_cast<int>(error), std::system_category()));
  }
}
