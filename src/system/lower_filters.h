// lower_filters - whether devices of a tree have lower filter drivers. Knows nothing of what follows from that.
#pragma once

#include <string>

// True when the key (a subkey of HKEY_LOCAL_MACHINE with a backslash at its end) has a REG_MULTI_SZ value named exactly
// LowerFilters. The keys below it are read to the end of the tree, but what they hold decides nothing.
bool HasLowerFilters(const std::wstring& path);
