// trusted_surroundings - has the program and everything that it starts find libraries and programs named without a path
// in the system folder, whatever lies beside the program, in the current directory or on the PATH. Knows nothing of
// what is looked for.
#pragma once

#include <string>

// Called first in the entry point. Limits the search for libraries to the system folder, makes it the current
// directory, and resets the environment variables by which child processes search. SetDefaultDllDirectories,
// SetCurrentDirectoryW, SetEnvironmentVariableW.
void trustTheSystemFolderAlone();

// The full path of a program in the system folder. GetSystemDirectoryW.
std::wstring systemProgram(const std::wstring& fileName);
