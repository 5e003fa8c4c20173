#include "app/vulkan_entries.h"

#include <cstdio>

#include <windows.h>

#include "system/file_operations.h"
#include "system/handles.h"
#include "system/log.h"

namespace {

constexpr DWORD kValueNameCharacters = 16383;

// The loader's values are named by the path of a file.
bool namesFile(const std::wstring& valueName, const std::wstring& fileName) {
  const std::size_t backslash = valueName.rfind(L'\\');
  return backslash != std::wstring::npos && valueName.compare(backslash + 1, fileName.size(), fileName) == 0;
}

void removeRegistryValues(const std::wstring& path, const std::wstring& fileName) {
  RegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, key.put()) != ERROR_SUCCESS) {
    return;
  }
  DWORD count = 0;
  ::RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr,
                     nullptr);
  std::wstring buffer(kValueNameCharacters, L'\0');
  for (DWORD index = 0; index < count; ++index) {
    DWORD length = kValueNameCharacters;
    if (::RegEnumValueW(key.get(), index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      continue;
    }
    // The index moves on after a deletion too, past the value that has slid into the place.
    const std::wstring name = buffer.substr(0, length);
    if (namesFile(name, fileName) && ::RegDeleteValueW(key.get(), name.c_str()) != ERROR_SUCCESS) {
      std::printf("RegDeleteKey error\n");
    }
  }
}

}  // namespace

void removeVulkanEntries(const std::map<std::wstring, std::wstring>& registryValues,
                         const std::vector<std::wstring>& files) {
  for (const auto& [path, fileName] : registryValues) {
    removeRegistryValues(path, fileName);
  }
  for (const std::wstring& file : files) {
    if (!FileOperation::Delete(file.c_str())) {
      LogDebug(L"Deleting File failed: %s", file.c_str());
    }
  }
}
