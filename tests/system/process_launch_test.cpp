// process_launch_test - how the cleanup starts other programs: hidden, waited for or not, with their exit codes.
#include "system/process_launch.h"

#include <optional>
#include <system_error>
#include <thread>

#include <objbase.h>
#include <shellapi.h>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/failing_log.h"
#include "support/link_seam.h"
#include "support/test_child.h"
#include "support/text.h"
#include "system/system_message.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

// What the last call of each function was given. Everything is called through unless a test asks for a failure.
struct Calls {
  std::optional<std::wstring> applicationName;
  wchar_t* commandLine = nullptr;
  SECURITY_ATTRIBUTES processAttributes = {};
  bool hasThreadAttributes = true;
  BOOL inheritsHandles = -1;
  DWORD creationFlags = 0;
  const void* environment = nullptr;
  const wchar_t* directory = L"not called";
  DWORD startupBytes = 0;
  PROCESS_INFORMATION process = {};

  SHELLEXECUTEINFOW shell = {};
  std::wstring verb, file, parameters;
  DWORD shellThread = 0;
  HANDLE shellProcess = nullptr;

  std::optional<DWORD> apartment;
  DWORD apartmentThread = 0;
  DWORD waitedMilliseconds = 0;
};
Calls calls;

std::optional<DWORD> shellFailure;     // ShellExecuteExW fails with this code
bool shellStartsNothing = false;       // ShellExecuteExW succeeds and gives no process
std::optional<DWORD> exitCodeFailure;  // GetExitCodeProcess fails with this code
std::optional<DWORD> shortenedWait;    // stands in for a time-out that a test can't sit out

class ProcessLaunch : public ::testing::Test {
 protected:
  void SetUp() override {
    calls = {};
    shellFailure.reset();
    shellStartsNothing = false;
    exitCodeFailure.reset();
    shortenedWait.reset();
  }

  CapturedLog log;
};

using LaunchExe = ProcessLaunch;
using LaunchAndWait = ProcessLaunch;
using ShellExecuteOnThread = ProcessLaunch;

bool isClosed(HANDLE handle) {
  DWORD flags = 0;
  return !::GetHandleInformation(handle, &flags) && ::GetLastError() == ERROR_INVALID_HANDLE;
}

int launch(std::wstring commandLine, DWORD& exitCode) {
  return LaunchExeByCreateProcess(commandLine.data(), false, &exitCode);
}

}  // namespace

LINK_SEAM(BOOL, CreateProcessW,
          (const wchar_t* application, wchar_t* commandLine, SECURITY_ATTRIBUTES* processAttributes,
           SECURITY_ATTRIBUTES* threadAttributes, BOOL inherit, DWORD flags, void* environment,
           const wchar_t* directory, STARTUPINFOW* startup, PROCESS_INFORMATION* process)) {
  calls.applicationName.reset();
  if (application) {
    calls.applicationName = application;
  }
  calls.commandLine = commandLine;
  calls.processAttributes = processAttributes ? *processAttributes : SECURITY_ATTRIBUTES{};
  calls.hasThreadAttributes = threadAttributes != nullptr;
  calls.inheritsHandles = inherit;
  calls.creationFlags = flags;
  calls.environment = environment;
  calls.directory = directory;
  calls.startupBytes = startup->cb;
  const BOOL result = realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, commandLine, processAttributes, threadAttributes, inherit, flags, environment, directory, startup,
      process);
  calls.process = *process;
  return result;
}

LINK_SEAM(BOOL, ShellExecuteExW, (SHELLEXECUTEINFOW * info)) {
  calls.shell = *info;
  calls.verb = info->lpVerb;
  calls.file = info->lpFile;
  calls.parameters = info->lpParameters;
  calls.shellThread = ::GetCurrentThreadId();
  if (shellFailure) {
    ::SetLastError(*shellFailure);
    return FALSE;
  }
  if (shellStartsNothing) {
    return TRUE;
  }
  const BOOL result = realFunction<decltype(&::ShellExecuteExW)>(L"shell32.dll", "ShellExecuteExW")(info);
  calls.shellProcess = info->hProcess;
  return result;
}

LINK_SEAM(BOOL, GetExitCodeProcess, (HANDLE process, DWORD* exitCode)) {
  if (exitCodeFailure) {
    ::SetLastError(*exitCodeFailure);
    return FALSE;
  }
  return realFunction<decltype(&::GetExitCodeProcess)>(L"kernel32.dll", "GetExitCodeProcess")(process, exitCode);
}

LINK_SEAM(HRESULT, CoInitializeEx, (void* reserved, DWORD apartment)) {
  calls.apartment = apartment;
  calls.apartmentThread = ::GetCurrentThreadId();
  return realFunction<decltype(&::CoInitializeEx)>(L"ole32.dll", "CoInitializeEx")(reserved, apartment);
}

LINK_SEAM(DWORD, WaitForSingleObject, (HANDLE object, DWORD milliseconds)) {
  if (object == calls.shellProcess && object) {
    calls.waitedMilliseconds = milliseconds;
    milliseconds = shortenedWait.value_or(milliseconds);
  }
  return realFunction<decltype(&::WaitForSingleObject)>(L"kernel32.dll", "WaitForSingleObject")(object, milliseconds);
}

TEST_F(LaunchExe, GivesOneWhenTheVariableIsZero) {
  DWORD exitCode = 0;
  EXPECT_EQ(launch(L"cmd.exe /C exit 3", exitCode), 1);
  EXPECT_EQ(exitCode, 0u) << "the variable is read, never written";
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(LaunchExe, GivesZeroWhenTheVariableIsAnythingElse) {
  for (const DWORD value : {DWORD{1}, DWORD{STILL_ACTIVE}, ~DWORD{0}}) {
    DWORD exitCode = value;
    EXPECT_EQ(launch(L"cmd.exe /C exit 0", exitCode), 0);
    EXPECT_EQ(exitCode, value);
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(LaunchExe, DoesNotWaitForTheProcess) {
  const NamedEvent ready;
  const NamedEvent go;
  const NamedEvent done;
  DWORD exitCode = 0;
  // The child can end only after the call has come back, so a call that waits would sit out the child's limit.
  const std::wstring commandLine = L"cmd.exe /C \"" + ownProgram() + L" --wait " + ready.name() + L" " + go.name() +
                                   L" && " + ownProgram() + L" --signal " + done.name() + L"\"";
  EXPECT_EQ(launch(commandLine, exitCode), 1);
  EXPECT_TRUE(ready.wait());
  EXPECT_FALSE(done.isSet());
  go.set();
  EXPECT_TRUE(done.wait());
}

TEST_F(LaunchExe, ProgramThatIsNotThereIsLoggedAndGivesZero) {
  DWORD exitCode = 0;
  EXPECT_EQ(launch(L"C:\\bench\\missing.exe /x", exitCode), 0);
  EXPECT_EQ(exitCode, 0u);
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR CommonHelperUtility::LaunchExeByCreateProcess - CreateProcess failed(2)."));
}

TEST_F(LaunchExe, ExceptionWhileTheFailureIsLoggedIsCaught) {
  DWORD exitCode = 0;
  failingLogLine = 1;
  EXPECT_EQ(launch(L"C:\\bench\\missing.exe /x", exitCode), 0);
  EXPECT_EQ(failingLogLine, 0) << "no line was tried";
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR Exception - CommonHelperUtility::LaunchExeByCreateProcess - Inside Catch"));
}

TEST_F(LaunchExe, ProcessIsHiddenAndInheritsNothing) {
  DWORD exitCode = 0;
  std::wstring commandLine = L"cmd.exe /C exit 0";
  LaunchExeByCreateProcess(commandLine.data(), true, &exitCode);
  EXPECT_EQ(calls.applicationName, L"C:\\windows\\system32\\cmd.exe");
  EXPECT_EQ(calls.commandLine, commandLine.data()) << "the caller's own writable text";
  EXPECT_EQ(calls.creationFlags, static_cast<DWORD>(CREATE_NO_WINDOW));
  EXPECT_EQ(calls.inheritsHandles, FALSE);
  EXPECT_EQ(calls.processAttributes.bInheritHandle, TRUE);
  EXPECT_FALSE(calls.hasThreadAttributes);
  EXPECT_EQ(calls.environment, nullptr);
  EXPECT_EQ(calls.directory, nullptr);
  EXPECT_EQ(calls.startupBytes, sizeof(STARTUPINFOW));
}

TEST_F(LaunchExe, ProgramNamedWithoutAPathIsTheSystemFolders) {
  DWORD exitCode = 0;
  for (const wchar_t* name : {L"hostname", L"hostname.exe", L"hostname /x"}) {
    EXPECT_EQ(launch(name, exitCode), 1);
    EXPECT_EQ(calls.applicationName, L"C:\\windows\\system32\\hostname.exe") << narrow(name);
  }
  // Beside this program there is one of its own name.
  const std::wstring own = ownProgram();
  EXPECT_EQ(launch(own.substr(own.rfind(L'\\') + 1) + L" --exit 0", exitCode), 0);
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR CommonHelperUtility::LaunchExeByCreateProcess - CreateProcess failed(2)."));
}

TEST_F(LaunchExe, ProgramNamedWithItsPathIsFoundByThat) {
  DWORD exitCode = 0;
  EXPECT_EQ(launch(ownProgram() + L" --exit 0", exitCode), 1);
  EXPECT_EQ(calls.applicationName, std::nullopt);
  EXPECT_EQ(launch(L"\"" + ownProgram() + L"\" --exit 0", exitCode), 1);
  EXPECT_EQ(calls.applicationName, std::nullopt);
}

TEST_F(LaunchExe, ClosesBothHandles) {
  DWORD exitCode = 0;
  launch(L"cmd.exe /C exit 0", exitCode);
  ASSERT_NE(calls.process.hProcess, nullptr);
  EXPECT_TRUE(isClosed(calls.process.hProcess));
  EXPECT_TRUE(isClosed(calls.process.hThread));
}

TEST_F(LaunchAndWait, ReturnsTheExitCode) {
  EXPECT_EQ(LaunchProcessAndWait(L"cmd.exe", L"/C exit 7", INFINITE), 7u);
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Process cmd.exe /C exit 7 completed with exit code 7"));
}

TEST_F(LaunchAndWait, ReturnsAllBitsOfACrashCode) {
  EXPECT_EQ(LaunchProcessAndWait(ownProgram(), L"--exit 0xC0000005", INFINITE), 0xC0000005u);
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Process " + narrow(ownProgram()) +
                                       " --exit 0xC0000005 completed with exit code -1073741819"));
}

TEST_F(LaunchAndWait, TimeOutOfZeroReturnsAtOnceAndTheProcessGoesOn) {
  const NamedEvent ready;
  const NamedEvent go;
  const std::wstring parameters = L"--wait " + ready.name() + L" " + go.name();
  EXPECT_EQ(LaunchProcessAndWait(ownProgram(), parameters, 0), static_cast<DWORD>(STILL_ACTIVE));
  EXPECT_TRUE(ready.wait()) << "the process was not left running";
  go.set();
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Process " + narrow(ownProgram()) + " " + narrow(parameters) +
                                       " completed with exit code 259"));
}

TEST_F(LaunchAndWait, WaitsForTheGivenMilliseconds) {
  const NamedEvent ready;
  const NamedEvent go;
  shortenedWait = 0;
  EXPECT_EQ(LaunchProcessAndWait(ownProgram(), L"--wait " + ready.name() + L" " + go.name(), 60'000),
            static_cast<DWORD>(STILL_ACTIVE));
  EXPECT_EQ(calls.waitedMilliseconds, 60'000u);
  go.set();
}

TEST_F(LaunchAndWait, ShellIsAskedForAHiddenProcessWithItsHandle) {
  LaunchProcessAndWait(L"cmd.exe", L"/C exit 0", INFINITE);
  EXPECT_EQ(calls.shell.cbSize, sizeof(SHELLEXECUTEINFOW));
  EXPECT_EQ(calls.shell.fMask, 0x800540u);
  EXPECT_EQ(calls.verb, L"open");
  EXPECT_EQ(calls.file, L"cmd.exe");
  EXPECT_EQ(calls.parameters, L"/C exit 0");
  EXPECT_EQ(calls.shell.nShow, SW_HIDE);
  EXPECT_EQ(calls.shell.hwnd, nullptr);
  EXPECT_EQ(calls.shell.lpDirectory, nullptr);
  EXPECT_EQ(calls.shell.lpIDList, nullptr);
  EXPECT_EQ(calls.shell.lpClass, nullptr);
  EXPECT_EQ(calls.shellThread, ::GetCurrentThreadId());
}

TEST_F(LaunchAndWait, ThreadOfAnotherApartmentIsNoFailure) {
  std::thread thread([] {
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    calls.apartment.reset();
    EXPECT_EQ(LaunchProcessAndWait(L"cmd.exe", L"/C exit 4", INFINITE), 4u);
    EXPECT_EQ(calls.apartment, static_cast<DWORD>(COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE));
    EXPECT_EQ(calls.apartmentThread, ::GetCurrentThreadId());
  });
  thread.join();
}

TEST_F(LaunchAndWait, ClosesTheProcessHandle) {
  LaunchProcessAndWait(L"cmd.exe", L"/C exit 0", INFINITE);
  ASSERT_NE(calls.shellProcess, nullptr);
  EXPECT_TRUE(isClosed(calls.shellProcess));
}

TEST_F(LaunchAndWait, ProgramThatIsNotThereIsLoggedAndRaised) {
  try {
    LaunchProcessAndWait(L"C:\\bench\\missing.exe", L"-a \"b c\"", INFINITE);
    FAIL() << "nothing was raised";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(ERROR_FILE_NOT_FOUND, std::system_category()));
    EXPECT_THAT(error.what(), StartsWith("Unable to create process"));
  }
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR Launching process C:\\bench\\missing.exe -a \"b c\" failed. Error code = 2 " +
                          narrow(systemMessage(ERROR_FILE_NOT_FOUND))));
}

TEST_F(LaunchAndWait, RefusedLaunchCarriesTheShellsCode) {
  shellFailure = ERROR_CANCELLED;
  try {
    LaunchProcessAndWait(L"a.exe", L"", INFINITE);
    FAIL() << "nothing was raised";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(ERROR_CANCELLED, std::system_category()));
    EXPECT_THAT(error.what(), StartsWith("Unable to create process"));
  }
  EXPECT_THAT(log.lines(), ElementsAre("ERROR Launching process a.exe  failed. Error code = 1223 " +
                                       narrow(systemMessage(ERROR_CANCELLED))));
}

TEST_F(LaunchAndWait, UnreadableExitCodeIsLoggedAndRaised) {
  exitCodeFailure = ERROR_ACCESS_DENIED;
  try {
    LaunchProcessAndWait(L"cmd.exe", L"/C exit 0", INFINITE);
    FAIL() << "nothing was raised";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(ERROR_ACCESS_DENIED, std::system_category()));
    EXPECT_THAT(error.what(), StartsWith("Unable to process exit code"));
  }
  EXPECT_THAT(log.lines(), ElementsAre("ERROR Unable to get exit code for process cmd.exe /C exit 0. Error code = 5 " +
                                       narrow(systemMessage(ERROR_ACCESS_DENIED))));
  EXPECT_TRUE(isClosed(calls.shellProcess));
}

TEST_F(LaunchAndWait, LaunchWithoutAProcessHasNoExitCode) {
  shellStartsNothing = true;
  EXPECT_THROW(LaunchProcessAndWait(L"document.txt", L"", INFINITE), std::system_error);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR Unable to get exit code for process document.txt . Error code = 6 " +
                                       narrow(systemMessage(ERROR_INVALID_HANDLE))));
}

TEST_F(ShellExecuteOnThread, RunsInASingleThreadedApartmentOfItsOwn) {
  const NamedEvent done;
  const std::wstring parameters = L"--signal " + done.name();
  RunShellExecuteOnThread(ownProgram(), parameters);
  EXPECT_TRUE(done.wait());
  EXPECT_EQ(calls.shell.cbSize, sizeof(SHELLEXECUTEINFOW));
  EXPECT_EQ(calls.shell.fMask, static_cast<ULONG>(SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC));
  EXPECT_EQ(calls.verb, L"open");
  EXPECT_EQ(calls.file, ownProgram());
  EXPECT_EQ(calls.parameters, parameters);
  EXPECT_EQ(calls.shell.nShow, SW_HIDE);
  EXPECT_NE(calls.shellThread, ::GetCurrentThreadId());
  EXPECT_EQ(calls.apartmentThread, calls.shellThread);
  EXPECT_EQ(calls.apartment, static_cast<DWORD>(COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ShellExecuteOnThread, DoesNotWaitForTheProgram) {
  const NamedEvent ready;
  const NamedEvent go;
  RunShellExecuteOnThread(ownProgram(), L"--wait " + ready.name() + L" " + go.name());
  EXPECT_TRUE(ready.wait());
  DWORD exitCode = 0;
  ASSERT_TRUE(::GetExitCodeProcess(calls.shellProcess, &exitCode)) << "the process handle is left open";
  EXPECT_EQ(exitCode, static_cast<DWORD>(STILL_ACTIVE));
  go.set();
}

TEST_F(ShellExecuteOnThread, FailureIsNotLookedAt) {
  shellFailure = ERROR_ACCESS_DENIED;
  EXPECT_NO_THROW(RunShellExecuteOnThread(L"C:\\bench\\missing.exe", L""));
  EXPECT_THAT(log.lines(), IsEmpty());
}

int main(int argumentCount, char** arguments) {
  if (const auto exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
