// vulkan_entries - takes the maker's entries out of the Vulkan loader's registration, and deletes their files.
#pragma once

#include <map>
#include <string>
#include <vector>

// Registry paths below HKEY_LOCAL_MACHINE whose values name a file of the loader, each with that file's name, and the
// files themselves.
struct VulkanTables {
  VulkanTables();
  std::map<std::wstring, std::wstring> vulkanRegistryValues;
  std::vector<std::wstring> vulkanFiles;
  // What the 32-bit loader would have in the places of the 64-bit one. Nothing reads these.
  std::map<std::wstring, std::wstring> vulkanRegistryValues32;
  std::vector<std::wstring> vulkanFiles32;
};

// For each registry path below HKEY_LOCAL_MACHINE deletes the values whose name is a path with a file name that begins
// with the mapped one, then deletes `files`. The value behind a deleted one is not looked at, since the index moves on:
// the sequence calls this twice and the second call finds what the first passed over.
void removeVulkanEntries(const std::map<std::wstring, std::wstring>& registryValues,
                         const std::vector<std::wstring>& files);
