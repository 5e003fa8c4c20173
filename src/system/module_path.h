// module_path - where the running program is. Knows nothing of what that is used for.
#pragma once

#include <string>

// The full path of the running program, whatever its length; empty when the call fails. GetModuleFileNameW.
std::wstring programPath();
