#include "system/log.h"

#include <io.h>
#include <share.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <climits>
#include <cwchar>
#include <ctime>
#include <memory>
#include <mutex>
#include <unordered_map>

#include <windows.h>

#include <shlwapi.h>

namespace {

constexpr std::size_t kLineCharacters = 65536;
constexpr std::size_t kTimeStampCharacters = 16384;

const std::unordered_map<int, const wchar_t*>& levelNames() {
  static const std::unordered_map<int, const wchar_t*> names = {{0, L"DEBUG"}, {1, L"WARNING"}, {2, L"ERROR"}};
  return names;
}

// The runtime's own formatter, which reads %s as wide text; the compiler's replacements read it as narrow.
// `capacity` characters with the terminator; longer text is cut.
template <std::size_t capacity>
void formatInto(wchar_t (&buffer)[capacity], const wchar_t* format, va_list arguments) {
  buffer[capacity - 1] = L'\0';
  ::_vsnwprintf(buffer, capacity - 1, format, arguments);
}

template <std::size_t capacity>
void composeInto(wchar_t (&buffer)[capacity], const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  formatInto(buffer, format, arguments);
  va_end(arguments);
}

std::wstring timeStamp() {
  const std::time_t now = std::time(nullptr);
  const std::tm* local = std::localtime(&now);
  const std::tm time = local ? *local : std::tm{};
  auto text = std::make_unique<wchar_t[]>(kTimeStampCharacters);
  ::_snwprintf(text.get(), kTimeStampCharacters - 1, L"%04d%c%02d%c%02d-%02d%c%02d%c%02d", time.tm_year + 1900, L':',
               time.tm_mon + 1, L':', time.tm_mday, time.tm_hour, L':', time.tm_min, L':', time.tm_sec);
  return text.get();
}

// A line that was cut ends like any other: its last character gives way to the line feed.
template <std::size_t capacity>
void endLine(wchar_t (&line)[capacity]) {
  const std::size_t length = std::wcslen(line);
  if (length == 0 || line[length - 1] != L'\n') {
    const std::size_t end = std::min(length, capacity - 2);
    line[end] = L'\n';
    line[end + 1] = L'\0';
  }
}

// One character as the C locale writes it, and where that has none for it, as \u and four hexadecimal digits. The
// runtime's own writing of wide text would end the line there, without its line feed.
void appendNarrow(std::string& text, wchar_t unit) {
  if (unit < 0x80) {
    text += static_cast<char>(unit);
    return;
  }
  char bytes[MB_LEN_MAX];
  if (const int count = ::wctomb(bytes, unit); count > 0) {
    text.append(bytes, static_cast<std::size_t>(count));
    return;
  }
  constexpr char kDigits[] = "0123456789abcdef";
  text += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) {
    text += kDigits[unit >> shift & 0xF];
  }
}

// Opens the log when the program's static objects are made, before the entry point runs.
class LogFile {
 public:
  LogFile() {
    wchar_t path[MAX_PATH] = L"";
    ::GetTempPathW(MAX_PATH, path);
    ::CreateDirectoryW((std::wstring(path) + L"\\CleanUp").c_str(), nullptr);
    ::PathAppendW(path, L"\\CleanUp\\ORVCleanup.log");
    path_ = path;
    // Others may read the log while it is written, none may write to it.
    file_ = ::_wfsopen(path, L"w", _SH_DENYWR);
    if (file_) {
      // A program that is still at work when this one ends would keep the next run from writing its log.
      ::SetHandleInformation(reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(file_))), HANDLE_FLAG_INHERIT, 0);
      ::fwprintf(file_, L"Process Id:%d\n", static_cast<int>(::GetCurrentProcessId()));
      ::fflush(file_);
    }
  }

  ~LogFile() {
    if (file_) {
      ::fclose(file_);
      file_ = nullptr;
    }
  }

  void write(LogLevel level, const wchar_t* format, va_list arguments) {
    const std::lock_guard<std::mutex> guard(lock_);
    const std::wstring stamp = timeStamp();
    wchar_t message[kLineCharacters] = {};
    formatInto(message, format, arguments);
    wchar_t line[kLineCharacters] = {};
    composeInto(line, L"Thread Id:%d\t%s\t%s\t%s\n", static_cast<int>(::GetCurrentThreadId()), stamp.c_str(),
                levelNames().at(static_cast<int>(level)), message);
    endLine(line);
    if (file_) {
      bytes_.clear();
      for (const wchar_t* unit = line; *unit; ++unit) {
        appendNarrow(bytes_, *unit);
      }
      ::fwrite(bytes_.data(), 1, bytes_.size(), file_);  // in text mode: line feeds leave as CR LF
      ::fflush(file_);
    } else {
      ::OutputDebugStringW(line);
    }
  }

  const std::wstring& path() const { return path_; }

 private:
  FILE* file_ = nullptr;
  std::string bytes_;  // the line as the file gets it; kept for its room
  std::wstring path_;
  std::mutex lock_;
};

LogFile logFile;

}  // namespace

bool Logger::Write(LogLevel level, const wchar_t* format, va_list arguments) {
  logFile.write(level, format, arguments);
  return true;
}

const std::wstring& Logger::GetPath() {
  return logFile.path();
}

void LogDebug(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Logger::Write(LogLevel::Debug, format, arguments);
  va_end(arguments);
}

void LogError(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Logger::Write(LogLevel::Error, format, arguments);
  va_end(arguments);
}
