#include "app/update_check.h"

#include <cstdlib>

#include <windows.h>

#include "app/restore_point.h"
#include "system/windows_update.h"
#include "ui/localised_strings.h"

void checkWindowsUpdate() {
  // Asking WMI is the first COM call of this process to another one and would set the default security, which does not
  // suit the restore point.
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
