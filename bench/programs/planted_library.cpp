// planted_library - writes to C:\\bench\\loaded.log where it was loaded from. Copied under the names of system
// libraries to places from which none may be loaded.
#include <string>

#include <windows.h>

#include "bench_list.h"
#include "system/handles.h"

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) {
    wchar_t path[MAX_PATH] = L"";
    ::GetModuleFileNameW(library, path, MAX_PATH);
    const std::string line = toUtf8(path) + "\n";
    const FileHandle file(::CreateFileW(L"C:\\bench\\loaded.log", FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    ::WriteFile(file.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  }
  return TRUE;
}
