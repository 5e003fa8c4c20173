// failing_program FILE - exits with 1 as many times as the file has bytes, and with 0 from then on. Each call removes a
// byte from the end of the file. Without the file it exits with 0.
#include <cstdio>

#include <windows.h>

#include "system/handles.h"

int wmain(int argumentCount, wchar_t** arguments) {
  if (argumentCount != 2) {
    std::fprintf(stderr, "usage: failing_program FILE\n");
    return 2;
  }
  const FileHandle file(::CreateFileW(arguments[1], GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    return ::GetLastError() == ERROR_FILE_NOT_FOUND ? 0 : 2;
  }
  const DWORD left = ::GetFileSize(file.get(), nullptr);
  if (left == 0) {
    return 0;
  }
  ::SetFilePointer(file.get(), static_cast<LONG>(left - 1), nullptr, FILE_BEGIN);
  ::SetEndOfFile(file.get());
  return 1;
}
