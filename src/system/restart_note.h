// restart_note - the key by which a run tells other programs that a restart is needed. Knows nothing of why.
#pragma once

#include "system/registry.h"

// Creates or opens the volatile key ORVCleanupUtility below `parent`: it is gone after the next restart, and so is the
// need for one. Throws RegKeyError "Unable to get create registry key". RegCreateKeyExW.
RegistryKey CreateCleanupUtilityKey(HKEY parent);

// Writes the REG_DWORD value 1. Throws RegKeyError "Unable to write to registry for value = <name> data = 1.".
// RegSetValueExW.
void SetRegistryDwordOne(HKEY key, const wchar_t* valueName);
