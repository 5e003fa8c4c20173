// recorder - writes its own path and command line to C:\bench\commands.log and exits with 0. Replaces system tools,
// under their names, so that a test sees how they were called.
#include <cstdio>
#include <string>

#include <windows.h>

#include "bench_list.h"
#include "system/handles.h"

int wmain() {
  wchar_t path[MAX_PATH];
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  const std::string line = toUtf8(std::wstring(path) + L"\t" + ::GetCommandLineW()) + "\n";
  // Appending with a single write keeps the lines of concurrent recorders apart.
  const FileHandle file(::CreateFileW(L"C:\\bench\\commands.log", FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  if (!file || !::WriteFile(file.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr)) {
    std::fprintf(stderr, "recorder: C:\\bench\\commands.log cannot be written (%lu)\n", ::GetLastError());
    return 1;
  }
  return 0;
}
