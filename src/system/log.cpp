#include "system/log.h"

#include <share.h>
#include <stdio.h>

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
    if (file_) {
      // Text mode and the C locale: line feeds leave as CR LF, and a character that the locale cannot hold ends the
      // output of its line.
      ::fputws(line, file_);
      ::fflush(file_);
    } else {
      ::OutputDebugStringW(line);
    }
  }

  const std::wstring& path() const { return path_; }

 private:
  FILE* file_ = nullptr;
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
