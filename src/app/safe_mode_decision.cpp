#include "app/safe_mode_decision.h"

#include <windows.h>

#include "system/log.h"
#include "system/machine_facts.h"
#include "ui/localised_strings.h"

namespace {

Start askUser() {
  switch (::MessageBoxW(nullptr,
                        userText(kCaptionSafeModeQuestion,
                                 L"ORV Cleanup Utility has detected that your system is not currently in safe mode. "
                                 L"Would you like to reboot and run in safe mode?")
                            .c_str(),
                        userText(kCaptionTitle, kDefaultTitle).c_str(),
                        MB_YESNO | MB_ICONINFORMATION | MB_DEFBUTTON2)) {
    case IDYES:
      return Start::InSafeMode;
    case IDNO:
      return Start::Here;
    default:
      return Start::NotAtAll;
  }
}

}  // namespace

Start chooseStart(const Switches& switches) {
  if (::GetSystemMetrics(SM_CLEANBOOT) != 0) {
    return Start::Here;
  }
  if (IsVirtualMachine()) {
    LogDebug(L"------------------ VM Detected -----------------");
    return Start::Here;
  }
  if (switches.safeModeRequested) {
    return Start::InSafeMode;
  }
  return switches.silent ? Start::Here : askUser();
}
