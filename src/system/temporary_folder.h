// temporary_folder - where a run keeps what nobody needs for long. Knows nothing of what lies there.
#pragma once

#include <string>

// The user's temporary folder, with a backslash at its end. Empty when there is none, or when its path takes 260
// characters or more: a name that is put behind an empty text means a file of the current folder, so whoever deletes or
// runs something there has to ask first. GetTempPathW.
std::wstring temporaryFolder();
