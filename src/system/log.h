// log - the functions by which all code writes to the text log of a run. Knows no file: each line goes to the sink that
// the program has installed, and nowhere in a program that has none.
//
// The formats are those of the Microsoft runtime's wide functions: %s and %ls take wide text, %hs narrow text, %d a
// 32-bit integer.
#pragma once

#include <cstdarg>

enum class LogLevel : int {
  Debug = 0,
  Warning = 1,  // has a name in the file and no caller
  Error = 2,
};

// What takes a line: its level, its format and the arguments behind that. Called from any thread.
using LogSink = bool (*)(LogLevel level, const wchar_t* format, va_list arguments);

// Sends all further lines to `sink`; null drops them. To be called before other threads log.
void setLogSink(LogSink sink);

// One line at level DEBUG. Throws what the sink throws.
void LogDebug(const wchar_t* format, ...);
// One line at level ERROR. Throws what the sink throws.
void LogError(const wchar_t* format, ...);
