// windows_update - the two guards against Windows Update: whether its client is running, and the removal of the maker's
// driver packages from its download cache.
#pragma once

// True when a process whose name holds "wuauclt" is running. False also when WMI cannot be asked. Leaves the calling
// thread without a COM apartment. Throws _com_error when memory runs out.
bool isWindowsUpdateRunning();

// Deletes each file of the cache that is larger than 250,000,000 bytes and, as `expand` lists it, holds one of the
// maker's display drivers. A file that cannot be opened or deleted stays without a word. Throws
// std::filesystem::filesystem_error when the cache cannot be asked for or read.
void DeleteCachedWindowsUpdateDrivers();
