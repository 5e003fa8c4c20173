// stopwatch LIST RECORD - runs programs on a test machine, one after the other, and records how long each took. Stops
// at the first line that fails. LIST has tab-separated lines:
//
//   run    COMMAND_LINE              not measured; must exit with 0
//   pause  MILLISECONDS
//   time   NAME COMMAND_LINE         from just before the program starts until it ends, without disturbing it
//   watch  NAME LOG COMMAND_LINE     the same, but the program is observed every millisecond, which costs time
//
// Lines of RECORD:
//
//   time   NAME MILLISECONDS EXIT_CODE
//   memory NAME BYTES                peak memory at the time of the last observation (watch)
//   line   NAME MILLISECONDS TEXT    when a heading of the log was first seen: a message that begins with ten hyphens

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>
#include <psapi.h>

#include "bench_list.h"
#include "system/handles.h"

namespace {

FileHandle recordFile;

void record(const std::wstring& line) {
  const std::string text = toUtf8(line + L"\n");
  DWORD written = 0;
  ::WriteFile(recordFile.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

class Clock {
 public:
  Clock() {
    ::QueryPerformanceFrequency(&frequency_);
    ::QueryPerformanceCounter(&start_);
  }

  std::wstring milliseconds() const {
    LARGE_INTEGER now;
    ::QueryPerformanceCounter(&now);
    wchar_t text[32] = {};
    std::swprintf(
        text, std::size(text), L"%.3f",
        1000.0 * static_cast<double>(now.QuadPart - start_.QuadPart) / static_cast<double>(frequency_.QuadPart));
    return text;
  }

 private:
  LARGE_INTEGER frequency_ = {};
  LARGE_INTEGER start_ = {};
};

KernelHandle start(const BenchLine& line, std::wstring commandLine) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started = {};
  if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, L"C:\\bench", &startup,
                        &started)) {
    failLine(line, "the program cannot be started", ::GetLastError());
  }
  const KernelHandle thread(started.hThread);
  return KernelHandle(started.hProcess);
}

DWORD exitCodeOf(const KernelHandle& process) {
  DWORD exitCode = 0;
  ::GetExitCodeProcess(process.get(), &exitCode);
  return exitCode;
}

void recordTime(const BenchLine& line, const std::wstring& milliseconds, DWORD exitCode) {
  record(L"time\t" + line.argument(0) + L'\t' + milliseconds + L'\t' + std::to_wstring(exitCode));
}

void runUnmeasured(const BenchLine& line) {
  const KernelHandle process = start(line, line.argument(0));
  ::WaitForSingleObject(process.get(), INFINITE);
  if (const DWORD exitCode = exitCodeOf(process); exitCode != 0) {
    failLine(line, "the program has ended with its exit code", exitCode);
  }
}

void runMeasured(const BenchLine& line) {
  const Clock clock;
  const KernelHandle process = start(line, line.argument(1));
  ::WaitForSingleObject(process.get(), INFINITE);
  recordTime(line, clock.milliseconds(), exitCodeOf(process));
}

// Messages about individual devices begin with nine.
constexpr std::string_view kHeadingMark = "----------";

// Reads a log while its program writes it.
class LogFollower {
 public:
  explicit LogFollower(std::wstring path) : path_(std::move(path)) {
    ::DeleteFileW(path_.c_str());  // left by an earlier run
  }

  // The headings written since the last call.
  std::vector<std::wstring> look() {
    std::vector<std::wstring> headings;
    if (!file_) {
      file_.reset(::CreateFileW(path_.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    }
    char buffer[65'536];
    DWORD read = 0;
    while (file_ && ::ReadFile(file_.get(), buffer, sizeof(buffer), &read, nullptr) && read != 0) {
      rest_.append(buffer, read);
      std::size_t begin = 0;
      for (std::size_t end; (end = rest_.find('\n', begin)) != std::string::npos; begin = end + 1) {
        const std::string line = rest_.substr(begin, end - begin);
        const std::size_t message = line.rfind('\t') + 1;
        if (line.compare(message, kHeadingMark.size(), kHeadingMark) == 0) {
          headings.push_back(fromUtf8(line.substr(message, line.find('\r') - message)));
        }
      }
      rest_.erase(0, begin);
    }
    return headings;
  }

 private:
  std::wstring path_;
  FileHandle file_;
  std::string rest_;
};

void runWatched(const BenchLine& line) {
  LogFollower log(line.argument(1));
  SIZE_T mostBytes = 0;
  std::vector<std::wstring> lines;
  const Clock clock;
  const KernelHandle process = start(line, line.argument(2));
  for (DWORD wait = WAIT_TIMEOUT; wait == WAIT_TIMEOUT;) {
    wait = ::WaitForSingleObject(process.get(), 1);
    const std::wstring now = clock.milliseconds();
    for (const std::wstring& heading : log.look()) {
      lines.push_back(L"line\t" + line.argument(0) + L'\t' + now + L'\t' + heading);
    }
    PROCESS_MEMORY_COUNTERS memory = {};
    if (::GetProcessMemoryInfo(process.get(), &memory, sizeof(memory)) && memory.PeakWorkingSetSize > mostBytes) {
      mostBytes = memory.PeakWorkingSetSize;
    }
  }
  recordTime(line, clock.milliseconds(), exitCodeOf(process));
  record(L"memory\t" + line.argument(0) + L'\t' + std::to_wstring(mostBytes));
  for (const std::wstring& text : lines) {
    record(text);
  }
}

}  // namespace

int wmain(int argumentCount, wchar_t** arguments) {
  if (argumentCount != 3) {
    std::fprintf(stderr, "usage: stopwatch LIST RECORD\n");
    return 2;
  }
  recordFile.reset(::CreateFileW(arguments[2], GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                 FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!recordFile) {
    std::fprintf(stderr, "bench: %ls cannot be written (%lu)\n", arguments[2], ::GetLastError());
    return 2;
  }
  // The first program that needs a desktop starts the desktop process. That must not be a measured program.
  ::GetDesktopWindow();
  for (const BenchLine& line : readBenchList(arguments[1])) {
    if (line.verb() == L"run") {
      runUnmeasured(line);
    } else if (line.verb() == L"pause") {
      ::Sleep(static_cast<DWORD>(std::stoul(line.argument(0))));
    } else if (line.verb() == L"time") {
      runMeasured(line);
    } else if (line.verb() == L"watch") {
      runWatched(line);
    } else {
      failLine(line, "unknown verb", ERROR_INVALID_PARAMETER);
    }
  }
  return 0;
}
