#include "system/restart_note.h"

#include <cstdio>

RegistryKey CreateCleanupUtilityKey(HKEY parent) {
  RegistryKey key;
  const LSTATUS status = ::RegCreateKeyExW(parent, L"ORVCleanupUtility", 0, nullptr, REG_OPTION_VOLATILE,
                                           KEY_READ | KEY_SET_VALUE | KEY_CREATE_SUB_KEY, nullptr, key.put(), nullptr);
  if (status != ERROR_SUCCESS) {
    throw RegKeyError(status, "Unable to get create registry key");
  }
  return key;
}

void SetRegistryDwordOne(HKEY key, const wchar_t* valueName) {
  constexpr DWORD kOne = 1;
  const LSTATUS status =
      ::RegSetValueExW(key, valueName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&kOne), sizeof(kOne));
  if (status != ERROR_SUCCESS) {
    char text[260] = {};
    ::_snprintf(text, sizeof(text) - 1, "Unable to write to registry for value = %ls data = %d.", valueName, 1);
    throw RegKeyError(status, text);
  }
}
