// safe_mode_decision - whether the sequence runs in place.

#include <windows.h>

#include "app/cleanup_session.h"
#include "system/log.h"
#include "system/registry.h"

int CleanupSession::decideAndStart() {
  if (::GetSystemMetrics(SM_CLEANBOOT) != 0) {
    runCleanupSequence();
    return 1;
  }
  if (IsVirtualMachine()) {
    LogDebug(L"------------------ VM Detected -----------------");
    runCleanupSequence();
    return 1;
  }
  if (safeModeRequested) {
    // Who asks for safe mode must not get a run outside it.
    LogError(L"The restart into safe mode is not part of this version, nothing was removed");
    quitRequested = 1;
    return 1;
  }
  runCleanupSequence();
  return 1;
}
