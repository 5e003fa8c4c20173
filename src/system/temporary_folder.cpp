#include "system/temporary_folder.h"

#include <windows.h>

std::wstring temporaryFolder() {
  wchar_t folder[MAX_PATH] = {};
  const DWORD length = ::GetTempPathW(MAX_PATH, folder);
  // A folder that does not fit leaves the buffer as it was, and the length that it would take.
  return length < MAX_PATH ? std::wstring(folder, length) : std::wstring();
}
