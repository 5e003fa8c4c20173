// system_message - what the system itself says about an error code. Knows nothing of what has failed.
#pragma once

#include <string>
#include <system_error>

#include <windows.h>

// The system's text for a Win32 code, on one line; empty when it has none. FormatMessageW.
std::wstring systemMessage(DWORD code);

// The same of a failure of the file system, without blanks and line ends behind it.
std::wstring systemMessage(const std::error_code& error);
