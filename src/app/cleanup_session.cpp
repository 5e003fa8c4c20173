#include "app/cleanup_session.h"

#include <exception>

#include <msi.h>

#include "app/safe_mode_decision.h"
#include "app/safe_mode_restart.h"
#include "app/update_check.h"
#include "resources/resource_ids.h"
#include "system/binary_resource.h"
#include "system/log.h"
#include "system/temporary_folder.h"

namespace {

constexpr wchar_t kWorkFolderName[] = L"CleanUp";
constexpr wchar_t kManifestFileName[] = L"ScrubList.JSON";

// The installer that starts the tool displays this value. The tool only ever sets it to zero, at the start, and does
// not create the key.
void resetProgressValue() {
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
  // Closed explicitly, because a failure is logged.
  if (::RegCloseKey(key.release()) != ERROR_SUCCESS) {
    LogError(L"Failed closing registry key of CleanUpProgressPercentage");
  }
}

}  // namespace

CleanupSession::CleanupSession(HINSTANCE moduleHandle, wchar_t* arguments, int showState)
    : scrubListData(&scrubList.data()),
      instance(moduleHandle),
      commandLine(arguments),
      showCommand(showState),
      uiLanguage(::GetUserDefaultUILanguage()) {
  // No installer action of this process shows any UI.
  ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);

  tempPath = temporaryFolder();
  resetProgressValue();
  workDirectory = tempPath + L'\\' + kWorkFolderName;

  const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, L"ORVCleanupUtility Instance");
  instanceError = ::GetLastError();
  instanceMutex.reset(mutex);
}

CleanupSession::~CleanupSession() {
  // First, so that a new instance can start while this one is still cleaning up.
  instanceMutex.reset();
}

void CleanupSession::parseCommandLine() {
  const CommandLine parsed = parseSwitches(commandLine);
  switches = parsed.switches;
  for (const wchar_t* line : parsed.logLines) {
    LogDebug(line);
  }
}

int CleanupSession::initializeWindow() {
  if (!createMainWindow(instance, switches.silent, mainWindow)) {
    return 0;
  }
  // From here on this string is the path of the manifest; nothing needs the folder itself any more.
  workDirectory += L'\\';
  workDirectory += kManifestFileName;
  // Kept open until it has been read: any program of the user can write to the work folder, and the document decides
  // what is removed.
  FileHandle document;
  extractBinaryResource(instance, IDR_SCRUB_LIST, workDirectory, &document);
  LogDebug(L"PKMCONFIG JSON Path is: %s", workDirectory.c_str());
  LogDebug(L"------------------Parsing JSON -----------------");
  scrubList.parseScrubList(switches.factoryReset, document.get());
  return 1;
}

int CleanupSession::decideAndStart() {
  switch (chooseStart(switches)) {
    case Start::Here:
      runCleanupSequence();
      break;
    case Start::InSafeMode:
      // No quit message is posted: the run loop waits until the system ends the process.
      rebootIntoSafeMode(scrubListData->ScheduledTasks);
      break;
    case Start::NotAtAll:
      break;
  }
  return 1;
}

int CleanupSession::run() {
  quitRequested = false;
  int result = 0;
  if (!switches.silent) {
    checkWindowsUpdate();
  }
  try {
    if (initializeWindow() == 0) {
      return 0;
    }
    driverSearch = disableDriverSearch();
    decideAndStart();
    if (quitRequested) {
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
      if (!::TranslateAcceleratorW(message.hwnd, mainWindow.accelerators, &message) &&
          !::IsDialogMessageW(finishDialog, &message)) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
      }
    }
    result = static_cast<int>(message.wParam);
  } catch (const std::exception& failure) {
    // The run ends here. The remaining stages are skipped, and the log says why.
    LogDebug(L"CleanUp:: %hs", failure.what());
  }
  return result;
}
