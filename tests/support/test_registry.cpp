#include "support/test_registry.h"

#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "system/handles.h"

namespace {

// Parses registry paths independently of the product, so that a mistake there is not hidden.
std::pair<HKEY, std::wstring> splitPath(const std::wstring& path) {
  static const std::pair<const wchar_t*, HKEY> roots[] = {
      {L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},     {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
      {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},   {L"HKEY_USERS", HKEY_USERS},
      {L"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
  };
  const std::size_t backslash = path.find(L'\\');
  for (const auto& [name, root] : roots) {
    if (path.substr(0, backslash) == name) {
      return {root, backslash == std::wstring::npos ? std::wstring() : path.substr(backslash + 1)};
    }
  }
  throw std::invalid_argument("a test names a registry root that does not exist");
}

void require(LSTATUS status, const char* call) {
  if (status != ERROR_SUCCESS) {
    throw std::system_error(static_cast<int>(status), std::system_category(), call);
  }
}

RegistryKey createKey(const std::wstring& path) {
  const auto [root, subkey] = splitPath(path);
  RegistryKey key;
  require(::RegCreateKeyExW(root, subkey.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.put(), nullptr),
          "RegCreateKeyExW");
  return key;
}

// Empty if there is no such key.
RegistryKey openKey(const std::wstring& path) {
  const auto [root, subkey] = splitPath(path);
  RegistryKey key;
  if (::RegOpenKeyExW(root, subkey.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
    key.release();
  }
  return key;
}

void plantValue(const std::wstring& path, const std::wstring& name, DWORD type, const void* data, std::size_t size) {
  const RegistryKey key = createKey(path);
  require(::RegSetValueExW(key.get(), name.c_str(), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size)),
          "RegSetValueExW");
}

}  // namespace

void plantKey(const std::wstring& path) {
  createKey(path);
}

void plantString(const std::wstring& path, const std::wstring& name, const std::wstring& text, DWORD type) {
  plantValue(path, name, type, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

void plantDword(const std::wstring& path, const std::wstring& name, DWORD number) {
  plantValue(path, name, REG_DWORD, &number, sizeof(number));
}

void plantBinary(const std::wstring& path, const std::wstring& name, DWORD type, const std::vector<BYTE>& data) {
  plantValue(path, name, type, data.data(), data.size());
}

bool keyExists(const std::wstring& path) {
  return static_cast<bool>(openKey(path));
}

bool valueExists(const std::wstring& path, const std::wstring& name) {
  const RegistryKey key = openKey(path);
  return key && ::RegQueryValueExW(key.get(), name.c_str(), nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

std::optional<std::wstring> readString(const std::wstring& path, const std::wstring& name) {
  const RegistryKey key = openKey(path);
  DWORD type = 0;
  DWORD size = 0;
  if (!key || ::RegQueryValueExW(key.get(), name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
      (type != REG_SZ && type != REG_EXPAND_SZ && type != REG_MULTI_SZ)) {
    return std::nullopt;
  }
  std::wstring text(size / sizeof(wchar_t), L'\0');
  require(::RegQueryValueExW(key.get(), name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(text.data()), &size),
          "RegQueryValueExW");
  if (!text.empty() && text.back() == L'\0') {
    text.pop_back();
  }
  return text;
}

std::optional<DWORD> readDword(const std::wstring& path, const std::wstring& name) {
  const RegistryKey key = openKey(path);
  DWORD type = 0;
  DWORD number = 0;
  DWORD size = sizeof(number);
  if (!key ||
      ::RegQueryValueExW(key.get(), name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&number), &size) !=
          ERROR_SUCCESS ||
      type != REG_DWORD) {
    return std::nullopt;
  }
  return number;
}

void removeKey(const std::wstring& path) {
  const auto [root, subkey] = splitPath(path);
  if (subkey.empty()) {
    throw std::invalid_argument("a test wants to remove a whole registry root");
  }
  const LSTATUS status = ::RegDeleteTreeW(root, subkey.c_str());
  if (status != ERROR_FILE_NOT_FOUND) {
    require(status, "RegDeleteTreeW");
  }
}
