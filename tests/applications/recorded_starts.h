// recorded_starts - records the processes that a test starts and can fake their outcome. Replaces the Windows functions
// in the test program that includes it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"

struct Start {
  std::wstring commandLine;
  std::wstring directory;
  HANDLE process;
};
inline std::vector<Start> starts;
inline std::vector<HANDLE> waitedFor;
inline std::optional<DWORD> startFailure;
inline bool startsNothing = false;  // start a process that exits at once instead
inline std::optional<DWORD> exitCodeOfChild;

LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR directory,
           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process)) {
  starts.push_back({commandLine, directory ? directory : L"", nullptr});
  if (startFailure) {
    ::SetLastError(*startFailure);
    return FALSE;
  }
  std::wstring nothing = L"cmd.exe /C exit 0";
  const BOOL result = realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, startsNothing ? nothing.data() : commandLine, processSecurity, threadSecurity, inherit, flags,
      environment, startsNothing ? nullptr : directory, startup, process);
  starts.back().process = process->hProcess;
  return result;
}

LINK_SEAM(BOOL, GetExitCodeProcess, (HANDLE process, LPDWORD exitCode)) {
  if (exitCodeOfChild) {
    *exitCode = *exitCodeOfChild;
    return TRUE;
  }
  return realFunction<decltype(&::GetExitCodeProcess)>(L"kernel32.dll", "GetExitCodeProcess")(process, exitCode);
}

LINK_SEAM(DWORD, WaitForSingleObject, (HANDLE object, DWORD milliseconds)) {
  if (!starts.empty() && object == starts.back().process && milliseconds == INFINITE) {
    waitedFor.push_back(object);
  }
  return realFunction<decltype(&::WaitForSingleObject)>(L"kernel32.dll", "WaitForSingleObject")(object, milliseconds);
}

class RecordedStarts : public ::testing::Test {
 protected:
  void SetUp() override {
    starts.clear();
    waitedFor.clear();
    startFailure.reset();
    startsNothing = false;
    exitCodeOfChild.reset();
  }

  CapturedLog log;
};
