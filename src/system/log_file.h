// log_file - the log of a run, ORVCleanup.log in the folder CleanUp below the user's temporary folder. It is open and
// installed as the sink of all lines before wWinMain starts, and every line is flushed. Knows nothing of what is
// logged.
#pragma once

#include <string>

#include "system/log.h"

class Logger {
 public:
  // Writes one line (see LogLine). When the file could not be opened, the line goes to OutputDebugStringW instead.
  // Callable from any thread; lines never mix. Returns true always; throws std::system_error when the lock fails.
  static bool Write(LogLevel level, const wchar_t* format, va_list arguments);

  // The full path of the log file, also when it could not be opened.
  static const std::wstring& GetPath();
};
