#include "app/cleanup_session.h"

#include <exception>

#include <msi.h>

#include "system/log.h"
#include "system/registry.h"
#include "system/temporary_folder.h"

std::int32_t quitRequested = 0;
bool rebootAfterRun = false;

namespace {

constexpr wchar_t kWorkFolderName[] = L"CleanUp";

constexpr wchar_t kVulkanDrivers[] = L"SOFTWARE\\Khronos\\Vulkan\\Drivers";
constexpr wchar_t kVulkanLayers[] = L"SOFTWARE\\Khronos\\Vulkan\\ImplicitLayers";
constexpr wchar_t kVulkanDrivers32[] = L"SOFTWARE\\WOW6432Node\\Khronos\\Vulkan\\Drivers";
constexpr wchar_t kVulkanLayers32[] = L"SOFTWARE\\WOW6432Node\\Khronos\\Vulkan\\ImplicitLayers";
constexpr wchar_t kVulkanFile64[] = L"orv-vulkan64.json";
constexpr wchar_t kVulkanFile32[] = L"orv-vulkan32.json";

}  // namespace

CleanupSession::CleanupSession(HINSTANCE moduleHandle, wchar_t* arguments, int showState)
    : scrubListData(&scrubList.data()),
      instance(moduleHandle),
      commandLine(arguments),
      showCommand(showState),
      uiLanguage(::GetUserDefaultUILanguage()),
      vulkanRegistryValues({{kVulkanDrivers, kVulkanFile64},
                            {kVulkanLayers, kVulkanFile64},
                            {kVulkanDrivers32, kVulkanFile32},
                            {kVulkanLayers32, kVulkanFile32}}),
      vulkanFiles({L"C:\\Windows\\System32\\orv-vulkan64.json", L"C:\\Windows\\System32\\orvvlk64.dll",
                   L"C:\\Windows\\SysWOW64\\orv-vulkan32.json", L"C:\\Windows\\SysWOW64\\orvvlk32.dll"}),
      vulkanRegistryValues32({{kVulkanDrivers, kVulkanFile32}, {kVulkanLayers, kVulkanFile32}}),
      vulkanFiles32({L"C:\\Windows\\System32\\orv-vulkan32.json", L"C:\\Windows\\System32\\orvvlk32.dll"}) {
  // Every installer action of the process is silent.
  ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);

  tempPath = temporaryFolder();
  resetProgressValue();
  workDirectory = tempPath + L'\\' + kWorkFolderName;

  const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, L"ORVCleanupUtility Instance");
  instanceError = ::GetLastError();
  instanceMutex.reset(mutex);
}

CleanupSession::~CleanupSession() {
  // First of all, so that the next instance finds none while this one tidies up.
  instanceMutex.reset();
}

// The installer that starts the tool shows this value. Zero at the start is all that it ever gets from here, and a
// machine without the key is left without it.
void CleanupSession::resetProgressValue() {
  constexpr DWORD kProgress = 0;
  RegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\QBX Installer\\Install\\Cleanup", 0, KEY_ALL_ACCESS, key.put()) !=
      ERROR_SUCCESS) {
    LogError(L"Failed Opening Registry Key of CleanUpProgressPercentage registry value");
    return;
  }
  if (::RegSetValueExW(key.get(), L"ProgressPercentage", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&kProgress),
                       sizeof(kProgress)) != ERROR_SUCCESS) {
    LogError(L"Failed Setting CleanUpProgressPercentage");
  } else {
    LogError(L"Setting CleanUpProgressPercentage - %d", kProgress);
  }
  // Closed by hand, since its failure is told.
  if (::RegCloseKey(key.release()) != ERROR_SUCCESS) {
    LogError(L"Failed closing registry key of CleanUpProgressPercentage");
  }
}

int CleanupSession::run() {
  quitRequested = 0;
  int result = 0;
  if (!silent) {
    checkWindowsUpdate();
  }
  try {
    if (initializeWindow() == 0) {
      return 0;
    }
    disableDriverSearch();
    decideAndStart();
    if (quitRequested != 0) {
      ::PostQuitMessage(0);
    }
    MSG message = {};
    for (;;) {
      const BOOL received = ::GetMessageW(&message, nullptr, 0, 0);
      if (received == -1) {
        return -1;
      }
      if (received == 0) {
        break;
      }
      if (!::TranslateAcceleratorW(message.hwnd, accelerators, &message) &&
          !::IsDialogMessageW(finishDialog, &message)) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
      }
    }
    result = static_cast<int>(message.wParam);
  } catch (const std::exception& failure) {
    // Ends the run: what the sequence had not come to yet stays undone, and the log says why.
    LogDebug(L"CleanUp:: %hs", failure.what());
  }
  return result;
}
