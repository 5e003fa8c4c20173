// command_output_test - running a command under the command interpreter and taking what it prints.
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_child.h"
#include "support/text.h"
#include "system/process_launch.h"
#include "system/system_message.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using namespace std::string_literals;

struct CreatedPipe {
  HANDLE readEnd;
  HANDLE writeEnd;
};

// What the calls were given. Everything is called through unless a test asks for a failure.
std::vector<CreatedPipe> pipes;
std::vector<HANDLE> keptFromChildren;  // handles whose inheritance was switched off
std::vector<SECURITY_ATTRIBUTES> pipeAttributes;
std::vector<DWORD> pipeBytes;
std::wstring applicationName;
std::wstring commandLine;
BOOL inheritsHandles;
DWORD creationFlags;
STARTUPINFOW startupInfo;
PROCESS_INFORMATION createdProcess;
int peeks;

// The number of the call that fails, counted from 1, and its code.
struct Failure {
  int call = 0;
  DWORD code = 0;
};
Failure pipeFailure;
Failure inheritanceFailure;
Failure peekFailure;
std::optional<DWORD> processFailure;
std::optional<DWORD> readFailure;
bool failingPeekFollowsTheFirstRead;

class CommandOutput : public ::testing::Test {
 protected:
  void SetUp() override {
    pipes.clear();
    keptFromChildren.clear();
    pipeAttributes.clear();
    pipeBytes.clear();
    applicationName.clear();
    commandLine.clear();
    inheritsHandles = FALSE;
    creationFlags = 0;
    startupInfo = {};
    createdProcess = {};
    peeks = 0;
    pipeFailure = {};
    inheritanceFailure = {};
    peekFailure = {};
    processFailure.reset();
    readFailure.reset();
    failingPeekFollowsTheFirstRead = false;
  }

  static std::wstring own(const std::wstring& arguments) { return ownProgram() + L" " + arguments; }
  static std::string launchLine(const std::string& command) {
    return "DEBUG Launching command cmd.exe /C \"" + command + "\"";
  }
  static std::string ownLaunchLine(const std::string& arguments) {
    return launchLine(narrow(ownProgram()) + " " + arguments);
  }

  CapturedLog log;
};

std::string withoutZeros(std::string text) {
  std::erase(text, '\0');
  return text;
}

bool isClosed(HANDLE handle) {
  DWORD flags = 0;
  return !::GetHandleInformation(handle, &flags) && ::GetLastError() == ERROR_INVALID_HANDLE;
}

void expectAllHandlesClosed() {
  for (const CreatedPipe& pipe : pipes) {
    EXPECT_TRUE(isClosed(pipe.readEnd));
    EXPECT_TRUE(isClosed(pipe.writeEnd));
  }
  if (createdProcess.hProcess) {
    EXPECT_TRUE(isClosed(createdProcess.hProcess));
    EXPECT_TRUE(isClosed(createdProcess.hThread));
  }
}

}  // namespace

LINK_SEAM(BOOL, CreatePipe, (HANDLE * readEnd, HANDLE* writeEnd, SECURITY_ATTRIBUTES* attributes, DWORD bytes)) {
  pipeAttributes.push_back(attributes ? *attributes : SECURITY_ATTRIBUTES{});
  pipeBytes.push_back(bytes);
  if (static_cast<int>(pipeBytes.size()) == pipeFailure.call) {
    ::SetLastError(pipeFailure.code);
    return FALSE;
  }
  const BOOL result =
      realFunction<decltype(&::CreatePipe)>(L"kernel32.dll", "CreatePipe")(readEnd, writeEnd, attributes, bytes);
  pipes.push_back({*readEnd, *writeEnd});
  return result;
}

LINK_SEAM(BOOL, SetHandleInformation, (HANDLE handle, DWORD mask, DWORD flags)) {
  if (mask == HANDLE_FLAG_INHERIT && flags == 0) {
    keptFromChildren.push_back(handle);
  }
  if (static_cast<int>(keptFromChildren.size()) == inheritanceFailure.call) {
    ::SetLastError(inheritanceFailure.code);
    return FALSE;
  }
  return realFunction<decltype(&::SetHandleInformation)>(L"kernel32.dll", "SetHandleInformation")(handle, mask, flags);
}

LINK_SEAM(BOOL, CreateProcessW,
          (const wchar_t* application, wchar_t* line, SECURITY_ATTRIBUTES* processAttributes,
           SECURITY_ATTRIBUTES* threadAttributes, BOOL inherit, DWORD flags, void* environment,
           const wchar_t* directory, STARTUPINFOW* startup, PROCESS_INFORMATION* process)) {
  applicationName = application ? application : L"";
  commandLine = line;
  inheritsHandles = inherit;
  creationFlags = flags;
  startupInfo = *startup;
  if (processFailure) {
    ::SetLastError(*processFailure);
    return FALSE;
  }
  const BOOL result = realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, line, processAttributes, threadAttributes, inherit, flags, environment, directory, startup, process);
  createdProcess = *process;
  return result;
}

LINK_SEAM(BOOL, PeekNamedPipe, (HANDLE pipe, void* buffer, DWORD size, DWORD* read, DWORD* available, DWORD* left)) {
  if (++peeks == peekFailure.call) {
    ::SetLastError(peekFailure.code);
    return FALSE;
  }
  return realFunction<decltype(&::PeekNamedPipe)>(L"kernel32.dll", "PeekNamedPipe")(pipe, buffer, size, read, available,
                                                                                    left);
}

LINK_SEAM(BOOL, ReadFile, (HANDLE file, void* buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped)) {
  const BOOL result =
      realFunction<decltype(&::ReadFile)>(L"kernel32.dll", "ReadFile")(file, buffer, size, read, overlapped);
  if (readFailure && !pipes.empty() && file == pipes.front().readEnd) {
    std::memset(buffer, 0, size);
    *read = 0;
    ::SetLastError(*readFailure);
    return FALSE;
  }
  if (failingPeekFollowsTheFirstRead) {
    peekFailure = {peeks + 1, ERROR_BROKEN_PIPE};
    failingPeekFollowsTheFirstRead = false;
  }
  return result;
}

TEST_F(CommandOutput, EachChunkStandsAtTwiceItsLengthFilledUpWithZeros) {
  EXPECT_EQ(RunCommandCaptureOutput(own(L"--print one three")), "one\0\0\0three\0\0\0\0\0"s);
  EXPECT_THAT(log.lines(), ElementsAre(ownLaunchLine("--print one three"),
                                       "DEBUG Reading output buffer. Amount read: 3, Amount avaliable: 3",
                                       "DEBUG Reading output buffer. Amount read: 5, Amount avaliable: 5",
                                       "DEBUG Output from launched command: \none"));
  expectAllHandlesClosed();
}

TEST_F(CommandOutput, ErrorOutputIsTakenToo) {
  EXPECT_EQ(RunCommandCaptureOutput(own(L"--print oops 1>&2")), "oops\0\0\0\0"s);
}

TEST_F(CommandOutput, CommandIsReadByTheInterpreter) {
  EXPECT_EQ(withoutZeros(RunCommandCaptureOutput(L"echo a \"quoted\" word& " + own(L"--print end"))),
            "a \"quoted\" word\r\nend");
}

TEST_F(CommandOutput, ProgramThatPrintsNothingGivesAnEmptyString) {
  EXPECT_EQ(RunCommandCaptureOutput(own(L"--exit 5")), "");
  EXPECT_THAT(log.lines(), ElementsAre(ownLaunchLine("--exit 5"), "DEBUG Output from launched command: \n"));
  expectAllHandlesClosed();
}

TEST_F(CommandOutput, UnknownCommandIsNoFailureOfOurs) {
  const std::string output = RunCommandCaptureOutput(L"no-such-command 2>nul");
  EXPECT_EQ(output, "");
  EXPECT_THAT(log.lines(), ElementsAre(launchLine("no-such-command 2>nul"), "DEBUG Output from launched command: \n"));
}

TEST_F(CommandOutput, LargeOutputIsComplete) {
  constexpr std::size_t kBytes = 1'000'000;
  const std::string output = RunCommandCaptureOutput(own(L"--print-amount " + std::to_wstring(kBytes)));
  const std::string printed = withoutZeros(output);
  ASSERT_EQ(printed.size(), kBytes) << printed.substr(0, 200);
  EXPECT_EQ(output.size(), 2 * kBytes);
  for (std::size_t index = 0; index < kBytes; ++index) {
    ASSERT_EQ(printed[index], static_cast<char>('0' + index % 10)) << index;
  }
}

TEST_F(CommandOutput, ProcessIsHiddenAndGetsTheWriteEnd) {
  RunCommandCaptureOutput(L"exit 0");
  EXPECT_EQ(applicationName, L"C:\\windows\\system32\\cmd.exe");
  EXPECT_EQ(commandLine, L"cmd.exe /C \"exit 0\"");
  EXPECT_EQ(creationFlags, static_cast<DWORD>(CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT));
  EXPECT_EQ(inheritsHandles, TRUE);
  EXPECT_EQ(startupInfo.cb, sizeof(STARTUPINFOEXW));
  EXPECT_EQ(startupInfo.dwFlags, static_cast<DWORD>(STARTF_USESTDHANDLES));
  ASSERT_EQ(pipes.size(), 2u);
  EXPECT_EQ(startupInfo.hStdOutput, pipes[0].writeEnd);
  EXPECT_EQ(startupInfo.hStdError, pipes[0].writeEnd);
  EXPECT_EQ(startupInfo.hStdInput, nullptr);
  EXPECT_THAT(pipeBytes, ElementsAre(4096u, 4096u));
  EXPECT_TRUE(pipeAttributes[0].bInheritHandle);
  EXPECT_TRUE(pipeAttributes[1].bInheritHandle);
  EXPECT_THAT(keptFromChildren, ElementsAre(pipes[0].readEnd, pipes[1].writeEnd));
}

// Of two inheritable handles the command has only the one that it prints to: any other might be of a file that has to
// be free again when this program has ended.
TEST_F(CommandOutput, CommandInheritsNoOtherHandle) {
  SECURITY_ATTRIBUTES attributes = {sizeof(attributes), nullptr, TRUE};
  const KernelHandle event(::CreateEventW(&attributes, TRUE, FALSE, nullptr));
  DWORD flags = 0;
  ASSERT_TRUE(::GetHandleInformation(event.get(), &flags));
  ASSERT_EQ(flags, static_cast<DWORD>(HANDLE_FLAG_INHERIT));
  const std::wstring number = std::to_wstring(reinterpret_cast<std::uintptr_t>(event.get()));
  EXPECT_EQ(withoutZeros(RunCommandCaptureOutput(own(L"--set-inherited " + number + L" && echo ran"))), "ran\r\n");
  EXPECT_EQ(::WaitForSingleObject(event.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "the command had the handle";
}

TEST_F(CommandOutput, LongCommandIsComposedInFull) {
  processFailure = ERROR_FILENAME_EXCED_RANGE;
  const std::wstring command(20'000, L'x');
  RunCommandCaptureOutput(command);
  EXPECT_EQ(commandLine, L"cmd.exe /C \"" + command + L"\"");
}

TEST_F(CommandOutput, ProcessThatCannotBeCreatedGivesAnEmptyString) {
  processFailure = ERROR_FILE_NOT_FOUND;
  EXPECT_EQ(RunCommandCaptureOutput(L"exit 0"), "");
  EXPECT_EQ(peeks, 1) << "one pass";
  EXPECT_THAT(log.lines(), ElementsAre(launchLine("exit 0"), "DEBUG Output from launched command: \n"));
  expectAllHandlesClosed();
}

TEST_F(CommandOutput, FirstPipeMissing) {
  pipeFailure = {1, ERROR_NO_SYSTEM_RESOURCES};
  EXPECT_EQ(RunCommandCaptureOutput(L"exit 0"), "");
  EXPECT_THAT(log.lines(),
              ElementsAre("DEBUG Unbale to create pipe handle: 1450 " + narrow(systemMessage(1450)),
                          "DEBUG Unbale to set security attributes to pipe handle: 6 " + narrow(systemMessage(6)),
                          launchLine("exit 0"), "DEBUG Unable to peek pipe 6"));
  EXPECT_EQ(startupInfo.dwFlags, 0u);
  EXPECT_EQ(inheritsHandles, FALSE);
  EXPECT_NE(createdProcess.hProcess, nullptr) << "the command runs all the same";
  expectAllHandlesClosed();
}

TEST_F(CommandOutput, SecondPipeMissing) {
  pipeFailure = {2, ERROR_NO_SYSTEM_RESOURCES};
  EXPECT_EQ(RunCommandCaptureOutput(L"exit 0"), "");
  EXPECT_THAT(log.lines(),
              ElementsAre("DEBUG Unbale to create pipe handle: 1450 " + narrow(systemMessage(1450)),
                          "DEBUG Unbale to set security attributes to pipe handle: 6 " + narrow(systemMessage(6)),
                          launchLine("exit 0"), "DEBUG Output from launched command: \n"));
  EXPECT_EQ(startupInfo.dwFlags, 0u);
  expectAllHandlesClosed();
}

TEST_F(CommandOutput, InheritanceThatCannotBeSwitchedOff) {
  for (const int call : {1, 2}) {
    SetUp();
    const CapturedLog own;
    inheritanceFailure = {call, ERROR_ACCESS_DENIED};
    EXPECT_EQ(RunCommandCaptureOutput(L"exit 0"), "");
    EXPECT_THAT(own.lines(),
                ElementsAre("DEBUG Unbale to set security attributes to pipe handle: 5 " + narrow(systemMessage(5)),
                            launchLine("exit 0"), "DEBUG Output from launched command: \n"));
    EXPECT_EQ(startupInfo.dwFlags, 0u) << "the output is redirected only when both worked";
    EXPECT_EQ(startupInfo.hStdOutput, nullptr);
    EXPECT_EQ(startupInfo.hStdError, nullptr);
    expectAllHandlesClosed();
  }
}

TEST_F(CommandOutput, PipeThatCannotBePeekedEndsTheReading) {
  const NamedEvent ready;
  const NamedEvent go;
  peekFailure = {1, ERROR_BROKEN_PIPE};
  EXPECT_EQ(RunCommandCaptureOutput(own(L"--wait " + ready.name() + L" " + go.name())), "");
  EXPECT_THAT(log.lines(), ElementsAre(ownLaunchLine("--wait " + narrow(ready.name()) + " " + narrow(go.name())),
                                       "DEBUG Unable to peek pipe 109"));
  expectAllHandlesClosed();
  EXPECT_TRUE(ready.wait()) << "the command is left to itself";
  go.set();
}

TEST_F(CommandOutput, FailedPeekKeepsWhatIsCollected) {
  failingPeekFollowsTheFirstRead = true;
  EXPECT_EQ(RunCommandCaptureOutput(own(L"--print first second")), "first\0\0\0\0\0"s);
  EXPECT_THAT(log.lines(), ElementsAre(ownLaunchLine("--print first second"),
                                       "DEBUG Reading output buffer. Amount read: 5, Amount avaliable: 5",
                                       "DEBUG Unable to peek pipe 109"));
  expectAllHandlesClosed();
}

TEST_F(CommandOutput, FailedReadAppendsNothing) {
  readFailure = ERROR_READ_FAULT;
  EXPECT_EQ(RunCommandCaptureOutput(own(L"--print lost")), "");
  EXPECT_THAT(log.lines(), ElementsAre(ownLaunchLine("--print lost"),
                                       "DEBUG Reading output buffer. Amount read: 0, Amount avaliable: 4",
                                       "DEBUG Output from launched command: \n"));
}

int main(int argumentCount, char** arguments) {
  if (const auto exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
