// safe_mode_decision_test - where the sequence starts in place, where the machine restarts into safe mode, and what the
// program leaves behind so that Windows brings it back there.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include <shellapi.h>

#include "app/cleanup_session.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/test_registry.h"

namespace {

int cleanBoot = 0;
int questionAnswer = IDNO;
std::vector<std::wstring> questions;
std::wstring commandLineOfTheProcess;
bool shellIsMissing = false;
std::vector<std::wstring> launched;

constexpr wchar_t kSystemInformation[] = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\SystemInformation";
constexpr wchar_t kRunOnce[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
constexpr wchar_t kRunOnceValue[] = L"*ORV CLEANUP UTILITY";
constexpr char kVmLine[] = "DEBUG ------------------ VM Detected -----------------";
constexpr char kFirstStage[] = "DEBUG -----------Deletion of Preuninstall Registries Values Started-------------";
constexpr UINT kQuestionStyle = MB_YESNO | MB_ICONINFORMATION | MB_DEFBUTTON2;

std::wstring temporaryFolder() {
  wchar_t folder[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, folder);
  return folder;
}

std::wstring ownPath() {
  wchar_t path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  return path;
}

std::string asLogged(const std::wstring& text) {
  return {text.begin(), text.end()};
}

}  // namespace

LINK_SEAM(int, GetSystemMetrics, (int index)) {
  return index == SM_CLEANBOOT ? cleanBoot
                               : realFunction<decltype(&::GetSystemMetrics)>(L"user32.dll", "GetSystemMetrics")(index);
}

LINK_SEAM(int, MessageBoxW, (HWND, LPCWSTR text, LPCWSTR title, UINT style)) {
  if (style == kQuestionStyle) {
    questions.push_back(std::wstring(title) + L": " + text);
    return questionAnswer;
  }
  return style == (MB_YESNO | MB_ICONQUESTION) ? IDNO : IDOK;  // consent, and no restart at the end
}

LINK_SEAM(LPWSTR, GetCommandLineW, ()) {
  return commandLineOfTheProcess.empty()
             ? realFunction<decltype(&::GetCommandLineW)>(L"kernel32.dll", "GetCommandLineW")()
             : commandLineOfTheProcess.data();
}

// What would restart this machine is only recorded.
LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR directory,
           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process)) {
  const std::wstring asked = commandLine;
  std::wstring command = asked;
  if (asked.find(L"safe") != std::wstring::npos) {
    launched.push_back(asked);
    EXPECT_EQ(flags, static_cast<DWORD>(CREATE_NO_WINDOW));
    if (shellIsMissing) {
      ::SetLastError(ERROR_FILE_NOT_FOUND);
      return FALSE;
    }
    command = L"cmd.exe /C exit 1";  // a refusal by the tool is not asked for
  }
  return realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, command.data(), processSecurity, threadSecurity, inherit, flags, environment, directory, startup,
      process);
}

namespace {

class SafeModeDecision : public testing::Test {
 protected:
  void SetUp() override {
    cleanBoot = 0;
    questionAnswer = IDNO;
    questions.clear();
    commandLineOfTheProcess.clear();
    shellIsMissing = false;
    launched.clear();
    quitRequested = 0;
    plantString(kSystemInformation, L"SystemProductName", L"Workstation");
    plantKey(L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum\\PCI\\VEN_1234&DEV_0001");
    plantKey(kRunOnce);
    ::DeleteFileW((temporaryFolder() + L"safemode.bat").c_str());
  }

  struct Decision {
    bool sequence;
    bool restart;
    bool question;
    bool operator==(const Decision&) const = default;
  };

  Decision decide(bool safeModeRequested, bool silent) {
    removeKey(kRunOnce);
    questions.clear();
    const CapturedLog log;
    CleanupSession session(::GetModuleHandleW(nullptr), arguments_, SW_SHOW);
    session.silent = silent;
    session.safeModeRequested = safeModeRequested;
    session.scrubListData->ScheduledTasks = scheduledTasks_;
    EXPECT_EQ(session.decideAndStart(), 1);
    lines_ = log.lines();
    return {holds(kFirstStage), valueExists(kRunOnce, kRunOnceValue), !questions.empty()};
  }

  bool holds(const std::string& line) const { return std::find(lines_.begin(), lines_.end(), line) != lines_.end(); }

  std::vector<std::string> linesFrom(const std::string& first) const {
    return {std::find(lines_.begin(), lines_.end(), first), lines_.end()};
  }

  wchar_t arguments_[1] = L"";
  std::vector<std::wstring> scheduledTasks_;
  std::vector<std::string> lines_;
};

constexpr bool kSafeMode = true;
constexpr bool kSilent = true;

}  // namespace

TEST_F(SafeModeDecision, EveryRowOfTheTable) {
  struct Row {
    int boot;
    bool virtualMachine;
    bool safeMode;
    bool silent;
    int answer;
    Decision expected;
  };
  const Decision inPlace = {true, false, false};
  const Decision restart = {false, true, false};
  std::vector<Row> rows;
  for (const bool silent : {false, true}) {
    for (const bool safeMode : {false, true}) {
      for (const bool virtualMachine : {false, true}) {
        for (const int boot : {1, 2}) {
          rows.push_back({boot, virtualMachine, safeMode, silent, IDYES, inPlace});
        }
      }
      rows.push_back({0, true, safeMode, silent, IDYES, inPlace});
    }
    rows.push_back({0, false, true, silent, IDNO, restart});
  }
  rows.push_back({0, false, false, true, IDYES, inPlace});
  rows.push_back({0, false, false, false, IDNO, {true, false, true}});
  rows.push_back({0, false, false, false, IDYES, {false, true, true}});
  rows.push_back({0, false, false, false, IDCANCEL, {false, false, true}});
  for (const Row& row : rows) {
    cleanBoot = row.boot;
    questionAnswer = row.answer;
    plantString(kSystemInformation, L"SystemProductName", row.virtualMachine ? L"VIRTUAL Machine" : L"Workstation");
    EXPECT_EQ(decide(row.safeMode, row.silent), row.expected)
        << "boot " << row.boot << ", virtual machine " << row.virtualMachine << ", safemode " << row.safeMode
        << ", silent " << row.silent << ", answer " << row.answer;
    EXPECT_EQ(holds(kVmLine), row.boot == 0 && row.virtualMachine);
  }
}

TEST_F(SafeModeDecision, QuestionOffersNoFirst) {
  decide(!kSafeMode, !kSilent);  // the seam recognises the question by its style, the default button included
  EXPECT_EQ(questions, (std::vector<std::wstring>{
                           L"ORV Cleanup Utility: ORV Cleanup Utility has detected that your system is not currently "
                           L"in safe mode. Would you like to reboot and run in safe mode?"}));
}

TEST_F(SafeModeDecision, RestartLeavesTheRunLoopWaiting) {
  decide(kSafeMode, kSilent);
  EXPECT_EQ(quitRequested, 0);
}

TEST_F(SafeModeDecision, BatchFileIsByteForByteWhatWindowsIsToRun) {
  decide(kSafeMode, kSilent);
  EXPECT_EQ(readFile(temporaryFolder() + L"safemode.bat"),
            "@echo off\r\nbcdedit /set {current} safeboot network\r\nshutdown -r -f -t 0\r\n");
  wchar_t systemFolder[MAX_PATH] = {};
  ::GetSystemDirectoryW(systemFolder, MAX_PATH);
  EXPECT_EQ(launched, (std::vector<std::wstring>{std::wstring(L"\"") + systemFolder + L"\\cmd.exe\" /C \"" +
                                                 temporaryFolder() + L"safemode.bat\""}));
}

TEST_F(SafeModeDecision, RunOnceValueBringsTheProgramBackWithItsArguments) {
  struct Case {
    std::wstring arguments;
    std::wstring expected;
  };
  const Case cases[] = {
      {L"", L""},
      {L"silent safemode", L" silent safemode"},
      {L"silent  gpu=\"VEN_7A11&DEV_744C@VEN_7A11&DEV_164E\" safemode",
       L" silent gpu=VEN_7A11&DEV_744C@VEN_7A11&DEV_164E safemode"},
      {L"\"launchedForFactoryReset\" \"two words\"", L" launchedForFactoryReset two words"},
  };
  for (const Case& row : cases) {
    commandLineOfTheProcess = L"\"C:\\some where\\ORVCleanupUtility.exe\" " + row.arguments;
    decide(kSafeMode, kSilent);
    EXPECT_EQ(readString(kRunOnce, kRunOnceValue),
              std::optional<std::wstring>(L"\"" + ownPath() + L"\"" + row.expected))
        << asLogged(row.arguments);
  }
}

TEST_F(SafeModeDecision, RestartIsLoggedStepByStep) {
  commandLineOfTheProcess = L"ORVCleanupUtility.exe safemode";
  const std::string value = "\"" + asLogged(ownPath()) + "\" safemode";
  const std::string first =
      "DEBUG -----------Creating Runonce registry to launch cleanup after safe boot-----------Buffer value: " + value +
      "-------------";
  decide(kSafeMode, kSilent);
  EXPECT_EQ(linesFrom(first), (std::vector<std::string>{first, "DEBUG -----------Creating Runonce Key -------------",
                                                        "DEBUG -----------Setting value::Result: 0-------------"}));
  EXPECT_FALSE(holds("DEBUG -----------Deletions of Scheduled Tasks Started-------------"));
}

TEST_F(SafeModeDecision, ExistingRunOnceKeyIsOpened) {
  const CapturedLog log;
  CleanupSession session(::GetModuleHandleW(nullptr), arguments_, SW_SHOW);
  session.rebootIntoSafeMode();
  lines_ = log.lines();
  EXPECT_TRUE(holds("DEBUG -----------Runonce Key opened successfully-------------"));
  EXPECT_FALSE(holds("DEBUG -----------Creating Runonce Key -------------"));
  EXPECT_TRUE(valueExists(kRunOnce, kRunOnceValue));
}

TEST_F(SafeModeDecision, TasksOfTheManifestGoBeforeTheRestart) {
  scheduledTasks_ = {L"Maker task"};
  decide(kSafeMode, kSilent);
  const auto started = linesFrom("DEBUG -----------Deletions of Scheduled Tasks Started-------------");
  ASSERT_GE(started.size(), 2u);
  EXPECT_NE(
      std::find(started.begin(), started.end(), "DEBUG -----------Deletions of Scheduled Tasks Ended-------------"),
      started.end());
}

TEST_F(SafeModeDecision, ShellThatCannotBeStartedIsLoggedAndTheRunWaits) {
  shellIsMissing = true;
  decide(kSafeMode, kSilent);
  EXPECT_EQ(lines_.back(), "DEBUG Couldn't set to safemode");
  EXPECT_EQ(quitRequested, 0);
}

TEST_F(SafeModeDecision, UnwritableBatchFileDoesNotStopTheRestart) {
  const std::wstring batch = temporaryFolder() + L"safemode.bat";
  ASSERT_TRUE(::CreateDirectoryW(batch.c_str(), nullptr));
  EXPECT_EQ(decide(kSafeMode, kSilent), (Decision{false, true, false}));
  EXPECT_EQ(launched.size(), 1u);
  ::RemoveDirectoryW(batch.c_str());
}

TEST_F(SafeModeDecision, EndOfEveryRunTakesSafeModeOutOfTheBootSettings) {
  cleanBoot = 1;
  decide(!kSafeMode, kSilent);
  wchar_t systemFolder[MAX_PATH] = {};
  ::GetSystemDirectoryW(systemFolder, MAX_PATH);
  EXPECT_EQ(launched, (std::vector<std::wstring>{std::wstring(L"\"") + systemFolder +
                                                 L"\\cmd.exe\" /C \"bcdedit /deletevalue {current} safeboot\""}));
  EXPECT_FALSE(holds("DEBUG Couldn't delete safemode"));
}

TEST_F(SafeModeDecision, SafeModeThatCannotBeTakenOutIsLogged) {
  cleanBoot = 1;
  shellIsMissing = true;
  decide(!kSafeMode, kSilent);
  EXPECT_TRUE(holds("DEBUG Couldn't delete safemode"));
}
