// service_program [hang] - a real service: reports that it is running and stops on request. With `hang` it reports a
// pending stop and never stops.
#include <string>

#include <windows.h>

namespace {

// The wait hint: how long a program that waits for the stop should sleep between two queries.
constexpr DWORD kWaitHintMilliseconds = 1000;

SERVICE_STATUS_HANDLE statusHandle;
HANDLE stopEvent;
bool hangOnStop;

void report(DWORD state) {
  SERVICE_STATUS status{};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
  status.dwWaitHint = kWaitHintMilliseconds;
  ::SetServiceStatus(statusHandle, &status);
}

DWORD WINAPI control(DWORD code, DWORD, void*, void*) {
  if (code == SERVICE_CONTROL_STOP) {
    report(SERVICE_STOP_PENDING);
    if (!hangOnStop) {
      ::SetEvent(stopEvent);
    }
  }
  return NO_ERROR;
}

void WINAPI serviceMain(DWORD, wchar_t**) {
  stopEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  statusHandle = ::RegisterServiceCtrlHandlerExW(L"", control, nullptr);
  report(SERVICE_RUNNING);
  ::WaitForSingleObject(stopEvent, INFINITE);
  report(SERVICE_STOPPED);
}

}  // namespace

int wmain(int argumentCount, wchar_t** arguments) {
  hangOnStop = argumentCount > 1 && std::wstring(arguments[1]) == L"hang";
  wchar_t name[] = L"";
  const SERVICE_TABLE_ENTRYW services[] = {{name, serviceMain}, {nullptr, nullptr}};
  return ::StartServiceCtrlDispatcherW(services) ? 0 : static_cast<int>(::GetLastError());
}
