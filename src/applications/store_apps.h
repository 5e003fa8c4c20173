// store_apps - removes store apps through PowerShell. Knows nothing about installer products.
#pragma once

#include <string>

// Removes all store apps that match the pattern, for all users, and waits for as long as it takes. The outcome is
// ignored. A pattern that could match every app is logged and not carried out. CreateProcessW.
void RemoveStoreApp(const std::wstring& packagePattern);
