// store_apps - removes store apps through PowerShell. Knows nothing of installer products.
#pragma once

#include <string>

// Removes every store app that the pattern names, for all users, and waits without a limit. The outcome is not looked
// at. A pattern that begins without a name is logged and not carried out. CreateProcessW.
void RemoveStoreApp(const std::wstring& packagePattern);
