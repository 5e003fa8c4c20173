// windows_update - whether the client of Windows Update is running. Knows nothing of what follows from that.
#pragma once

// True when a process is running whose name contains "wuauclt". False also when WMI cannot be asked. Leaves the calling
// thread without a COM apartment. Throws _com_error when memory runs out.
bool isWindowsUpdateRunning();
