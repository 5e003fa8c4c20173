// machine_session LIST RECORD - a user session on a test machine: prepares it, runs programs, and records what can only
// be seen while the machine is running. At the end it undoes the preparations, so that the machine can settle.
//
//   start-service  NAME              starts a planted service and waits until it runs
//   start-process  PATH              starts a program that keeps running
//   start-driver   PATH              starts the program that answers the dialogs of the runs (window_driver). If it
//                                    fails, the session is aborted, since the runs would wait forever
//   wait-process   PATH              waits until a program of the two lines above has ended by itself
//   hold-file      PATH              keeps a file open without delete sharing
//   refuse-delete  KEY               removes all access rights to a key; if it has a subkey, it then refuses deletion
//   run            COMMAND_LINE      runs a program until it and everything that it started have ended
//   run-twice      COMMAND_LINE      the same with two instances at once
//   run-until      FILE TEXT COMMAND_LINE   runs a program that does not end by itself until the file contains the
//                                    text, then terminates it and waits until everything that it started has ended
//   run-leaving    FILE TEXT COMMAND_LINE   runs a program until the file contains the text, then terminates only the
//                                    program; what it started keeps running until the end of the session
//   enter          FOLDER            the current directory of the following programs
//   set-variable   NAME VALUE        an environment variable of the following programs
//   record-value   KEY NAME
//   record-service NAME
//   record-processes                 whether the programs of start-process and start-driver are still running
//   record-pending                   what the next restart will delete
//
// RECORD gets tab-separated lines: `exit CODE`, `value KEY NAME DATA` (DATA is `absent` if there is none), `service
// NAME STATE`, `process PATH running|ended`, `ended PATH CODE`, `pending PATH`.

#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <windows.h>

#include "bench_list.h"
#include "system/handles.h"

namespace {

struct StartedProcess {
  std::wstring path;
  KernelHandle process;
};

std::vector<StartedProcess> startedProcesses;
std::vector<KernelHandle> serviceProcesses;
std::vector<FileHandle> heldFiles;
FileHandle recordFile;

void record(const std::wstring& text) {
  const std::string line = toUtf8(text) + "\n";
  DWORD written = 0;
  ::WriteFile(recordFile.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

KernelHandle startSuspended(const BenchLine& line, std::wstring commandLine, KernelHandle& mainThread) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr, nullptr,
                        &startup, &started)) {
    failLine(line, "the program cannot be started", ::GetLastError());
  }
  mainThread.reset(started.hThread);
  return KernelHandle(started.hProcess);
}

void startProcess(const BenchLine& line) {
  KernelHandle mainThread;
  KernelHandle process = startSuspended(line, L"\"" + line.argument(0) + L"\"", mainThread);
  ::ResumeThread(mainThread.get());
  startedProcesses.push_back({line.argument(0), std::move(process)});
}

// Only the driver could make the run continue. The host ends what is left on the machine.
void breakOffWhenItFails(HANDLE driver) {
  ::WaitForSingleObject(driver, INFINITE);
  DWORD exitCode = 0;
  ::GetExitCodeProcess(driver, &exitCode);
  if (exitCode != 0) {
    std::fprintf(stderr, "bench: the driver has failed (%lu)\n", exitCode);
    std::fflush(stderr);
    ::TerminateProcess(::GetCurrentProcess(), 1);
  }
}

void startDriver(const BenchLine& line) {
  startProcess(line);
  std::thread(breakOffWhenItFails, startedProcesses.back().process.get()).detach();
}

void waitProcess(const BenchLine& line) {
  for (const StartedProcess& started : startedProcesses) {
    if (started.path == line.argument(0)) {
      ::WaitForSingleObject(started.process.get(), INFINITE);
      DWORD exitCode = 0;
      ::GetExitCodeProcess(started.process.get(), &exitCode);
      record(L"ended\t" + started.path + L"\t" + std::to_wstring(exitCode));
      return;
    }
  }
  failLine(line, "no such program was started", ERROR_NOT_FOUND);
}

DWORD serviceState(SC_HANDLE service, DWORD* processId = nullptr) {
  SERVICE_STATUS_PROCESS status{};
  DWORD needed = 0;
  ::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status, &needed);
  if (processId) {
    *processId = status.dwProcessId;
  }
  return status.dwCurrentState;
}

void startService(const BenchLine& line) {
  const ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  const ServiceHandle service(::OpenServiceW(manager.get(), line.argument(0).c_str(), SERVICE_ALL_ACCESS));
  if (!service || !::StartServiceW(service.get(), 0, nullptr)) {
    failLine(line, "the service cannot be started", ::GetLastError());
  }
  // There is no event for this; the service reports that it is running within milliseconds.
  constexpr DWORD kPollMilliseconds = 20;
  constexpr int kPolls = 500;
  for (int poll = 0; serviceState(service.get()) != SERVICE_RUNNING; ++poll) {
    if (poll == kPolls) {
      failLine(line, "the service does not come up", ERROR_SERVICE_REQUEST_TIMEOUT);
    }
    ::Sleep(kPollMilliseconds);
  }
  DWORD processId = 0;
  serviceState(service.get(), &processId);
  serviceProcesses.emplace_back(::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, processId));
}

void holdFile(const BenchLine& line) {
  FileHandle file(::CreateFileW(line.argument(0).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    failLine(line, "the file cannot be held", ::GetLastError());
  }
  heldFiles.push_back(std::move(file));
}

void refuseDelete(const BenchLine& line) {
  std::wstring subkey;
  const HKEY root = splitKeyPath(line, line.argument(0), subkey);
  RegistryKey key;
  ACL emptyList;
  SECURITY_DESCRIPTOR descriptor;
  ::InitializeAcl(&emptyList, sizeof emptyList, ACL_REVISION);
  ::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  ::SetSecurityDescriptorDacl(&descriptor, TRUE, &emptyList, FALSE);
  LSTATUS status = ::RegOpenKeyExW(root, subkey.c_str(), 0, KEY_ALL_ACCESS, key.put());
  if (status == ERROR_SUCCESS) {
    status = ::RegSetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, &descriptor);
  }
  if (status != ERROR_SUCCESS) {
    failLine(line, "the key's rights cannot be taken away", static_cast<DWORD>(status));
  }
}

// How long a program may take until the awaited text appears.
constexpr DWORD kLimitMilliseconds = 60'000;

// A job object with programs and everything that they start.
class Job {
 public:
  explicit Job(const BenchLine& line)
      : job_(::CreateJobObjectW(nullptr, nullptr)),
        port_(::CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1)) {
    JOBOBJECT_ASSOCIATE_COMPLETION_PORT association{job_.get(), port_.get()};
    if (!::SetInformationJobObject(job_.get(), JobObjectAssociateCompletionPortInformation, &association,
                                   sizeof association)) {
      failLine(line, "no job", ::GetLastError());
    }
  }

  void add(const BenchLine& line, const KernelHandle& process) {
    if (!::AssignProcessToJobObject(job_.get(), process.get())) {
      failLine(line, "the program cannot be put into the job", ::GetLastError());
    }
  }

  // Waits until everything in it has ended. False if no process starts or ends for the given time.
  bool waitUntilEmpty(DWORD limitMilliseconds) {
    DWORD message = 0;
    do {
      ULONG_PTR key = 0;
      OVERLAPPED* processId = nullptr;
      if (!::GetQueuedCompletionStatus(port_.get(), &message, &key, &processId, limitMilliseconds)) {
        return false;
      }
    } while (message != JOB_OBJECT_MSG_ACTIVE_PROCESS_ZERO);
    return true;
  }

  void end(UINT exitCode) { ::TerminateJobObject(job_.get(), exitCode); }

 private:
  KernelHandle job_;
  KernelHandle port_;
};

// Starts `count` programs at once and waits until they and everything that they started have ended.
void runPrograms(const BenchLine& line, int count) {
  Job job(line);
  std::vector<KernelHandle> processes;
  std::vector<KernelHandle> threads(static_cast<size_t>(count));
  for (KernelHandle& thread : threads) {
    processes.push_back(startSuspended(line, line.argument(0), thread));
    job.add(line, processes.back());
  }
  for (const KernelHandle& thread : threads) {
    ::ResumeThread(thread.get());
  }
  job.waitUntilEmpty(INFINITE);
  for (const KernelHandle& process : processes) {
    DWORD exitCode = 0;
    ::GetExitCodeProcess(process.get(), &exitCode);
    record(L"exit\t" + std::to_wstring(exitCode));
  }
}

bool holdsText(const std::wstring& path, const std::wstring& text) {
  const FileHandle file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  std::string content(65'536, '\0');
  DWORD read = 0;
  return file && ::ReadFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &read, nullptr) &&
         content.find(toUtf8(text)) < read;
}

std::vector<Job> leftJobs;

void runUntilTheFileHoldsTheText(const BenchLine& line, Job& job) {
  const std::wstring file = line.argument(0);
  const std::wstring folder = file.substr(0, file.rfind(L'\\'));
  constexpr DWORD kChanges = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;
  const HANDLE change = ::FindFirstChangeNotificationW(folder.c_str(), FALSE, kChanges);
  KernelHandle mainThread;
  const KernelHandle process = startSuspended(line, line.argument(2), mainThread);
  job.add(line, process);
  ::ResumeThread(mainThread.get());
  while (!holdsText(file, line.argument(1))) {
    if (::WaitForSingleObject(change, kLimitMilliseconds) != WAIT_OBJECT_0) {
      job.end(1);
      failLine(line, "the file does not hold the text", ERROR_TIMEOUT);
    }
    ::FindNextChangeNotification(change);
  }
  ::FindCloseChangeNotification(change);
  ::TerminateProcess(process.get(), 0);
}

// What the program started must end by itself before anything is terminated, since a tool may still be at work.
void runUntil(const BenchLine& line) {
  Job job(line);
  runUntilTheFileHoldsTheText(line, job);
  if (!job.waitUntilEmpty(kLimitMilliseconds)) {
    job.end(1);
    failLine(line, "what the program has started does not end", ERROR_TIMEOUT);
  }
}

void runLeaving(const BenchLine& line) {
  leftJobs.emplace_back(line);
  runUntilTheFileHoldsTheText(line, leftJobs.back());
}

void enter(const BenchLine& line) {
  if (!::SetCurrentDirectoryW(line.argument(0).c_str())) {
    failLine(line, "the folder cannot be entered", ::GetLastError());
  }
}

void setVariable(const BenchLine& line) {
  if (!::SetEnvironmentVariableW(line.argument(0).c_str(), line.argument(1).c_str())) {
    failLine(line, "the variable cannot be set", ::GetLastError());
  }
}

void recordValue(const BenchLine& line) {
  std::wstring subkey;
  const HKEY root = splitKeyPath(line, line.argument(0), subkey);
  wchar_t data[4096];
  DWORD size = sizeof data;
  DWORD type = 0;
  std::wstring text = L"absent";
  if (::RegGetValueW(root, subkey.c_str(), line.argument(1).c_str(), RRF_RT_REG_SZ | RRF_RT_REG_DWORD, &type, data,
                     &size) == ERROR_SUCCESS) {
    DWORD number = 0;
    std::memcpy(&number, data, sizeof number);
    text = type == REG_DWORD ? std::to_wstring(number) : std::wstring(data);
  }
  record(L"value\t" + line.argument(0) + L"\t" + line.argument(1) + L"\t" + text);
}

void recordService(const BenchLine& line) {
  static const wchar_t* const kStates[] = {L"unknown", L"stopped",    L"starting", L"stopping",
                                           L"running", L"continuing", L"pausing",  L"paused"};
  const ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  const ServiceHandle service(::OpenServiceW(manager.get(), line.argument(0).c_str(), SERVICE_QUERY_STATUS));
  record(L"service\t" + line.argument(0) + L"\t" + (service ? kStates[serviceState(service.get())] : L"absent"));
}

void recordProcesses() {
  for (const StartedProcess& started : startedProcesses) {
    const bool ended = ::WaitForSingleObject(started.process.get(), 0) == WAIT_OBJECT_0;
    record(L"process\t" + started.path + (ended ? L"\tended" : L"\trunning"));
  }
}

// The value contains pairs of texts: source and target. An empty target means deletion.
void recordPending() {
  DWORD size = 0;
  constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
  constexpr wchar_t kValue[] = L"PendingFileRenameOperations";
  ::RegGetValueW(HKEY_LOCAL_MACHINE, kKey, kValue, RRF_RT_REG_MULTI_SZ, nullptr, nullptr, &size);
  std::wstring texts(size / sizeof(wchar_t), L'\0');
  if (size == 0 || ::RegGetValueW(HKEY_LOCAL_MACHINE, kKey, kValue, RRF_RT_REG_MULTI_SZ, nullptr, texts.data(),
                                  &size) != ERROR_SUCCESS) {
    return;
  }
  for (size_t begin = 0; begin < texts.size() && texts[begin] != L'\0';) {
    const std::wstring from = texts.c_str() + begin;
    const std::wstring to = texts.c_str() + begin + from.size() + 1;
    constexpr wchar_t kNativePrefix[] = L"\\??\\";
    record(L"pending\t" + (from.starts_with(kNativePrefix) ? from.substr(4) : from) + (to.empty() ? L"" : L"\t" + to));
    begin += from.size() + to.size() + 2;
  }
}

// Terminates the process of a service that is still running, since it would keep the machine from settling. By now the
// service may be marked for deletion and can no longer be opened.
void endServices() {
  for (const KernelHandle& process : serviceProcesses) {
    ::TerminateProcess(process.get(), 0);
    ::WaitForSingleObject(process.get(), INFINITE);
  }
}

void endProcesses() {
  for (const StartedProcess& started : startedProcesses) {
    ::TerminateProcess(started.process.get(), 0);
  }
  for (Job& job : leftJobs) {
    job.end(0);
  }
}

void doLine(const BenchLine& line) {
  const std::wstring& verb = line.verb();
  if (verb == L"start-service") {
    startService(line);
  } else if (verb == L"start-process") {
    startProcess(line);
  } else if (verb == L"start-driver") {
    startDriver(line);
  } else if (verb == L"wait-process") {
    waitProcess(line);
  } else if (verb == L"hold-file") {
    holdFile(line);
  } else if (verb == L"refuse-delete") {
    refuseDelete(line);
  } else if (verb == L"run") {
    runPrograms(line, 1);
  } else if (verb == L"run-twice") {
    runPrograms(line, 2);
  } else if (verb == L"run-until") {
    runUntil(line);
  } else if (verb == L"run-leaving") {
    runLeaving(line);
  } else if (verb == L"enter") {
    enter(line);
  } else if (verb == L"set-variable") {
    setVariable(line);
  } else if (verb == L"record-value") {
    recordValue(line);
  } else if (verb == L"record-service") {
    recordService(line);
  } else if (verb == L"record-processes") {
    recordProcesses();
  } else if (verb == L"record-pending") {
    recordPending();
  } else {
    failLine(line, "unknown verb", ERROR_INVALID_PARAMETER);
  }
}

}  // namespace

int wmain(int argumentCount, wchar_t** arguments) {
  if (argumentCount != 3) {
    std::fprintf(stderr, "usage: machine_session LIST RECORD\n");
    return 2;
  }
  recordFile.reset(::CreateFileW(arguments[2], GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                 FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!recordFile) {
    std::fprintf(stderr, "bench: %ls cannot be written (%lu)\n", arguments[2], ::GetLastError());
    return 2;
  }
  // The first program that needs a desktop starts the desktop process, which lives as long as this session. It must
  // not count among the processes to wait for.
  ::GetDesktopWindow();
  for (const BenchLine& line : readBenchList(arguments[1])) {
    doLine(line);
  }
  endServices();
  endProcesses();
  return 0;
}
