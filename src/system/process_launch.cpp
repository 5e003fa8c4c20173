#include "system/process_launch.h"

#include <cstddef>
#include <system_error>
#include <thread>
#include <vector>

#include <objbase.h>
#include <shellapi.h>

#include "system/handles.h"
#include "system/log.h"
#include "system/system_message.h"
#include "system/trusted_surroundings.h"

namespace {

constexpr DWORD kPipeBytes = 4096;

[[noreturn]] void raise(DWORD code, const char* text) {
  throw std::system_error(static_cast<int>(code), std::system_category(), text);
}

void enterApartment() {
  // Never left: on a new thread the apartment ends with it, and on any other the caller may have entered it before.
  (void)::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
}

SECURITY_ATTRIBUTES inheritable() {
  SECURITY_ATTRIBUTES attributes = {};
  attributes.nLength = sizeof(attributes);
  attributes.bInheritHandle = TRUE;
  return attributes;
}

SHELLEXECUTEINFOW hiddenOpen(ULONG mask, const std::wstring& file, const std::wstring& parameters) {
  SHELLEXECUTEINFOW info = {};
  info.cbSize = sizeof(info);
  info.fMask = mask;
  info.lpVerb = L"open";
  info.lpFile = file.c_str();
  info.lpParameters = parameters.c_str();
  info.nShow = SW_HIDE;
  return info;
}

struct StartedProcess {
  KernelHandle process;  // empty when it could not be started
  KernelHandle thread;
};

// Starts a program without a window, which inherits nothing. On failure the reason is in GetLastError.
StartedProcess startHidden(const wchar_t* program, std::wstring commandLine, const wchar_t* directory) {
  STARTUPINFOW startupInfo = {};
  startupInfo.cb = sizeof(startupInfo);
  PROCESS_INFORMATION information = {};
  ::CreateProcessW(program, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, directory,
                   &startupInfo, &information);
  return {KernelHandle(information.hProcess), KernelHandle(information.hThread)};
}

// The file of a program that a command line names without a path: Windows would look for it beside this program first.
// Empty when the command line has a path.
std::wstring fileOfBareName(const std::wstring& commandLine) {
  const std::wstring name = commandLine.substr(0, commandLine.find(L' '));
  if (name.find_first_of(L"\\/:\"") != std::wstring::npos) {
    return {};
  }
  return systemProgram(name.find(L'.') == std::wstring::npos ? name + L".exe" : name);
}

// Limits what a child inherits to one handle. Otherwise it would get every inheritable handle of this process,
// whichever library has opened it.
class InheritedHandle {
 public:
  explicit InheritedHandle(HANDLE handle) : handle_(handle) {
    SIZE_T bytes = 0;
    ::InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);
    memory_.resize(bytes);
    const auto list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
    if (!::InitializeProcThreadAttributeList(list, 1, 0, &bytes)) {
      return;
    }
    list_ = list;
    isSet_ = ::UpdateProcThreadAttribute(list_, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, &handle_, sizeof(handle_),
                                         nullptr, nullptr);
  }
  ~InheritedHandle() {
    if (list_) {
      ::DeleteProcThreadAttributeList(list_);
    }
  }
  InheritedHandle(const InheritedHandle&) = delete;
  InheritedHandle& operator=(const InheritedHandle&) = delete;

  LPPROC_THREAD_ATTRIBUTE_LIST list() const { return list_; }
  bool isSet() const { return isSet_; }

 private:
  HANDLE handle_;
  std::vector<std::byte> memory_;
  LPPROC_THREAD_ATTRIBUTE_LIST list_ = nullptr;
  bool isSet_ = false;
};

// Polls the pipe until the process has ended, or the pipe can no longer be read.
std::string readUntilEnd(HANDLE readEnd, HANDLE process) {
  std::string output;
  for (;;) {
    DWORD available = 0;
    if (!::PeekNamedPipe(readEnd, nullptr, 0, nullptr, &available, nullptr)) {
      LogDebug(L"Unable to peek pipe %d", ::GetLastError());
      return output;
    }
    if (available != 0) {
      std::string buffer(std::size_t{2} * available, '\0');
      DWORD read = 0;
      const BOOL succeeded = ::ReadFile(readEnd, buffer.data(), 2 * available, &read, nullptr);
      LogDebug(L"Reading output buffer. Amount read: %d, Amount avaliable: %d", read, available);
      if (succeeded && read != 0) {
        output += buffer;  // with the zeros behind what was read
      }
    }
    DWORD exitCode = 0;
    ::GetExitCodeProcess(process, &exitCode);
    if (exitCode != STILL_ACTIVE) {
      LogDebug(L"Output from launched command: \n%hs", output.c_str());
      return output;
    }
  }
}

}  // namespace

int LaunchExeByCreateProcess(wchar_t* commandLine, bool /*ignoredFlag*/, const DWORD* exitCode) {
  int result = 0;
  try {
    STARTUPINFOW startupInfo = {};
    startupInfo.cb = sizeof(startupInfo);
    PROCESS_INFORMATION process = {};
    SECURITY_ATTRIBUTES attributes = inheritable();
    const std::wstring file = fileOfBareName(commandLine);
    if (::CreateProcessW(file.empty() ? nullptr : file.c_str(), commandLine, &attributes, nullptr, FALSE,
                         CREATE_NO_WINDOW, nullptr, nullptr, &startupInfo, &process)) {
      const KernelHandle processOwner(process.hProcess);
      const KernelHandle threadOwner(process.hThread);
      // The caller's own value decides; the action dispatcher relies on that.
      return *exitCode == 0 ? 1 : 0;
    }
    LogError(L"CommonHelperUtility::LaunchExeByCreateProcess - CreateProcess failed(%d).", ::GetLastError());
  } catch (...) {
    // The line above could not be written. The launch has failed in any case, and the caller goes on.
    LogError(L"Exception - CommonHelperUtility::LaunchExeByCreateProcess - Inside Catch");
  }
  return result;
}

DWORD LaunchProcessAndWait(const std::wstring& file, const std::wstring& parameters, DWORD timeoutMilliseconds) {
  enterApartment();
  SHELLEXECUTEINFOW info = hiddenOpen(
      SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI | SEE_MASK_NOZONECHECKS, file, parameters);
  if (!::ShellExecuteExW(&info)) {
    const DWORD code = ::GetLastError();
    LogError(L"Launching process %s %s failed. Error code = %d %s", file.c_str(), parameters.c_str(), code,
             systemMessage(code).c_str());
    raise(code, "Unable to create process");
  }
  const KernelHandle process(info.hProcess);
  // A process that is still running after the time-out gives STILL_ACTIVE below and is left alone.
  ::WaitForSingleObject(process.get(), timeoutMilliseconds);
  DWORD exitCode = 0;
  if (!::GetExitCodeProcess(process.get(), &exitCode)) {
    const DWORD code = ::GetLastError();
    LogError(L"Unable to get exit code for process %s %s. Error code = %d %s", file.c_str(), parameters.c_str(), code,
             systemMessage(code).c_str());
    raise(code, "Unable to process exit code");
  }
  LogDebug(L"Process %s %s completed with exit code %d", file.c_str(), parameters.c_str(), exitCode);
  return exitCode;
}

std::string RunCommandCaptureOutput(const std::wstring& command) {
  SECURITY_ATTRIBUTES attributes = inheritable();
  KernelHandle readEnd;
  KernelHandle writeEnd;
  KernelHandle secondReadEnd;  // the second pipe is created and never used
  KernelHandle secondWriteEnd;
  if (!::CreatePipe(readEnd.put(), writeEnd.put(), &attributes, kPipeBytes) ||
      !::CreatePipe(secondReadEnd.put(), secondWriteEnd.put(), &attributes, kPipeBytes)) {
    const DWORD code = ::GetLastError();
    LogDebug(L"Unbale to create pipe handle: %d %s", code, systemMessage(code).c_str());
  }
  STARTUPINFOEXW startup = {};
  startup.StartupInfo.cb = sizeof(startup);
  const InheritedHandle inherited(writeEnd.get());
  if (!::SetHandleInformation(readEnd.get(), HANDLE_FLAG_INHERIT, 0) ||
      !::SetHandleInformation(secondWriteEnd.get(), HANDLE_FLAG_INHERIT, 0)) {
    const DWORD code = ::GetLastError();
    LogDebug(L"Unbale to set security attributes to pipe handle: %d %s", code, systemMessage(code).c_str());
  } else if (inherited.isSet()) {
    startup.StartupInfo.hStdOutput = writeEnd.get();
    startup.StartupInfo.hStdError = writeEnd.get();
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.lpAttributeList = inherited.list();
  }

  std::wstring commandLine = L"cmd.exe /C \"" + command + L"\"";
  LogDebug(L"Launching command %s", commandLine.c_str());
  PROCESS_INFORMATION information = {};
  // The child inherits the write end only, or nothing. When there is no child, GetExitCodeProcess fails below and the
  // loop ends after one pass.
  const bool inherits = startup.lpAttributeList != nullptr;
  ::CreateProcessW(systemProgram(L"cmd.exe").c_str(), commandLine.data(), nullptr, nullptr, inherits,
                   CREATE_NO_WINDOW | (inherits ? EXTENDED_STARTUPINFO_PRESENT : 0), nullptr, nullptr,
                   &startup.StartupInfo, &information);
  const KernelHandle process(information.hProcess);
  const KernelHandle thread(information.hThread);

  return readUntilEnd(readEnd.get(), process.get());
}

DWORD RunCommand(const std::wstring& commandLine, const std::wstring& workingDirectory, bool wait) {
  const StartedProcess started =
      startHidden(systemProgram(L"cmd.exe").c_str(), L"cmd.exe /C \"" + commandLine + L"\"", workingDirectory.c_str());
  if (!started.process) {
    const DWORD error = ::GetLastError();
    LogError(L"Failed Applications uninstall : cmd: %s ,error code\t:\t%d", commandLine.c_str(), error);
    return error;
  }
  if (wait) {
    ::WaitForSingleObject(started.process.get(), INFINITE);
  }
  DWORD exitCode = 0;
  ::GetExitCodeProcess(started.process.get(), &exitCode);
  return exitCode;
}

bool RunInSystemShell(const std::wstring& command) {
  const StartedProcess started =
      startHidden(nullptr, L"\"" + systemProgram(L"cmd.exe") + L"\" /C \"" + command + L'"', nullptr);
  if (!started.process) {
    return false;
  }
  ::WaitForSingleObject(started.process.get(), INFINITE);
  return true;
}

void RunShellExecuteOnThread(const std::wstring& file, const std::wstring& parameters) {
  std::thread thread([&file, &parameters] {
    enterApartment();
    SHELLEXECUTEINFOW info = hiddenOpen(SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC, file, parameters);
    ::ShellExecuteExW(&info);
    // The process handle stays open until this program ends: nobody waits for the other one.
  });
  thread.join();
}
