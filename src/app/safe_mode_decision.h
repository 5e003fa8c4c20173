// safe_mode_decision - decides whether a run starts right away or in safe mode. Starts neither.
#pragma once

#include "app/command_line.h"

enum class Start {
  Here,
  InSafeMode,
  NotAtAll,  // the user closed the question without an answer
};

// Right away when Windows is in safe mode already, on a virtual machine, and for a silent run without the switch for
// safe mode; otherwise as the switch or the user says. GetSystemMetrics, MessageBoxW.
Start chooseStart(const Switches& switches);
