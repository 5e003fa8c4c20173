#include "system/machine_facts.h"

#include <windows.h>

#include "system/handles.h"
#include "system/log.h"
#include "system/text_case.h"

namespace {

// A longer product name counts as unreadable.
constexpr DWORD kProductNameBytes = 260;

}  // namespace

bool IsVirtualMachine() {
  RegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\SystemInformation", 0, KEY_ALL_ACCESS,
                      key.put()) != ERROR_SUCCESS) {
    return false;
  }
  wchar_t product[MAX_PATH] = {};
  DWORD type = REG_SZ;
  DWORD size = kProductNameBytes;
  if (::RegQueryValueExW(key.get(), L"SystemProductName", nullptr, &type, reinterpret_cast<BYTE*>(product), &size) !=
      ERROR_SUCCESS) {
    return false;
  }
  return toLower(product).find(L"virtual") != std::wstring::npos;
}

std::wstring GetOSDrive() {
  std::wstring drive;
  try {
    wchar_t buffer[MAX_PATH] = {};
    ::GetSystemDirectoryW(buffer, 255);
    drive = buffer;
    drive = drive.substr(0, drive.find(L'\\') + 1);
    LogDebug(L"CommonHelperUtilities::GetOSDrive: %s", drive.c_str());
  } catch (...) {
    // The callers go on with what there is.
    LogError(L"Exception - CommonHelperUtilities::GetOSDrive - Inside Catch with error code: %d", ::GetLastError());
  }
  return drive;
}

SafeMode currentSafeMode() {
  switch (::GetSystemMetrics(SM_CLEANBOOT)) {
    case 0:
      return SafeMode::None;
    case 1:
      return SafeMode::Minimal;
    default:
      return SafeMode::Network;
  }
}
