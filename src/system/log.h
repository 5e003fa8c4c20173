// log - the one text log of a run, ORVCleanup.log in the folder CleanUp below the user's temporary folder.
// The file is open before wWinMain starts and every line is flushed. Knows no other module.
//
// The formats are those of the Microsoft runtime's wide functions: %s and %ls take wide text, %hs narrow text, %d a
// 32-bit integer.
#pragma once

#include <cstdarg>
#include <string>

enum class LogLevel : int {
  Debug = 0,
  Warning = 1,  // has a name in the file and no caller
  Error = 2,
};

class Logger {
 public:
  // Writes one line "Thread Id:<id>\t<time stamp>\t<level>\t<message>". The message is cut at 65,535 characters, and so
  // is the whole line with its end, which no line lacks. A character that the C locale cannot hold stands as \u and
  // four hexadecimal digits. When the file could not be opened the line goes to OutputDebugStringW instead. Callable
  // from any thread; whole lines never mix. Returns true always; throws std::system_error when the lock fails.
  static bool Write(LogLevel level, const wchar_t* format, va_list arguments);

  // The full path of the log file, also when it could not be opened.
  static const std::wstring& GetPath();
};

// One line at level DEBUG.
void LogDebug(const wchar_t* format, ...);
// One line at level ERROR.
void LogError(const wchar_t* format, ...);
