#include "app/driver_search.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "system/handles.h"
#include "system/log.h"

namespace {

constexpr wchar_t kDriverSearchingKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\DriverSearching";
constexpr wchar_t kSearchOrder[] = L"SearchOrderConfig";
constexpr wchar_t kDontSearch[] = L"DontSearchWindowsUpdate";

constexpr DWORD kSearchOff = 0;
constexpr DWORD kDontSearchOn = 1;

// Each setting is read and written twice, opening the key again: the first read only returns the size.
constexpr int kPasses = 2;

bool isWindows7OrLater() {
  OSVERSIONINFOEXW version = {};
  version.dwOSVersionInfoSize = sizeof(version);
  version.dwMajorVersion = 6;
  version.dwMinorVersion = 1;
  DWORDLONG condition = 0;
  for (const DWORD part : std::initializer_list<DWORD>{VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR}) {
    condition = ::VerSetConditionMask(condition, part, VER_GREATER_EQUAL);
  }
  return ::VerifyVersionInfoW(&version, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR, condition) != FALSE;
}

// Empty when the value does not exist or is not a REG_DWORD.
std::optional<DWORD> readSetting(const wchar_t* name) {
  std::optional<DWORD> value;
  DWORD size = 0;
  for (int pass = 0; pass < kPasses; ++pass) {
    RegistryKey key;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kDriverSearchingKey, 0, KEY_QUERY_VALUE, key.put()) != ERROR_SUCCESS) {
      continue;
    }
    std::vector<BYTE> data(std::max<std::size_t>(size, sizeof(DWORD)));
    DWORD type = REG_NONE;
    if (::RegQueryValueExW(key.get(), name, nullptr, &type, data.data(), &size) == ERROR_SUCCESS && type == REG_DWORD) {
      DWORD number = 0;
      std::memcpy(&number, data.data(), sizeof(number));
      value = number;
    }
  }
  return value;
}

bool writeSetting(const wchar_t* name, DWORD value) {
  bool written = false;
  for (int pass = 0; pass < kPasses; ++pass) {
    RegistryKey key;
    if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kDriverSearchingKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.put(),
                          nullptr) == ERROR_SUCCESS &&
        ::RegSetValueExW(key.get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value)) ==
            ERROR_SUCCESS) {
      written = true;
    }
  }
  if (!written) {
    LogDebug(L"PrecheckSystem : Failed to set key");
  }
  return written;
}

// Reads one setting and, unless the search is off already, switches it off. Returns the old value if it was changed.
std::optional<DWORD> switchOff(const wchar_t* readName, DWORD off) {
  const std::optional<DWORD> value = readSetting(readName);
  return value && *value != off && writeSetting(kSearchOrder, off) ? value : std::nullopt;
}

}  // namespace

SavedDriverSearch disableDriverSearch() {
  SavedDriverSearch saved;
  if (isWindows7OrLater()) {
    saved.savedSearchOrderConfig = switchOff(kSearchOrder, kSearchOff);
  } else {
    // Reads the old setting but writes the new one, which these systems understand too.
    saved.savedDontSearchWindowsUpdate = switchOff(kDontSearch, kDontSearchOn);
  }
  return saved;
}

void restoreDriverSearch(const SavedDriverSearch& saved) {
  if (saved.savedSearchOrderConfig) {
    writeSetting(kSearchOrder, *saved.savedSearchOrderConfig);
  }
  if (saved.savedDontSearchWindowsUpdate) {
    writeSetting(kDontSearch, *saved.savedDontSearchWindowsUpdate);
  }
}
