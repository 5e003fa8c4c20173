// file_attacker - replaces bcdedit. While the batch file that calls it runs, it tries to change, replace and delete
// that file, and writes the results to C:\\bench\\attack.log. The replacement would call C:\\bench\\recorder.exe.
#include <cstdio>
#include <string>

#include <windows.h>

#include "bench_list.h"
#include "system/handles.h"

namespace {

constexpr char kTheirs[] = "@C:\\bench\\recorder.exe theirs\r\n@C:\\bench\\recorder.exe theirs\r\n";

bool write(const std::wstring& path, DWORD disposition) {
  const FileHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, disposition,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  return file && ::WriteFile(file.get(), kTheirs, sizeof(kTheirs) - 1, &written, nullptr);
}

const char* outcome(bool succeeded) {
  return succeeded ? "done" : "refused";
}

}  // namespace

int wmain() {
  wchar_t folder[MAX_PATH] = L"";
  ::GetTempPathW(MAX_PATH, folder);
  const std::wstring batch = std::wstring(folder) + L"safemode.bat";
  const std::wstring theirs = std::wstring(folder) + L"theirs.bat";
  if (!write(theirs, CREATE_ALWAYS)) {
    return 1;
  }
  const bool changed = write(batch, OPEN_EXISTING);
  const bool replaced = ::MoveFileExW(theirs.c_str(), batch.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
  const bool deleted = ::DeleteFileW(batch.c_str()) != 0;
  const std::string text = std::string("change ") + outcome(changed) + "\nreplacement " + outcome(replaced) +
                           "\ndeletion " + outcome(deleted) + "\n";
  const FileHandle file(::CreateFileW(L"C:\\bench\\attack.log", FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  return ::WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ? 0 : 1;
}
