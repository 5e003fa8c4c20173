// module_path - where the running program lies. Knows nothing of what is done with that.
#pragma once

#include <string>

// The full path of the running program, whatever its length; empty when Windows does not tell. GetModuleFileNameW.
std::wstring programPath();
