#include "app/update_check.h"

#include <cstdlib>

#include <windows.h>

#include "app/restore_point.h"
#include "system/windows_update.h"
#include "ui/localised_strings.h"

void checkWindowsUpdate() {
  // The question to WMI is the process's first call to another one, and would settle its security for the restore
  // point.
  prepareComSecurity();
  if (!isWindowsUpdateRunning()) {
    return;
  }
  ::MessageBoxW(nullptr,
                userText(kCaptionWindowsUpdate,
                         L"ORV Cleanup Utility cannot complete while Windows Update is running. Please finish or exit "
                         L"Windows Update and re-launch ORV Cleanup Utility.")
                    .c_str(),
                userText(kCaptionTitle, kDefaultTitle).c_str(), MB_ICONINFORMATION);
  std::exit(0);
}
