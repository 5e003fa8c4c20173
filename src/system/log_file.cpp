#include "system/log_file.h"

#include <io.h>
#include <share.h>

#include <cstdio>
#include <mutex>

#include <windows.h>

#include <shlwapi.h>

#include "system/log_line.h"

namespace {

// Opened when the program's static objects are made, before the entry point runs.
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
      // A child process that outlives this one would keep the next run from writing its log.
      ::SetHandleInformation(reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(file_))), HANDLE_FLAG_INHERIT, 0);
      ::fwprintf(file_, L"Process Id:%d\n", static_cast<int>(::GetCurrentProcessId()));
      ::fflush(file_);
    }
    setLogSink(Logger::Write);
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
    const wchar_t* line = line_.compose(stamp_.now(), level, format, arguments);
    if (file_) {
      bytes_.clear();
      appendLogBytes(bytes_, line);
      ::fwrite(bytes_.data(), 1, bytes_.size(), file_);  // in text mode: line feeds leave as CR LF
      ::fflush(file_);
    } else {
      ::OutputDebugStringW(line);
    }
  }

  const std::wstring& path() const { return path_; }

 private:
  FILE* file_ = nullptr;
  LogTimeStamp stamp_;
  LogLine line_;
  std::string bytes_;  // the line as the file gets it; a member so that its memory is reused
  std::wstring path_;
  std::mutex lock_;
};

LogFile logFile;

}  // namespace

// Lines reach this file through the sink and hardly any code calls it by name. The linker is told to look for this
// variable (src/CMakeLists.txt), or it would leave the file out.
extern "C" {
extern const bool logFileIsLinked;
const bool logFileIsLinked = true;
}

bool Logger::Write(LogLevel level, const wchar_t* format, va_list arguments) {
  logFile.write(level, format, arguments);
  return true;
}

const std::wstring& Logger::GetPath() {
  return logFile.path();
}
