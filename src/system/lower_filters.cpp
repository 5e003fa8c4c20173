#include "system/lower_filters.h"

#include <string_view>
#include <utility>
#include <vector>

#include <windows.h>

#include "system/handles.h"

namespace {

constexpr DWORD kKeyNameCharacters = 256;
constexpr DWORD kValueNameCharacters = 16384;

}  // namespace

bool HasLowerFilters(const std::wstring& path) {
  // What is found below the start key never reaches the caller, but the tree is read to its end.
  std::vector<std::wstring> way = {path};
  std::vector<wchar_t> valueName(kValueNameCharacters);
  for (std::size_t visited = 0; !way.empty(); ++visited) {
    const std::wstring current = std::move(way.back());
    way.pop_back();
    RegistryKey key;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, current.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
      continue;
    }
    DWORD subkeys = 0;
    DWORD values = 0;
    ::RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr, nullptr,
                       nullptr, nullptr);
    bool found = false;
    for (DWORD index = 0; index < values && !found; ++index) {
      DWORD length = kValueNameCharacters - 1;
      DWORD type = REG_NONE;
      found = ::RegEnumValueW(key.get(), index, valueName.data(), &length, nullptr, &type, nullptr, nullptr) ==
                  ERROR_SUCCESS &&
              type == REG_MULTI_SZ && std::wstring_view(valueName.data()) == L"LowerFilters";
    }
    if (found && visited == 0) {
      return true;
    }
    for (DWORD index = 0; index < subkeys && !found; ++index) {
      wchar_t name[kKeyNameCharacters] = {};
      DWORD length = kKeyNameCharacters - 1;
      if (::RegEnumKeyExW(key.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
        way.push_back(current + name + L'\\');
      }
    }
  }
  return false;
}
