#include "system/file_content.h"

std::string readWhole(HANDLE file) {
  constexpr LONGLONG kLargest = 0x7FFF'FFFF;
  LARGE_INTEGER size = {};
  if (!::GetFileSizeEx(file, &size) || size.QuadPart > kLargest || !::SetFilePointerEx(file, {}, nullptr, FILE_BEGIN)) {
    return {};
  }
  std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
  DWORD read = 0;
  if (!::ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) {
    return {};
  }
  bytes.resize(read);
  return bytes;
}
