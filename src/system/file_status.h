// file_status - asks whether something is there, and tells "no" from "cannot say".
#pragma once

#include <string>

// False when the system says that nothing is there. Throws std::filesystem::filesystem_error "exists" with the system's
// code when it cannot say. GetFileAttributesW.
bool fileExists(const std::wstring& path);
