#include "system/safe_boot.h"

#include <cwchar>
#include <string>

#include <windows.h>

#include "system/handles.h"
#include "system/log.h"
#include "system/process_launch.h"

namespace {

// GetSystemMetrics(SM_CLEANBOOT).
constexpr int kNormalBoot = 0;
constexpr int kMinimalSafeMode = 1;

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

// The service control manager starts in safe mode only what has such a key.
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
  const int boot = ::GetSystemMetrics(SM_CLEANBOOT);
  if (boot == kNormalBoot) {
    return;
  }
  LogDebug(service.startLine);
  enterIntoSafeBootList(boot == kMinimalSafeMode ? service.minimalKey : service.networkKey);
  // Whether the service has really started is not asked: the command's exit code says nothing to anyone.
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
