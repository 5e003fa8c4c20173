// store_apps - removes store apps through PowerShell, and runs the one scheduled task that must run before its removal.
#pragma once

#include <string>

// Removes every store app that the pattern names, for all users, and waits without a limit. The outcome is not looked
// at.
void RemoveStoreApp(const std::wstring& packagePattern);

// Starts the scheduled task ORVScoSupportTypeUpdate and waits for nothing.
void RunSupportTypeUpdateTask();
