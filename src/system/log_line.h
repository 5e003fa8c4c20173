// log_line - composes the lines of the log as text and as the bytes of its file. Knows no file and no lock: one thread
// at a time uses an object of these.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <ctime>
#include <string>

#include "system/log.h"

// The local time as the lines show it: "2026:11:14-12:09:34". It is worked out again only when a second has passed.
class LogTimeStamp {
 public:
  const wchar_t* now();

 private:
  static constexpr std::size_t kCharacters = 64;

  std::time_t second_ = 0;
  wchar_t text_[kCharacters] = {};
};

// The buffer in which lines are composed. It is large and hardly ever full, so only the part that a line has used is
// cleared for the next one.
class LogLine {
 public:
  // "Thread Id:<id>\t<stamp>\t<level>\t<message>\n". The message is cut at 65,535 characters, and so is the whole line;
  // the line feed stands last all the same. The text is valid until the next call. Throws std::out_of_range for a level
  // that has no name.
  const wchar_t* compose(const wchar_t* stamp, LogLevel level, const wchar_t* format, va_list arguments);

 private:
  static constexpr std::size_t kCharacters = 65536;  // with the terminator

  wchar_t text_[kCharacters] = {};
  std::size_t used_ = 0;  // every character from here on is zero
};

// Appends a line as the C locale writes it. A character that the locale does not have is written as \u and four
// hexadecimal digits.
void appendLogBytes(std::string& bytes, const wchar_t* line);
