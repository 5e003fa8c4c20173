#include "system/safe_boot.h"

#include <cwchar>
#include <string>

#include <windows.h>

#include "system/handles.h"
#include "system/log.h"
#include "system/machine_facts.h"
#include "system/process_launch.h"

namespace {

constexpr wchar_t kEntryText[] = L"Service";

struct SafeBootService {
  const wchar_t* minimalKey;
  const wchar_t* networkKey;
  const wchar_t* command;
  const wchar_t* startLine;
  const wchar_t* failureLine;
  const wchar_t* successLine;
};

constexpr SafeBootService kMsiServer = {
    L"SYSTEM\\CurrentControlSet\\Control\\SafeBoot\\Minimal\\MSIServer",
    L"SYSTEM\\CurrentControlSet\\Control\\SafeBoot\\Network\\MSIServer",
    L"net start msiserver",
    L"------------In Safe Mode, Starting MSI Server--------------",
    L"Couldn't start msiservice",
    L"------------Starting msiservice successful--------------",
};
constexpr SafeBootService kAppXSvc = {
    L"SYSTEM\\CurrentControlSet\\Control\\SafeBoot\\Minimal\\AppXSVC",
    L"SYSTEM\\CurrentControlSet\\Control\\SafeBoot\\Network\\AppXSVC",
    L"net start AppXSVC",
    L"------------In Safe Mode, Starting AppXSVC--------------",
    L"Couldn't start AppXSVC",
    L"------------Starting AppXSVC successful--------------",
};
constexpr SafeBootService kCamSvc = {
    L"SYSTEM\\CurrentControlSet\\Control\\SafeBoot\\Minimal\\camsvc",
    L"SYSTEM\\CurrentControlSet\\Control\\SafeBoot\\Network\\camsvc",
    L"net start camsvc",
    L"------------In Safe Mode, Starting camsvc--------------",
    L"Couldn't start camsvc",
    L"------------Starting camsvc successful--------------",
};

// In safe mode the service control manager starts only services that have such a key.
void enterIntoSafeBootList(const wchar_t* keyPath) {
  RegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, keyPath, 0, KEY_WRITE, key.put()) != ERROR_SUCCESS &&
      ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, keyPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.put(), nullptr) !=
          ERROR_SUCCESS) {
    return;
  }
  ::RegSetValueExW(key.get(), nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(kEntryText), sizeof(kEntryText));
}

void startInSafeMode(const SafeBootService& service) {
  const SafeMode mode = currentSafeMode();
  if (mode == SafeMode::None) {
    return;
  }
  LogDebug(service.startLine);
  enterIntoSafeBootList(mode == SafeMode::Minimal ? service.minimalKey : service.networkKey);
  // "Successful" means that the command could be run: its exit code is not looked at.
  LogDebug(RunInSystemShell(service.command) ? service.successLine : service.failureLine);
}

}  // namespace

void StartMsiServerInSafeMode() {
  startInSafeMode(kMsiServer);
}

void StartAppXSvcInSafeMode() {
  startInSafeMode(kAppXSvc);
}

void StartCamSvcInSafeMode() {
  startInSafeMode(kCamSvc);
}
