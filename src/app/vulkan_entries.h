// vulkan_entries - removes the maker's entries from the Vulkan loader's registration and deletes their files. Lists no
// failures.
#pragma once

#include <map>
#include <string>
#include <vector>

// Registry keys below HKEY_LOCAL_MACHINE whose value names are paths of the loader's files, each with the file name to
// look for, and the files to delete.
struct VulkanTables {
  VulkanTables();
  std::map<std::wstring, std::wstring> vulkanRegistryValues;
  std::vector<std::wstring> vulkanFiles;
  // The 32-bit files in the places of the 64-bit ones. Nothing reads these.
  std::map<std::wstring, std::wstring> vulkanRegistryValues32;
  std::vector<std::wstring> vulkanFiles32;
};

// Deletes, in each of the keys, the values whose name is a path with a file name that begins with the given one, then
// deletes `files`. The value after a deleted one is skipped, because the index advances all the same; the sequence
// calls this twice, and the second call catches what the first has skipped.
void removeVulkanEntries(const std::map<std::wstring, std::wstring>& registryValues,
                         const std::vector<std::wstring>& files);
