// update_check - keeps an interactive run from beginning while Windows Update is at work.
#pragma once

// Ends the process, after a message, while Windows Update is running. Throws what isWindowsUpdateRunning throws.
void checkWindowsUpdate();
