// action_dispatcher_test - tasks, services and processes: the kinds that are carried out by other programs.
#include "system/action_dispatcher.h"

#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include <shellapi.h>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_child.h"
#include "support/test_folder.h"
#include "support/test_service.h"
#include "support/text.h"

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

using Items = std::vector<std::wstring>;

// Command lines and parameters as passed to the system. All calls are real unless a test switches them off.
std::vector<std::wstring> commandLines;
std::vector<std::wstring> shellFiles, shellParameters;
std::vector<KernelHandle> startedProcesses;
bool processesAreStarted = true;
std::optional<DWORD> processFailure;

class ActionDispatcher : public ::testing::Test {
 protected:
  void SetUp() override {
    commandLines.clear();
    shellFiles.clear();
    shellParameters.clear();
    startedProcesses.clear();
    processesAreStarted = true;
    processFailure.reset();
  }

  bool execute(ActionKind kind, const Items& items) { return ExecuteActions(kind, items, failures, false); }

  CapturedLog log;
  Items failures;
};

using ScheduledTaskAction = ActionDispatcher;
using ServiceStopAction = ActionDispatcher;
using ProcessKillAction = ActionDispatcher;

// Names that are passed to other programs unchanged.
const wchar_t* const kNames[] = {L"Plain",
                                 L"With Blanks",
                                 L" leading and trailing ",
                                 L"100% %PATH%",
                                 L"quo\"ted\"",
                                 L"ampersand & pipe | caret ^",
                                 L"\u00C4\u00F6\u00FC\u00DF",
                                 L"\u6E05\u7406\u5DE5\u5177",
                                 L"\U0001F5D1\uFE0F",
                                 L""};

std::wstring taskFile(const std::wstring& name) {
  return L"C:\\windows\\system32\\tasks\\" + name;
}

// Registers a task as an installer would.
void createTask(const std::wstring& name) {
  const TestFolder folder;
  const std::wstring document = folder.makeFile(
      L"task.xml",
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<Task version=\"1.2\" xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\"><RegistrationInfo/>"
      "<Triggers/><Settings/><Actions><Exec><Command>C:\\none.exe</Command></Exec></Actions></Task>");
  const ChildProcess schtasks(L"schtasks /create /tn \"" + name + L"\" /xml " + document);
  ASSERT_TRUE(schtasks.waitForEnd());
  ASSERT_TRUE(pathExists(taskFile(name))) << narrow(name);
}

void waitForStartedProcesses() {
  for (const KernelHandle& process : startedProcesses) {
    ASSERT_EQ(::WaitForSingleObject(process.get(), NamedEvent::kLimitMilliseconds), WAIT_OBJECT_0);
  }
}

// A copy of the test program under another name, which waits to be ended.
class WaitingProgram {
 public:
  WaitingProgram(const TestFolder& folder, const std::wstring& imageName) : program_(folder / imageName) {
    ::CopyFileW(ownProgram().c_str(), program_.c_str(), FALSE);
  }
  std::wstring commandLine(const NamedEvent& ready) const {
    return L"\"" + program_ + L"\" --wait " + ready.name() + L" " + never_.name();
  }

 private:
  std::wstring program_;
  NamedEvent never_;
};

// Windows' taskkill ends every process with a name; Wine 10's ends one per call.
bool taskkillEndsEveryProcess() {
  const TestFolder folder;
  const NamedEvent ready[2];
  const WaitingProgram program(folder, L"orv asks.exe");
  const ChildProcess one(program.commandLine(ready[0]));
  const ChildProcess two(program.commandLine(ready[1]));
  const ChildProcess tool(ready[0].wait() && ready[1].wait() ? L"taskkill /IM \"orv asks.exe\" /F" : L"");
  constexpr int kPolls = 200;
  constexpr DWORD kPollMilliseconds = 10;
  tool.waitForEnd();
  for (int poll = 0; poll < kPolls && (one.isRunning() || two.isRunning()); ++poll) {
    ::Sleep(kPollMilliseconds);
  }
  return !one.isRunning() && !two.isRunning();
}

}  // namespace

LINK_SEAM(BOOL, CreateProcessW,
          (const wchar_t* application, wchar_t* commandLine, SECURITY_ATTRIBUTES* processAttributes,
           SECURITY_ATTRIBUTES* threadAttributes, BOOL inherit, DWORD flags, void* environment,
           const wchar_t* directory, STARTUPINFOW* startup, PROCESS_INFORMATION* process)) {
  commandLines.push_back(commandLine);
  if (processFailure) {
    ::SetLastError(*processFailure);
    return FALSE;
  }
  if (!processesAreStarted) {
    return TRUE;
  }
  const BOOL result = realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, commandLine, processAttributes, threadAttributes, inherit, flags, environment, directory, startup,
      process);
  HANDLE copy = nullptr;
  ::DuplicateHandle(::GetCurrentProcess(), process->hProcess, ::GetCurrentProcess(), &copy, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
  startedProcesses.emplace_back(copy);
  return result;
}

LINK_SEAM(BOOL, ShellExecuteExW, (SHELLEXECUTEINFOW * info)) {
  shellFiles.push_back(info->lpFile);
  shellParameters.push_back(info->lpParameters);
  return processesAreStarted ? realFunction<decltype(&::ShellExecuteExW)>(L"shell32.dll", "ShellExecuteExW")(info)
                             : TRUE;
}

TEST_F(ActionDispatcher, EmptyListOfAnyKindIsDone) {
  for (const int kind : {0, 1, 2, 3, 4, 5, 6, 7, 10}) {
    EXPECT_TRUE(execute(static_cast<ActionKind>(kind), {})) << kind;
  }
  EXPECT_THAT(failures, IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ActionDispatcher, UnknownKindsDoNothing) {
  const TestFolder folder;
  const std::wstring file = folder.makeFile(L"stays.txt");
  for (const int kind : {8, 9, 11, 42, -1, 2'147'483'647}) {
    EXPECT_TRUE(execute(static_cast<ActionKind>(kind), {file, L"", L"HKEY_CURRENT_USER\\Software"})) << kind;
  }
  EXPECT_TRUE(pathExists(file));
  EXPECT_THAT(failures, IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ActionDispatcher, LongListOfAnUnknownKindDoesNothing) {
  EXPECT_TRUE(execute(static_cast<ActionKind>(9), Items(50'000, L"item")));
  EXPECT_THAT(failures, IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ScheduledTaskAction, TasksAreDeleted) {
  const Items tasks = {L"OrvTestTask", L"Orv Test Task With Blanks", L"OrvTest\\Task In Folder",
                       L"OrvTest\u00C4\u00F6\u00FC \u6E05\u7406"};
  for (const std::wstring& task : tasks) {
    createTask(task);
  }
  createTask(L"OrvTestTaskThatStays");
  EXPECT_TRUE(execute(ActionKind::ScheduledTask, tasks));
  waitForStartedProcesses();
  for (const std::wstring& task : tasks) {
    EXPECT_FALSE(pathExists(taskFile(task))) << narrow(task);
  }
  EXPECT_TRUE(pathExists(taskFile(L"OrvTestTaskThatStays")));
  EXPECT_THAT(failures, IsEmpty());
}

TEST_F(ScheduledTaskAction, StartedDeletionIsLoggedAsSuccessful) {
  EXPECT_TRUE(execute(ActionKind::ScheduledTask, {L"OrvTestMissing"})) << "what schtasks comes to is not looked at";
  waitForStartedProcesses();
  EXPECT_THAT(commandLines, ElementsAre(L"schtasks /delete /TN \"OrvTestMissing\" /F"));
  EXPECT_THAT(log.lines(),
              ElementsAre("DEBUG OrvTestMissing", "DEBUG Deleting Scheduled Task\t:\tOrvTestMissing\tSUCCESSFULL..."));
  EXPECT_THAT(failures, IsEmpty());
}

TEST_F(ScheduledTaskAction, DeletionThatCannotBeStartedIsLoggedAsSuccessfulToo) {
  processFailure = ERROR_FILE_NOT_FOUND;
  EXPECT_TRUE(execute(ActionKind::ScheduledTask, {L"A", L"B"}));
  EXPECT_THAT(log.lines(),
              ElementsAre("DEBUG A", "ERROR CommonHelperUtility::LaunchExeByCreateProcess - CreateProcess failed(2).",
                          "DEBUG Deleting Scheduled Task\t:\tA\tSUCCESSFULL...",  //
                          "DEBUG B", "ERROR CommonHelperUtility::LaunchExeByCreateProcess - CreateProcess failed(2).",
                          "DEBUG Deleting Scheduled Task\t:\tB\tSUCCESSFULL..."));
  EXPECT_THAT(failures, IsEmpty());
}

TEST_F(ScheduledTaskAction, NamesAreComposedAsTheyStand) {
  processesAreStarted = false;
  for (const wchar_t* name : kNames) {
    commandLines.clear();
    EXPECT_TRUE(execute(ActionKind::ScheduledTask, {name}));
    EXPECT_THAT(commandLines, ElementsAre(L"schtasks /delete /TN \"" + std::wstring(name) + L"\" /F"));
  }
}

TEST_F(ScheduledTaskAction, LongNameIsComposedInFull) {
  processesAreStarted = false;
  for (const std::size_t length : {200u, 233u, 234u, 235u, 260u, 5'000u}) {
    const std::wstring name(length, L'n');
    commandLines.clear();
    EXPECT_TRUE(execute(ActionKind::ScheduledTask, {name}));
    ASSERT_EQ(commandLines.size(), 1u);
    EXPECT_TRUE(commandLines[0] == L"schtasks /delete /TN \"" + name + L"\" /F") << length << " characters";
  }
}

TEST_F(ServiceStopAction, FailuresAreTheItemsAsTheyStood) {
  TestService running(L"OrvTestRunning");
  TestService refusing(L"OrvTestRefusing", ServiceManner::kRefuses);
  const TestService stopped(L"OrvTestStopped");
  ASSERT_TRUE(running.start());
  ASSERT_TRUE(refusing.start());
  EXPECT_FALSE(execute(ActionKind::ServiceStop,
                       {L"OrvTestMissing", running.name(), refusing.name(), stopped.name(), L"OrvTestMissing"}));
  EXPECT_EQ(running.state(), static_cast<DWORD>(SERVICE_STOPPED));
  EXPECT_EQ(refusing.state(), static_cast<DWORD>(SERVICE_RUNNING));
  EXPECT_THAT(failures, ElementsAre(L"OrvTestMissing", refusing.name(), L"OrvTestMissing"));
  EXPECT_THAT(log.lines(),
              ElementsAre("DEBUG Stopping Service\t:\tOrvTestMissing",  //
                          "DEBUG Stopping Service\t:\tOrvTestRunning", "DEBUG Stopping Service\t:\tOrvTestRefusing",
                          "DEBUG Stopping Service\t:\tOrvTestStopped", "DEBUG Stopping Service\t:\tOrvTestMissing"));
}

TEST_F(ServiceStopAction, ListThatIsAllStoppedIsDone) {
  TestService running(L"OrvTestRunning");
  ASSERT_TRUE(running.start());
  failures = {L"earlier"};
  EXPECT_TRUE(execute(ActionKind::ServiceStop, {running.name(), running.name()}));
  EXPECT_EQ(running.state(), static_cast<DWORD>(SERVICE_STOPPED));
  EXPECT_THAT(failures, ElementsAre(L"earlier")) << "what the list held before stays";
}

TEST_F(ProcessKillAction, EveryProcessOfTheImageNameEnds) {
  const Items again = taskkillEndsEveryProcess() ? Items{} : Items{L"orv waits.exe"};
  const TestFolder folder;
  const NamedEvent ready[4];
  const WaitingProgram first(folder, L"orv waits.exe");
  const WaitingProgram second(folder, L"orv-w\u00E4rtet-\u6E05.exe");
  const WaitingProgram other(folder, L"orv stays.exe");
  const ChildProcess one(first.commandLine(ready[0]));
  const ChildProcess two(first.commandLine(ready[1]));
  const ChildProcess three(second.commandLine(ready[2]));
  const ChildProcess stays(other.commandLine(ready[3]));
  for (const NamedEvent& event : ready) {
    ASSERT_TRUE(event.wait());
  }
  EXPECT_TRUE(execute(ActionKind::ProcessKill, {L"orv waits.exe", L"orv-missing.exe", L"orv-w\u00E4rtet-\u6E05.exe"}));
  EXPECT_TRUE(execute(ActionKind::ProcessKill, again));
  EXPECT_TRUE(one.waitForEnd());
  EXPECT_TRUE(two.waitForEnd());
  EXPECT_TRUE(three.waitForEnd());
  EXPECT_TRUE(stays.isRunning());
  EXPECT_THAT(failures, IsEmpty());
}

TEST_F(ProcessKillAction, NeverFails) {
  EXPECT_TRUE(execute(ActionKind::ProcessKill, {L"orv-missing.exe"}));
  EXPECT_TRUE(KillProcess(L"orv-missing.exe"));
  EXPECT_THAT(failures, IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Killing Process\t:\torv-missing.exe"));
}

TEST_F(ProcessKillAction, NamesAreComposedAsTheyStand) {
  processesAreStarted = false;
  for (const wchar_t* name : kNames) {
    shellFiles.clear();
    shellParameters.clear();
    EXPECT_TRUE(execute(ActionKind::ProcessKill, {name}));
    EXPECT_THAT(shellFiles, ElementsAre(L"C:\\windows\\system32\\taskkill.exe"));
    EXPECT_THAT(shellParameters, ElementsAre(L" /IM \"" + std::wstring(name) + L"\" /F"));
  }
  EXPECT_THAT(failures, IsEmpty());
}

TEST_F(ProcessKillAction, ItemsAreWorkedOffInListOrder) {
  processesAreStarted = false;
  EXPECT_TRUE(execute(ActionKind::ProcessKill, {L"b.exe", L"a.exe", L"b.exe"}));
  EXPECT_THAT(shellParameters, ElementsAre(L" /IM \"b.exe\" /F", L" /IM \"a.exe\" /F", L" /IM \"b.exe\" /F"));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Killing Process\t:\tb.exe", "DEBUG Killing Process\t:\ta.exe",
                                       "DEBUG Killing Process\t:\tb.exe"));
}

TEST_F(ProcessKillAction, PatternInPlaceOfANameIsRefused) {
  processesAreStarted = false;
  EXPECT_FALSE(execute(ActionKind::ProcessKill, {L"*", L"orv-?.exe"}));
  EXPECT_THAT(shellParameters, IsEmpty());
  EXPECT_THAT(failures, ElementsAre(L"*", L"orv-?.exe"));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Killing Process\t:\t*",
                                       "ERROR ExecuteActions - Item[*] is a pattern and no name, not carried out",
                                       "DEBUG Killing Process\t:\torv-?.exe",
                                       "ERROR ExecuteActions - Item[orv-?.exe] is a pattern and no name, not carried "
                                       "out"));
}

TEST_F(ScheduledTaskAction, PatternInPlaceOfANameIsRefused) {
  processesAreStarted = false;
  EXPECT_FALSE(execute(ActionKind::ScheduledTask, {L"*"}));
  EXPECT_THAT(commandLines, IsEmpty());
  EXPECT_THAT(failures, ElementsAre(L"*"));
  EXPECT_THAT(log.lines(),
              ElementsAre("DEBUG *", "ERROR ExecuteActions - Item[*] is a pattern and no name, not carried out"));
}

int main(int argumentCount, char** arguments) {
  if (const auto exitCode = runAsService(argumentCount, arguments)) {
    return *exitCode;
  }
  if (const auto exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
