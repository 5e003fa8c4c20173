#include "app/vulkan_entries.h"

#include <cstdio>

#include <windows.h>

#include "system/file_operations.h"
#include "system/handles.h"
#include "system/log.h"

namespace {

constexpr wchar_t kDrivers[] = L"SOFTWARE\\Khronos\\Vulkan\\Drivers";
constexpr wchar_t kLayers[] = L"SOFTWARE\\Khronos\\Vulkan\\ImplicitLayers";
constexpr wchar_t kDrivers32[] = L"SOFTWARE\\WOW6432Node\\Khronos\\Vulkan\\Drivers";
constexpr wchar_t kLayers32[] = L"SOFTWARE\\WOW6432Node\\Khronos\\Vulkan\\ImplicitLayers";
constexpr wchar_t kFile64[] = L"orv-vulkan64.json";
constexpr wchar_t kFile32[] = L"orv-vulkan32.json";

constexpr DWORD kValueNameCharacters = 16383;

// The loader's value names are paths.
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
    // The index advances after a deletion too, and so skips the value that has moved up.
    const std::wstring name = buffer.substr(0, length);
    if (namesFile(name, fileName) && ::RegDeleteValueW(key.get(), name.c_str()) != ERROR_SUCCESS) {
      std::printf("RegDeleteKey error\n");
    }
  }
}

}  // namespace

VulkanTables::VulkanTables()
    : vulkanRegistryValues({{kDrivers, kFile64}, {kLayers, kFile64}, {kDrivers32, kFile32}, {kLayers32, kFile32}}),
      vulkanFiles({L"C:\\Windows\\System32\\orv-vulkan64.json", L"C:\\Windows\\System32\\orvvlk64.dll",
                   L"C:\\Windows\\SysWOW64\\orv-vulkan32.json", L"C:\\Windows\\SysWOW64\\orvvlk32.dll"}),
      vulkanRegistryValues32({{kDrivers, kFile32}, {kLayers, kFile32}}),
      vulkanFiles32({L"C:\\Windows\\System32\\orv-vulkan32.json", L"C:\\Windows\\System32\\orvvlk32.dll"}) {}

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
