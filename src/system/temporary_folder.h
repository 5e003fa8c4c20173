// temporary_folder - where the user's temporary files are kept. Creates nothing and knows nothing of what is there.
#pragma once

#include <string>

// The user's temporary folder, with a backslash at its end. Empty when there is none, or when its path has 260
// characters or more. Callers must check for that: a name appended to an empty path would be a file in the current
// directory. GetTempPathW.
std::wstring temporaryFolder();
