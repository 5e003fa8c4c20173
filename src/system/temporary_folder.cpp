#include "system/temporary_folder.h"

#include <windows.h>

std::wstring temporaryFolder() {
  wchar_t folder[MAX_PATH] = {};
  const DWORD length = ::GetTempPathW(MAX_PATH, folder);
  // When the path does not fit, the call returns the length that it needs.
  return length < MAX_PATH ? std::wstring(folder, length) : std::wstring();
}
