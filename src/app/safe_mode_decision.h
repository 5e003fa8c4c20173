// safe_mode_decision - whether a run happens here and now or in safe mode. Starts neither.
#pragma once

#include "app/command_line.h"

enum class Start {
  Here,
  InSafeMode,
  NotAtAll,  // the question was closed without an answer
};

// Here in safe mode, on a virtual machine and for a silent run that does not ask for safe mode; otherwise as the switch
// or the user says. GetSystemMetrics, MessageBoxW.
Start chooseStart(const Switches& switches);
