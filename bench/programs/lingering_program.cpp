// lingering_program - writes to C:\\bench\\lingering.log that it is running, and runs until it is terminated. Replaces
// a system tool that takes longer than the program that called it.
#include <windows.h>

#include "system/handles.h"

int wmain() {
  constexpr char kLine[] = "at work\n";
  {
    const FileHandle file(::CreateFileW(L"C:\\bench\\lingering.log", GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (!file || !::WriteFile(file.get(), kLine, sizeof(kLine) - 1, &written, nullptr)) {
      return 1;
    }
  }
  ::Sleep(INFINITE);
  return 0;
}
