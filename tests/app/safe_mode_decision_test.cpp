// safe_mode_decision_test - where the sequence starts in place and where the machine restarts into safe mode, and that
// the end of every run takes safe mode out of the boot settings.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "app/cleanup_session.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/test_registry.h"
#include "ui/localised_strings.h"

namespace {

int cleanBoot = 0;
int questionAnswer = IDNO;
std::vector<std::wstring> questions;
bool shellIsMissing = false;
std::vector<std::wstring> launched;
// Set for what the run loop finds; it then ends with this code.
std::optional<int> endOfLoop;
std::vector<bool> loopFoundItsEnd;

constexpr wchar_t kSystemInformation[] = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\SystemInformation";
constexpr wchar_t kRunOnce[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
constexpr wchar_t kRunOnceValue[] = L"*ORV CLEANUP UTILITY";
constexpr char kVmLine[] = "DEBUG ------------------ VM Detected -----------------";
constexpr char kFirstStage[] = "DEBUG -----------Deletion of Preuninstall Registries Values Started-------------";
constexpr UINT kQuestionStyle = MB_YESNO | MB_ICONINFORMATION | MB_DEFBUTTON2;

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

// The run loop would wait here until the system ends the process.
LINK_SEAM(BOOL, GetMessageW, (LPMSG message, HWND window, UINT first, UINT last)) {
  if (!endOfLoop) {
    return realFunction<decltype(&::GetMessageW)>(L"user32.dll", "GetMessageW")(message, window, first, last);
  }
  loopFoundItsEnd.push_back(::PeekMessageW(message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) != FALSE);
  if (!loopFoundItsEnd.back()) {
    *message = {};
    message->message = WM_QUIT;
    message->wParam = static_cast<WPARAM>(*endOfLoop);
  }
  return FALSE;
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
    shellIsMissing = false;
    launched.clear();
    endOfLoop.reset();
    loopFoundItsEnd.clear();
    while (hasQuitMessage()) {
    }
    plantString(kSystemInformation, L"SystemProductName", L"Workstation");
    plantKey(L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum\\PCI\\VEN_1234&DEV_0001");
    plantKey(kRunOnce);
  }

  // Takes the quit message that waits for this thread.
  static bool hasQuitMessage() {
    MSG message = {};
    return ::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) != FALSE;
  }

  // What a whole run ends with: the code in a quit message, or `kStillWaiting` when its loop has found none.
  int run(bool safeModeRequested) {
    removeKey(kRunOnce);
    CleanupSession session(::GetModuleHandleW(nullptr), arguments_, SW_SHOW);
    session.switches.silent = true;
    session.switches.safeModeRequested = safeModeRequested;
    endOfLoop = kStillWaiting;
    const CapturedLog log;
    const int code = session.run();
    lines_ = log.lines();
    return code;
  }
  static constexpr int kStillWaiting = 77;

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
    session.switches.silent = silent;
    session.switches.safeModeRequested = safeModeRequested;
    EXPECT_EQ(session.decideAndStart(), 1);
    quitRequested_ = session.quitRequested;
    lines_ = log.lines();
    return {holds(kFirstStage), valueExists(kRunOnce, kRunOnceValue), !questions.empty()};
  }

  bool holds(const std::string& line) const { return std::find(lines_.begin(), lines_.end(), line) != lines_.end(); }

  wchar_t arguments_[1] = L"";
  bool quitRequested_ = false;
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

TEST_F(SafeModeDecision, QuestionIsInTheUsersLanguage) {
  const TestFolder folder;
  languageFilePath =
      folder.makeFile(L"DEU.xml",
                      "<Language X><Caption Value=\"126\">Titel</Caption><Caption "
                      "Value=\"133\">Neustart?</Caption><Caption Value=\"135\">Modus?</Caption></Language>");
  questionAnswer = IDCANCEL;
  decide(!kSafeMode, !kSilent);
  languageFilePath.clear();
  EXPECT_EQ(questions, (std::vector<std::wstring>{L"Titel: Modus?"}));
}

TEST_F(SafeModeDecision, RestartLeavesTheRunLoopWaiting) {
  decide(kSafeMode, kSilent);
  EXPECT_FALSE(quitRequested_);
  EXPECT_FALSE(hasQuitMessage());

  EXPECT_EQ(run(kSafeMode), kStillWaiting);
  EXPECT_EQ(loopFoundItsEnd, std::vector<bool>{false});
  EXPECT_TRUE(valueExists(kRunOnce, kRunOnceValue));
}

TEST_F(SafeModeDecision, SilentRunInPlaceEndsTheRunLoopAtOnce) {
  EXPECT_EQ(run(!kSafeMode), 0);
  EXPECT_EQ(loopFoundItsEnd, std::vector<bool>{true});
  EXPECT_TRUE(holds(kFirstStage));
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
