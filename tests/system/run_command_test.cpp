// run_command_test - the hidden command line of the uninstall runs: what is started, how, and what is returned.
#include <optional>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_child.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/process_launch.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// How the last process was started. Calls are real unless a test asks for a failure.
struct Start {
  std::wstring application;
  std::wstring commandLine;
  bool hasAttributes = true;
  BOOL inheritsHandles = -1;
  DWORD creationFlags = 0;
  bool hasEnvironment = true;
  std::wstring directory;
  STARTUPINFOW startup = {};
  PROCESS_INFORMATION process = {};
};
Start started;
int starts = 0;
std::optional<DWORD> startFailure;
bool exitCodeFails = false;
std::optional<DWORD> waited;

}  // namespace

LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR directory,
           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process)) {
  ++starts;
  started = {application ? application : L"",
             commandLine,
             processSecurity || threadSecurity,
             inherit,
             flags,
             environment != nullptr,
             directory ? directory : L"",
             *startup,
             {}};
  if (startFailure) {
    ::SetLastError(*startFailure);
    return FALSE;
  }
  const BOOL result = realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, commandLine, processSecurity, threadSecurity, inherit, flags, environment, directory, startup,
      process);
  started.process = *process;
  return result;
}

LINK_SEAM(BOOL, GetExitCodeProcess, (HANDLE process, LPDWORD exitCode)) {
  return exitCodeFails
             ? FALSE
             : realFunction<decltype(&::GetExitCodeProcess)>(L"kernel32.dll", "GetExitCodeProcess")(process, exitCode);
}

LINK_SEAM(DWORD, WaitForSingleObject, (HANDLE object, DWORD milliseconds)) {
  if (object && object == started.process.hProcess) {
    waited = milliseconds;
  }
  return realFunction<decltype(&::WaitForSingleObject)>(L"kernel32.dll", "WaitForSingleObject")(object, milliseconds);
}

namespace {

class CommandRun : public ::testing::Test {
 protected:
  void SetUp() override {
    started = {};
    starts = 0;
    startFailure.reset();
    exitCodeFails = false;
    waited.reset();
  }

  CapturedLog log;
};

bool isClosed(HANDLE handle) {
  DWORD flags = 0;
  return !::GetHandleInformation(handle, &flags) && ::GetLastError() == ERROR_INVALID_HANDLE;
}

}  // namespace

TEST_F(CommandRun, GivesTheExitCodeOfTheCommand) {
  for (const DWORD code : {0u, 1u, 1603u, 3010u, 4096u, 0xFFFFFFFFu}) {
    EXPECT_EQ(RunCommand(ownProgram() + L" --exit " + std::to_wstring(code), L"C:\\", true), code);
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CommandRun, ProgramThatTheInterpreterDoesNotFindIsAnExitCodeAndNoFailure) {
  EXPECT_NE(RunCommand(L"C:\\bench\\missing.exe /x", L"C:\\", true), 0u);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CommandRun, InterpreterGetsTheCommandInQuotesAndIsHidden) {
  RunCommand(L"exit 3", L"C:\\windows", true);
  EXPECT_EQ(started.application, L"C:\\windows\\system32\\cmd.exe");
  EXPECT_EQ(started.commandLine, L"cmd.exe /C \"exit 3\"");
  EXPECT_FALSE(started.hasAttributes);
  EXPECT_EQ(started.inheritsHandles, FALSE);
  EXPECT_EQ(started.creationFlags, static_cast<DWORD>(CREATE_NO_WINDOW));
  EXPECT_FALSE(started.hasEnvironment);
  EXPECT_EQ(started.directory, L"C:\\windows");
  EXPECT_EQ(started.startup.cb, 104u);
  EXPECT_EQ(started.startup.dwFlags, 0u);
  EXPECT_EQ(started.startup.lpDesktop, nullptr);
  EXPECT_EQ(started.startup.hStdOutput, nullptr);
}

TEST_F(CommandRun, CommandIsHandedOnAsItStandsWithItsOwnQuotes) {
  for (const wchar_t* command : {L"", L"exit 0 \"quoted\"", L"exit \"0", L"exit 0 & rem %s%n%PATH%"}) {
    RunCommand(command, L"C:\\", true);
    EXPECT_EQ(started.commandLine, std::wstring(L"cmd.exe /C \"") + command + L"\"");
  }
}

TEST_F(CommandRun, QuotedProgramWithBlanksInItsPathRuns) {
  const TestFolder folder;
  folder.makeDirectory(L"with blanks");
  const std::wstring program = folder / L"with blanks\\copy of it.exe";
  ASSERT_TRUE(::CopyFileW(ownProgram().c_str(), program.c_str(), TRUE));
  EXPECT_EQ(RunCommand(L"\"" + program + L"\" --exit 17", L"C:\\", true), 17u);
}

TEST_F(CommandRun, CommandRunsInTheGivenFolder) {
  const TestFolder folder;
  EXPECT_EQ(RunCommand(L"echo here>where.txt", folder.path(), true), 0u);
  EXPECT_EQ(readFile(folder / L"where.txt").substr(0, 4), "here");
}

TEST_F(CommandRun, WaitingHasNoLimitAndBothHandlesAreClosed) {
  RunCommand(ownProgram() + L" --exit 0", L"C:\\", true);
  EXPECT_EQ(waited, std::optional<DWORD>(INFINITE));
  EXPECT_TRUE(isClosed(started.process.hProcess));
  EXPECT_TRUE(isClosed(started.process.hThread));
}

TEST_F(CommandRun, WithoutWaitingTheCodeIsThatOfARunningProcess) {
  const NamedEvent ready;
  const NamedEvent go;
  const NamedEvent done;
  // The command cannot end before `go`, which is set after the call has returned.
  const DWORD code = RunCommand(ownProgram() + L" --wait " + ready.name() + L" " + go.name() + L" && " + ownProgram() +
                                    L" --signal " + done.name(),
                                L"C:\\", false);
  EXPECT_EQ(code, static_cast<DWORD>(STILL_ACTIVE));
  EXPECT_FALSE(waited.has_value());
  EXPECT_TRUE(isClosed(started.process.hProcess));
  EXPECT_TRUE(isClosed(started.process.hThread));
  EXPECT_TRUE(ready.wait());
  EXPECT_FALSE(done.isSet());
  go.set();
  EXPECT_TRUE(done.wait()) << "the command outlives the call";
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CommandRun, FailedStartGivesTheErrorAndItsLine) {
  for (const bool wait : {true, false}) {
    for (const DWORD error : {DWORD{ERROR_FILE_NOT_FOUND}, DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_NOT_ENOUGH_QUOTA}}) {
      const CapturedLog lines;
      startFailure = error;
      EXPECT_EQ(RunCommand(L"tool \"%s\" 100%", L"C:\\", wait), error);
      EXPECT_THAT(lines.lines(),
                  ElementsAre("ERROR Failed Applications uninstall : cmd: tool \"%s\" 100% ,error code\t:\t" +
                              std::to_string(error)));
    }
  }
  EXPECT_EQ(starts, 6) << "no second try";
}

TEST_F(CommandRun, FolderThatIsNotThereFailsTheStart) {
  const DWORD code = RunCommand(L"exit 0", L"C:\\bench\\missing", true);
  EXPECT_NE(code, 0u);
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR Failed Applications uninstall : cmd: exit 0 ,error code\t:\t" + std::to_string(code)));
}

TEST_F(CommandRun, ExitCodeThatCannotBeReadCountsAsZero) {
  exitCodeFails = true;
  EXPECT_EQ(RunCommand(ownProgram() + L" --exit 5", L"C:\\", true), 0u);
  EXPECT_THAT(log.lines(), IsEmpty());
}

int main(int argumentCount, char** arguments) {
  if (const auto exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
