#include "system/registry.h"

#include <algorithm>
#include <array>

namespace {

struct RootKey {
  std::wstring_view name;
  HKEY handle;
};

const std::array<RootKey, 5> kRootKeys = {{
    {L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
    {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
    {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
    {L"HKEY_USERS", HKEY_USERS},
    {L"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
}};

// Strings are read into 260 bytes, terminator included; a longer value counts as unreadable.
constexpr DWORD kStringBufferBytes = 260;

// `enumerate` is RegEnumKeyExW or RegEnumValueW, whose first four arguments are the same; only names are asked for.
std::vector<std::wstring> listNames(HKEY key, LSTATUS queried, DWORD count, DWORD longestName, auto enumerate) {
  if (queried != ERROR_SUCCESS) {
    throw RegKeyError(queried, "Unable to get query key information");
  }
  ++longestName;  // the terminator
  std::vector<std::wstring> names;
  names.reserve(count);
  for (DWORD index = 0; index < count; ++index) {
    std::wstring name(longestName, L'\0');
    DWORD length = longestName;
    const LSTATUS status = enumerate(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS) {
      throw RegKeyError(status, "Unable to get enumerate subkeys");
    }
    name.resize(length);
    names.push_back(std::move(name));
  }
  return names;
}

}  // namespace

RegKeyError::RegKeyError(LSTATUS status, const char* text)
    : std::system_error(static_cast<int>(status), std::system_category(), text) {}

HKEY ParseRootKey(std::wstring_view rootName) {
  const auto root = std::find_if(kRootKeys.begin(), kRootKeys.end(),
                                 [rootName](const RootKey& candidate) { return candidate.name == rootName; });
  return root == kRootKeys.end() ? nullptr : root->handle;
}

std::wstring_view RootKeyName(HKEY root) {
  const auto found = std::find_if(kRootKeys.begin(), kRootKeys.end(),
                                  [root](const RootKey& candidate) { return candidate.handle == root; });
  return found == kRootKeys.end() ? std::wstring_view() : found->name;
}

std::pair<std::wstring, std::wstring> splitRegistryPath(std::wstring_view path) {
  const std::size_t backslash = path.find(L'\\');
  if (backslash == std::wstring_view::npos) {
    return {std::wstring(path), std::wstring(path)};
  }
  return {std::wstring(path.substr(0, backslash)), std::wstring(path.substr(backslash + 1))};
}

RegistryKey OpenRegistryKey(HKEY root, const wchar_t* subkey, REGSAM access) {
  RegistryKey key;
  const LSTATUS status = ::RegOpenKeyExW(root, subkey, 0, access, key.put());
  if (status != ERROR_SUCCESS) {
    throw RegKeyError(status, "Unable to open registry key");
  }
  return key;
}

RegistryKey OpenRegistryKey(HKEY root, std::wstring subkey, REGSAM access) {
  return OpenRegistryKey(root, subkey.c_str(), access);
}

std::wstring GetRegistryString(HKEY key, const wchar_t* subkey, const wchar_t* valueName) {
  wchar_t buffer[kStringBufferBytes / sizeof(wchar_t)] = {};
  DWORD size = kStringBufferBytes;
  const LSTATUS status = ::RegGetValueW(key, subkey, valueName, RRF_RT_REG_SZ, nullptr, buffer, &size);
  if (status != ERROR_SUCCESS) {
    throw RegKeyError(status, "Unable to get registry value");
  }
  return buffer;
}

std::vector<std::wstring> EnumerateSubkeys(HKEY key) {
  DWORD count = 0;
  DWORD longestName = 0;
  const LSTATUS status = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &count, &longestName, nullptr, nullptr,
                                            nullptr, nullptr, nullptr, nullptr);
  return listNames(key, status, count, longestName, ::RegEnumKeyExW);
}

std::vector<std::wstring> ListValueNames(HKEY key) {
  DWORD count = 0;
  DWORD longestName = 0;
  const LSTATUS status = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count,
                                            &longestName, nullptr, nullptr, nullptr);
  return listNames(key, status, count, longestName, ::RegEnumValueW);
}
