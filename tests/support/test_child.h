// test_child - uses the test program itself as the other program that a test starts, waits for or ends. A test file
// that needs one has a main of its own that calls runAsChild first.
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include <windows.h>

#include "system/handles.h"

// The full path of the running test program.
inline std::wstring ownProgram() {
  wchar_t path[MAX_PATH] = L"";
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  return path;
}

// An event that a child process can open by its name. Waits have a limit, so that a failed test ends.
class NamedEvent {
 public:
  static constexpr DWORD kLimitMilliseconds = 30'000;

  NamedEvent()
      : name_(L"Global\\test-" + std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(++count())),
        event_(::CreateEventW(nullptr, TRUE, FALSE, name_.c_str())) {}

  const std::wstring& name() const { return name_; }
  void set() const { ::SetEvent(event_.get()); }
  // True if it is set within the limit.
  bool wait() const { return ::WaitForSingleObject(event_.get(), kLimitMilliseconds) == WAIT_OBJECT_0; }
  bool isSet() const { return ::WaitForSingleObject(event_.get(), 0) == WAIT_OBJECT_0; }

 private:
  static int& count() {
    static int number = 0;
    return number;
  }

  std::wstring name_;
  KernelHandle event_;
};

// A process that a test started. The destructor ends it if it is still running.
class ChildProcess {
 public:
  explicit ChildProcess(std::wstring commandLine) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information = {};
    if (::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                         &information)) {
      process_.reset(information.hProcess);
      ::CloseHandle(information.hThread);
    }
  }
  ~ChildProcess() {
    if (process_ && isRunning()) {
      ::TerminateProcess(process_.get(), 1);
    }
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool isRunning() const { return ::WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT; }
  // True if it ends within the limit.
  bool waitForEnd() const {
    return ::WaitForSingleObject(process_.get(), NamedEvent::kLimitMilliseconds) == WAIT_OBJECT_0;
  }
  // STILL_ACTIVE (259) while it runs.
  DWORD exitCode() const {
    DWORD code = 0;
    ::GetExitCodeProcess(process_.get(), &code);
    return code;
  }

 private:
  KernelHandle process_;
};

// What the program does if a test started it as a child. Empty if it was started to run its tests.
//   --exit CODE             ends at once
//   --signal EVENT          sets the event
//   --wait READY GO         sets the event READY, waits for the event GO
//   --set-inherited NUMBER  sets the event whose handle has that number, if it was inherited
//   --print TEXT...         prints each text and continues once the reader has taken it
//   --print-file PATH       prints the content of the file
//   --print-amount BYTES    prints that many bytes, "0123456789" over and over
inline std::optional<int> runAsChild(int argumentCount, char** arguments) {
  const std::string_view mode = argumentCount > 1 ? arguments[1] : "";
  const auto openEvent = [&](int index) {
    return KernelHandle(argumentCount > index ? ::OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments[index]) : nullptr);
  };
  // The flush returns once the pipe is empty. Without it the last output could be lost when the process ends.
  const auto print = [](std::string_view text) {
    const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD written = 0;
    ::WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    ::FlushFileBuffers(output);
  };
  if (mode == "--exit") {
    return static_cast<int>(std::strtoul(argumentCount > 2 ? arguments[2] : "0", nullptr, 0));
  }
  if (mode == "--signal") {
    ::SetEvent(openEvent(2).get());
    return 0;
  }
  if (mode == "--set-inherited") {
    ::SetEvent(reinterpret_cast<HANDLE>(std::strtoull(argumentCount > 2 ? arguments[2] : "0", nullptr, 10)));
    return 0;
  }
  if (mode == "--wait") {
    const KernelHandle go = openEvent(3);
    if (!go) {
      return 1;
    }
    ::SetEvent(openEvent(2).get());
    // Longer than any test waits, so that a test cannot pass because the child gave up.
    ::WaitForSingleObject(go.get(), 2 * NamedEvent::kLimitMilliseconds);
    return 0;
  }
  if (mode == "--print") {
    for (int index = 2; index < argumentCount; ++index) {
      print(arguments[index]);
    }
    return 0;
  }
  if (mode == "--print-file") {
    std::ifstream file(argumentCount > 2 ? arguments[2] : "", std::ios::binary);
    print(std::string(std::istreambuf_iterator<char>(file), {}));
    return 0;
  }
  if (mode == "--print-amount") {
    std::string text(std::strtoul(argumentCount > 2 ? arguments[2] : "0", nullptr, 0), '\0');
    for (std::size_t index = 0; index < text.size(); ++index) {
      text[index] = static_cast<char>('0' + index % 10);
    }
    print(text);
    return 0;
  }
  return std::nullopt;
}
