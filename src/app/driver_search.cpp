// driver_search - switches the system's search for drivers off for the run, so that Windows does not bring back what is
// being removed, and puts the setting back afterwards.

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <vector>

#include <windows.h>

#include "app/cleanup_session.h"
#include "system/log.h"

namespace {

constexpr wchar_t kDriverSearchingKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\DriverSearching";
constexpr wchar_t kSearchOrder[] = L"SearchOrderConfig";
constexpr wchar_t kDontSearch[] = L"DontSearchWindowsUpdate";

constexpr DWORD kSearchOff = 0;
constexpr DWORD kDontSearchOn = 1;

// Each setting is read and written twice over, with a key opened anew: the first reading only learns the size.
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

// True when the value is there as a number.
bool readSetting(const wchar_t* name, DWORD* value) {
  bool found = false;
  DWORD size = 0;
  for (int pass = 0; pass < kPasses; ++pass) {
    RegistryKey key;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kDriverSearchingKey, 0, KEY_QUERY_VALUE, key.put()) != ERROR_SUCCESS) {
      continue;
    }
    std::vector<BYTE> data(std::max<std::size_t>(size, sizeof(*value)));
    DWORD type = REG_NONE;
    if (::RegQueryValueExW(key.get(), name, nullptr, &type, data.data(), &size) == ERROR_SUCCESS && type == REG_DWORD) {
      std::memcpy(value, data.data(), sizeof(*value));
      found = true;
    }
  }
  return found;
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

// Reads one setting and, unless it says so already, switches the search off. What was read is kept for later.
void switchOff(const wchar_t* readName, DWORD alreadyOff, DWORD off, std::uint32_t* saved, bool* isSaved) {
  DWORD value = 0;
  if (!readSetting(readName, &value) || value == alreadyOff) {
    return;
  }
  if (writeSetting(kSearchOrder, off)) {
    *saved = value;
    *isSaved = true;
  }
}

}  // namespace

void CleanupSession::disableDriverSearch() {
  if (isWindows7OrLater()) {
    switchOff(kSearchOrder, kSearchOff, kSearchOff, &savedSearchOrderConfig, &searchOrderConfigSaved);
  } else {
    // The older setting is read and the newer one written: those systems take it as well.
    switchOff(kDontSearch, kDontSearchOn, kDontSearchOn, &savedDontSearchWindowsUpdate, &dontSearchWindowsUpdateSaved);
  }
}

void CleanupSession::restoreDriverSearch() {
  if (searchOrderConfigSaved) {
    writeSetting(kSearchOrder, savedSearchOrderConfig);
  }
  if (dontSearchWindowsUpdateSaved) {
    writeSetting(kDontSearch, savedDontSearchWindowsUpdate);
  }
}
