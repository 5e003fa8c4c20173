#include "system/log.h"

#include <io.h>
#include <share.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <ctime>
#include <mutex>
#include <unordered_map>

#include <windows.h>

#include <shlwapi.h>

namespace {

constexpr std::size_t kLineCharacters = 65536;  // with the terminator
constexpr std::size_t kTimeStampCharacters = 64;

const std::unordered_map<int, const wchar_t*>& levelNames() {
  static const std::unordered_map<int, const wchar_t*> names = {{0, L"DEBUG"}, {1, L"WARNING"}, {2, L"ERROR"}};
  return names;
}

// The local time as the lines tell it. It is worked out anew when a second has passed.
class TimeStamp {
 public:
  const wchar_t* now() {
    // Not the runtime's own clock function, which may work out the time zone with each call.
    const std::time_t second = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    if (second != second_ || text_[0] == L'\0') {
      const std::tm* local = std::localtime(&second);
      const std::tm time = local ? *local : std::tm{};
      ::_snwprintf(text_, kTimeStampCharacters - 1, L"%04d%c%02d%c%02d-%02d%c%02d%c%02d", time.tm_year + 1900, L':',
                   time.tm_mon + 1, L':', time.tm_mday, time.tm_hour, L':', time.tm_min, L':', time.tm_sec);
      second_ = second;
    }
    return text_;
  }

 private:
  std::time_t second_ = 0;
  wchar_t text_[kTimeStampCharacters] = {};
};

// The one buffer in which lines are composed. It is large and hardly ever full, so it is cleared only as far as a line
// has used it.
class LineBuffer {
 public:
  // Composes a line with its line feed. What does not fit is cut, and the line feed stands last all the same.
  const wchar_t* compose(const wchar_t* stamp, const wchar_t* level, const wchar_t* format, va_list arguments) {
    std::fill_n(text_, used_, L'\0');
    const auto start = static_cast<std::size_t>(::_snwprintf(text_, kLineCharacters - 1, L"Thread Id:%d\t%s\t%s\t",
                                                             static_cast<int>(::GetCurrentThreadId()), stamp, level));
    // The runtime's own formatter, which reads %s as wide text; the compiler's replacements read it as narrow. A number
    // below 0 says that the message was cut or broken off, and then it has no terminator of its own.
    const int formatted = ::_vsnwprintf(text_ + start, kLineCharacters - 1 - start, format, arguments);
    used_ =
        formatted < 0 ? kLineCharacters : std::min(start + static_cast<std::size_t>(formatted) + 2, kLineCharacters);
    const std::size_t end = std::min(start + std::wcslen(text_ + start), kLineCharacters - 2);
    text_[end] = L'\n';
    text_[end + 1] = L'\0';
    return text_;
  }

 private:
  wchar_t text_[kLineCharacters] = {};
  std::size_t used_ = 0;  // every character behind these is zero
};

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
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  void write(LogLevel level, const wchar_t* format, va_list arguments) {
    const std::lock_guard<std::mutex> guard(lock_);
    const wchar_t* line = line_.compose(stamp_.now(), levelNames().at(static_cast<int>(level)), format, arguments);
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
  TimeStamp stamp_;
  LineBuffer line_;
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
