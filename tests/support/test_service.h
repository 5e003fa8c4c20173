// test_service - real services whose program is the test program itself. A test file that needs one has a main of its
// own that calls runAsService first.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <windows.h>

#include "support/test_child.h"
#include "system/handles.h"

// How the service responds to a stop request.
namespace ServiceManner {
inline constexpr wchar_t kStops[] = L"stops";      // reports a pending stop, then ends
inline constexpr wchar_t kHangs[] = L"hangs";      // reports a pending stop and stays
inline constexpr wchar_t kRefuses[] = L"refuses";  // does not accept the request
}  // namespace ServiceManner

// A registered service. The destructor removes its process and its registration, whatever a test has left of them.
class TestService {
 public:
  explicit TestService(std::wstring name, const wchar_t* manner = ServiceManner::kStops) : name_(std::move(name)) {
    const ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    const std::wstring commandLine = L"\"" + ownProgram() + L"\" --service " + manner + L" " + running_.name();
    // A deleted service stays registered until the service control manager has noticed that its process ended. There is
    // no notification of that.
    constexpr DWORD kPollMilliseconds = 20;
    const ULONGLONG end = ::GetTickCount64() + NamedEvent::kLimitMilliseconds;
    for (;;) {
      service_.reset(::CreateServiceW(manager.get(), name_.c_str(), name_.c_str(), SERVICE_ALL_ACCESS,
                                      SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE,
                                      commandLine.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
      if (service_ || ::GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE || ::GetTickCount64() > end) {
        break;
      }
      ::Sleep(kPollMilliseconds);
    }
  }
  ~TestService() {
    if (!service_ && exists()) {
      const ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
      service_.reset(::OpenServiceW(manager.get(), name_.c_str(), SERVICE_ALL_ACCESS));
    }
    if (service_) {
      ::DeleteService(service_.get());
    }
    if (process_) {
      ::TerminateProcess(process_.get(), 1);
      ::WaitForSingleObject(process_.get(), NamedEvent::kLimitMilliseconds);
    }
  }
  TestService(const TestService&) = delete;
  TestService& operator=(const TestService&) = delete;

  const std::wstring& name() const { return name_; }
  SC_HANDLE handle() const { return service_.get(); }

  // Starts the service. True if it reports that it is running.
  bool start() {
    if (!::StartServiceW(service_.get(), 0, nullptr) || !running_.wait()) {
      return false;
    }
    process_.reset(::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, status().dwProcessId));
    return process_ && state() == SERVICE_RUNNING;
  }

  // Requests the service to stop, without waiting.
  void requestStop() const {
    SERVICE_STATUS ignored = {};
    ::ControlService(service_.get(), SERVICE_CONTROL_STOP, &ignored);
  }

  DWORD state() const { return status().dwCurrentState; }

  // True if the service's process ends within the limit.
  bool waitForEnd() const {
    return ::WaitForSingleObject(process_.get(), NamedEvent::kLimitMilliseconds) == WAIT_OBJECT_0;
  }

  // Closes the test's handle, because a deleted service stays registered as long as anybody has it open.
  void letGo() { service_.reset(); }

  // Whether the service control manager still knows the service.
  bool exists() const {
    const ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    return static_cast<bool>(ServiceHandle(::OpenServiceW(manager.get(), name_.c_str(), SERVICE_QUERY_STATUS)));
  }

 private:
  SERVICE_STATUS_PROCESS status() const {
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    ::QueryServiceStatusEx(service_.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof(status),
                           &needed);
    return status;
  }

  std::wstring name_;
  NamedEvent running_;
  ServiceHandle service_;
  KernelHandle process_;
};

// The program of a service, if the service control manager started this one as such.
namespace service_program {

inline std::string_view manner;
inline const char* runningEvent = nullptr;
inline SERVICE_STATUS_HANDLE statusHandle = nullptr;
inline HANDLE stopRequested = nullptr;

inline void report(DWORD state, DWORD waitHint) {
  SERVICE_STATUS status = {};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = state == SERVICE_RUNNING && manner != "refuses" ? SERVICE_ACCEPT_STOP : 0;
  status.dwWaitHint = waitHint;
  ::SetServiceStatus(statusHandle, &status);
}

inline DWORD WINAPI onControl(DWORD control, DWORD, void*, void*) {
  if (control == SERVICE_CONTROL_STOP) {
    report(SERVICE_STOP_PENDING, 10);
    if (manner != "hangs") {
      ::SetEvent(stopRequested);
    }
  }
  return NO_ERROR;
}

inline void WINAPI serve(DWORD, wchar_t**) {
  stopRequested = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  statusHandle = ::RegisterServiceCtrlHandlerExW(L"", onControl, nullptr);
  report(SERVICE_RUNNING, 0);
  ::SetEvent(KernelHandle(::OpenEventA(EVENT_ALL_ACCESS, FALSE, runningEvent)).get());
  ::WaitForSingleObject(stopRequested, INFINITE);
  report(SERVICE_STOPPED, 0);
}

}  // namespace service_program

// Runs until the service is stopped. Empty if the program was not started as a service.
inline std::optional<int> runAsService(int argumentCount, char** arguments) {
  if (argumentCount < 4 || std::string_view(arguments[1]) != "--service") {
    return std::nullopt;
  }
  service_program::manner = arguments[2];
  service_program::runningEvent = arguments[3];
  wchar_t ownProcess[] = L"";
  const SERVICE_TABLE_ENTRYW table[] = {{ownProcess, service_program::serve}, {nullptr, nullptr}};
  return ::StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
