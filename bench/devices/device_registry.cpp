#include "device_registry.h"

#include <cwchar>
#include <stdexcept>

namespace bench {

namespace {

void require(LSTATUS status, const std::wstring& key) {
  if (status != ERROR_SUCCESS) {
    std::string name;
    for (const wchar_t unit : key) {
      name += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    throw std::runtime_error("HKLM\\" + name + ": error " + std::to_string(status));
  }
}

RegistryKey openKey(const std::wstring& key, REGSAM access) {
  RegistryKey opened;
  ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, access, opened.put());
  return opened;
}

void writeValue(const std::wstring& key, const std::wstring& name, DWORD type, const void* data, size_t bytes) {
  require(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str(), type, data, static_cast<DWORD>(bytes)), key);
}

// The raw text of a value, including its terminators.
std::wstring readUnits(const std::wstring& key, const std::wstring& name, DWORD wantedType) {
  const RegistryKey opened = openKey(key, KEY_READ);
  DWORD type = 0;
  DWORD size = 0;
  if (!opened || ::RegQueryValueExW(opened.get(), name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
      type != wantedType) {
    return {};
  }
  std::wstring units(size / sizeof(wchar_t), L'\0');
  ::RegQueryValueExW(opened.get(), name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(units.data()), &size);
  return units;
}

// The names that RegEnumKeyExW or RegEnumValueW returns.
std::vector<std::wstring> namesIn(const std::wstring& key, const auto& enumerate) {
  std::vector<std::wstring> names;
  const RegistryKey opened = openKey(key, KEY_READ);
  wchar_t name[1024];
  for (DWORD index = 0, length = 1024;
       opened && enumerate(opened.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++index, length = 1024) {
    names.emplace_back(name, length);
  }
  return names;
}

std::wstring errorText(DWORD error) {
  wchar_t text[16];
  std::swprintf(text, 16, error < 0x10000 ? L"%lu" : L"0x%08lX", error);
  return text;
}

}  // namespace

bool keyExists(const std::wstring& key) {
  return static_cast<bool>(openKey(key, KEY_READ));
}

std::vector<std::wstring> subkeysOf(const std::wstring& key) {
  return namesIn(key, ::RegEnumKeyExW);
}

std::vector<std::wstring> valuesOf(const std::wstring& key) {
  return namesIn(key, ::RegEnumValueW);
}

std::wstring readText(const std::wstring& key, const std::wstring& name) {
  return readUnits(key, name, REG_SZ).c_str();
}

std::vector<std::wstring> readTexts(const std::wstring& key, const std::wstring& name) {
  std::vector<std::wstring> texts;
  std::wstring units = readUnits(key, name, REG_MULTI_SZ);
  units.append(2, L'\0');
  for (const wchar_t* text = units.c_str(); *text; text += texts.back().size() + 1) {
    texts.emplace_back(text);
  }
  return texts;
}

DWORD readNumber(const std::wstring& key, const std::wstring& name, DWORD absent) {
  DWORD number = 0;
  DWORD size = sizeof(number);
  return ::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str(), RRF_RT_REG_DWORD, nullptr, &number, &size) ==
                 ERROR_SUCCESS
             ? number
             : absent;
}

void makeKey(const std::wstring& key) {
  RegistryKey made;
  require(
      ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, made.put(), nullptr),
      key);
}

void writeText(const std::wstring& key, const std::wstring& name, const std::wstring& text) {
  writeValue(key, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

void writeTexts(const std::wstring& key, const std::wstring& name, const std::vector<std::wstring>& texts) {
  std::wstring units;
  for (const std::wstring& text : texts) {
    units += text;
    units += L'\0';
  }
  writeValue(key, name, REG_MULTI_SZ, units.c_str(), (units.size() + 1) * sizeof(wchar_t));
}

void writeNumber(const std::wstring& key, const std::wstring& name, DWORD number) {
  writeValue(key, name, REG_DWORD, &number, sizeof(number));
}

void deleteValue(const std::wstring& key, const std::wstring& name) {
  ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str());
}

void deleteTree(const std::wstring& key) {
  const LSTATUS status = ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
  if (status != ERROR_FILE_NOT_FOUND) {
    require(status, key);
  }
}

DWORD plannedFailure(const std::wstring& key, const std::wstring& call) {
  const std::wstring failures = key + L"\\Fail";
  const DWORD code = readNumber(failures, call);
  if (code == 0) {
    return 0;
  }
  const std::wstring times = call + L" times";
  if (const DWORD left = readNumber(failures, times); left > 1) {
    writeNumber(failures, times, left - 1);
  } else if (left == 1) {
    deleteValue(failures, times);
    deleteValue(failures, call);
  }
  return code;
}

void recordCall(const std::wstring& call, const std::wstring& what, DWORD error) {
  std::vector<std::wstring> calls = readTexts(kDevicesKey, L"Calls");
  calls.push_back(call + L" " + what + L" -> " + errorText(error));
  writeTexts(kDevicesKey, L"Calls", calls);
}

bool equalsNoCase(const std::wstring& left, const std::wstring& right) {
  return ::_wcsicmp(left.c_str(), right.c_str()) == 0;
}

}  // namespace bench
