// update_check - keeps an interactive run from starting while Windows Update is running.
#pragma once

// Ends the process, after a message, while Windows Update is running. Throws what isWindowsUpdateRunning throws.
void checkWindowsUpdate();
