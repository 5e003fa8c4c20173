// trusted_surroundings - where the program and all that it starts find libraries and programs that are named without a
// path: among the system's own, whatever lies beside the program, in the folder it was started from or along the PATH.
// Knows nothing of what is looked for.
#pragma once

#include <string>

// For the entry point, before anything else: libraries are loaded from the system folder alone, the current directory
// is the system folder, and the environment, which children get, says so too. SetDefaultDllDirectories,
// SetCurrentDirectoryW, SetEnvironmentVariableW.
void trustTheSystemFolderAlone();

// The full path of a program of the system folder. GetSystemDirectoryW.
std::wstring systemProgram(const std::wstring& fileName);
