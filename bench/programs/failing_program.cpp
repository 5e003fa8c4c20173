// failing_program FILE - ends with 1 once for each byte of the file, and with 0 from then on: what calls it fails so
// many times. Each call takes a byte off the file's end; without the file it ends with 0.
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
