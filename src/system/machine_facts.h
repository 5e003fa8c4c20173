// machine_facts - what kind of machine this is and where its Windows lies. Knows nothing of what follows from that.
#pragma once

#include <string>

// True when the system's product name contains "virtual" in any case. False when it cannot be read, or does not fit
// into 260 bytes. RegQueryValueExW.
bool IsVirtualMachine();

// The root of the drive that holds the system folder, with its backslash: "C:\". Logs the result. GetSystemDirectoryW.
std::wstring GetOSDrive();

enum class SafeMode { None, Minimal, Network };

// The mode that Windows was started in. Every kind of safe mode but the minimal one counts as the one with a network.
// GetSystemMetrics.
SafeMode currentSafeMode();
