// finish_run_test - the tail of the sequence: failure lists, outcome, what is left behind, the end of the run.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "app/cleanup_session.h"
#include "app/finish_run.h"
#include "applications/uninstall_runner.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/system_locale.h"
#include "support/test_folder.h"
#include "support/test_registry.h"
#include "system/file_operations.h"
#include "system/log_file.h"

namespace {

constexpr wchar_t kMarkerKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility";

std::vector<std::wstring> launched;
std::optional<bool> announcedWhenSafeBootGoes;

// What has been done already when something comes that cannot be taken back.
struct Progress {
  bool safeBootIsTakenOut;
  bool restartIsAnnounced;

  bool operator==(const Progress&) const = default;
};

Progress progress() {
  return {std::any_of(launched.begin(), launched.end(),
                      [](const std::wstring& command) {
                        return command.ends_with(L"/C \"bcdedit /deletevalue {current} safeboot\"");
                      }),
          readDword(kMarkerKey, L"RebootRequired") == std::optional<DWORD>(1)};
}

struct Restart {
  UINT flags;
  DWORD reason;
  Progress before;
};

std::vector<Restart> restarts;
std::vector<Progress> dialogs;  // one for each finish dialog that was asked for
std::vector<std::wstring> questions;
UINT questionStyle = 0;
int answer = IDNO;
bool keyCreationFails = false;

}  // namespace

LINK_SEAM(BOOL, ExitWindowsEx, (UINT flags, DWORD reason)) {
  restarts.push_back({flags, reason, progress()});
  return TRUE;
}

LINK_SEAM(int, MessageBoxW, (HWND, LPCWSTR text, LPCWSTR title, UINT style)) {
  questions.push_back(std::wstring(title) + L": " + text);
  questionStyle = style;
  return answer;
}

LINK_SEAM(LSTATUS, RegCreateKeyExW,
          (HKEY key, LPCWSTR subkey, DWORD reserved, LPWSTR className, DWORD options, REGSAM access,
           LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition)) {
  return keyCreationFails ? ERROR_ACCESS_DENIED
                          : realFunction<decltype(&::RegCreateKeyExW)>(L"advapi32.dll", "RegCreateKeyExW")(
                                key, subkey, reserved, className, options, access, security, result, disposition);
}

LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR directory,
           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process)) {
  launched.push_back(commandLine);
  announcedWhenSafeBootGoes = progress().restartIsAnnounced;
  std::wstring command = L"cmd.exe /C exit 1";
  return realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, command.data(), processSecurity, threadSecurity, inherit, flags, environment, directory, startup,
      process);
}

LINK_SEAM(HWND, CreateDialogParamW, (HINSTANCE module, LPCWSTR name, HWND owner, DLGPROC procedure, LPARAM parameter)) {
  dialogs.push_back(progress());
  return realFunction<decltype(&::CreateDialogParamW)>(L"user32.dll", "CreateDialogParamW")(module, name, owner,
                                                                                            procedure, parameter);
}

namespace {

constexpr char kDriverFilesHeader[] = "DEBUG -----------Failed Deletion of Driver Files ---------------";
constexpr char kRestartLine[] = "DEBUG Reboot is required to finish cleanup.";
constexpr wchar_t kInstallManagerLogFolder[] = L"C:\\Program Files\\ORV\\PKM\\Log";

template <class Package>
Package named(const std::wstring& name) {
  Package package;
  package.Name = name;
  return package;
}

class FinishRun : public testing::Test {
 protected:
  FinishRun() : session(::GetModuleHandleW(nullptr), arguments, SW_SHOW) { session.switches.silent = true; }

  void SetUp() override {
    launched.clear();
    restarts.clear();
    dialogs.clear();
    questions.clear();
    answer = IDNO;
    keyCreationFails = false;
    session.quitRequested = false;
    session.switches.rebootAfterRun = false;
    fileRebootPending = false;
    applicationRebootNeeded = false;
    deviceRebootNeeded = false;
    removeKey(kMarkerKey);
  }

  void TearDown() override {
    if (session.finishDialog) {
      ::DestroyWindow(session.finishDialog);
    }
    takeQuitMessage();
  }

  // The code of the quit message that waits for this thread.
  static std::optional<WPARAM> takeQuitMessage() {
    MSG message = {};
    return ::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) ? std::optional<WPARAM>(message.wParam)
                                                                          : std::nullopt;
  }

  std::vector<std::string> finish() {
    const CapturedLog log;
    session.finishRun();
    return log.lines();
  }

  wchar_t arguments[1] = L"";
  CleanupSession session;
};

}  // namespace

TEST_F(FinishRun, WithoutFailuresTheLogHoldsTheOneHeaderAndTheOutcomeIsSuccess) {
  EXPECT_EQ(finish(), (std::vector<std::string>{kDriverFilesHeader}));
  EXPECT_EQ(session.outcome, 1);
}

TEST_F(FinishRun, EveryFailureListStandsUnderItsHeaderInTheFixedOrder) {
  session.failures.failedDriverFiles = {L"driver file"};
  session.failures.failedServices = {L"service 1", L"service 2"};
  session.failures.failedProcesses = {L"process"};
  session.failures.failedScheduledTasks = {L"task"};
  session.results.failedDrivers = {named<DriverPackage>(L"driver")};
  session.failures.failedFiles = {L"file"};
  session.failures.failedDirectories = {L"directory"};
  session.failures.failedRegistryKeys = {L"key"};
  session.failures.failedRegistryValues = {L"value"};
  session.failures.failedPreUninstallRegistryValues = {L"early value"};
  session.failures.failedPreUninstallRegistryKeys = {L"early key"};
  session.failures.failedShortcuts = {L"shortcut"};  // listed nowhere
  EXPECT_EQ(finish(), (std::vector<std::string>{
                          kDriverFilesHeader,
                          "DEBUG driver file",
                          "DEBUG -----------Failed Stopping Services---------------",
                          "DEBUG service 1",
                          "DEBUG service 2",
                          "DEBUG -----------Failed Termination of Processes---------------",
                          "DEBUG process",
                          "DEBUG -----------Failed Deletions of Scheduled Tasks---------------",
                          "DEBUG task",
                          "DEBUG -----------Failed Deletions of Drivers---------------",
                          "DEBUG driver",
                          "DEBUG -----------Failed Deletion of Files---------------",
                          "DEBUG file",
                          "DEBUG -----------Failed Deletion of Directories---------------",
                          "DEBUG directory",
                          "DEBUG -----------Failed Deletion of Registry Keys---------------",
                          "DEBUG key",
                          "DEBUG -----------Failed Deletion of Registry Values---------------",
                          "DEBUG value",
                          "DEBUG -----------Failed Deletion of PreUninstall Registry Values---------------",
                          "DEBUG early value",
                          "DEBUG -----------Failed Deletion of PreUninstall Registry Values---------------",
                          "DEBUG early key",
                      }));
}

TEST_F(FinishRun, NamesWithPercentSignsAreListedAsTheyStand) {
  session.failures.failedFiles = {L"C:\\%s%n%d\\100%"};
  EXPECT_EQ(finish().back(), "DEBUG C:\\%s%n%d\\100%");
}

TEST_F(FinishRun, OutcomeIsDecidedByApplicationsAndDriversAlone) {
  const struct {
    const char* what;
    bool failedFile;
    bool failedApplication;
    bool failedDriver;
    int outcome;
  } rows[] = {
      {"nothing failed", false, false, false, 1},        {"files alone", true, false, false, 1},
      {"an application", false, true, false, 0},         {"a driver", false, false, true, -1},
      {"application and driver", false, true, true, -1}, {"everything", true, true, true, -1},
  };
  for (const auto& row : rows) {
    session.failures.failedFiles.assign(row.failedFile ? 1 : 0, L"file");
    session.failures.failedDirectories = session.failures.failedRegistryKeys = session.failures.failedServices =
        session.failures.failedFiles;
    session.results.failedApplications.assign(row.failedApplication ? 1 : 0, named<ApplicationPackage>(L"application"));
    session.results.failedDrivers.assign(row.failedDriver ? 1 : 0, named<DriverPackage>(L"driver"));
    finish();
    EXPECT_EQ(session.outcome, row.outcome) << row.what;
  }
}

TEST_F(FinishRun, EachRestartFlagAloneLeavesWordInAVolatileKey) {
  for (bool* flag : {&fileRebootPending, &applicationRebootNeeded, &deviceRebootNeeded}) {
    SetUp();
    *flag = true;
    const std::vector<std::string> lines = finish();
    EXPECT_EQ(lines.back(), kRestartLine);
    EXPECT_EQ(readDword(kMarkerKey, L"RebootRequired"), std::optional<DWORD>(1));
    // Only a volatile key refuses a child that is not.
    RegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ORVCleanupUtility", 0, KEY_ALL_ACCESS, key.put()),
              ERROR_SUCCESS);
    RegistryKey child;
    EXPECT_EQ(::RegCreateKeyExW(key.get(), L"child", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ, nullptr,
                                child.put(), nullptr),
              ERROR_CHILD_MUST_BE_VOLATILE);
  }
}

TEST_F(FinishRun, WithoutARestartFlagNoWordIsLeft) {
  finish();
  EXPECT_FALSE(keyExists(kMarkerKey));
}

TEST_F(FinishRun, MarkerThatCannotBeWrittenIsPassedOverInSilence) {
  fileRebootPending = true;
  keyCreationFails = true;
  EXPECT_EQ(finish(), (std::vector<std::string>{kDriverFilesHeader, kRestartLine}));
  EXPECT_TRUE(session.quitRequested);
}

TEST_F(FinishRun, DriverNamedTwiceIsListedOnceTheFirstRecordStays) {
  DriverPackage first = named<DriverPackage>(L"Twice");
  first.ClassName = L"display";
  DriverPackage second = named<DriverPackage>(L"Twice");
  second.ClassName = L"media";
  session.results.removedDrivers = {first, named<DriverPackage>(L"Once"), second};
  session.results.failedDrivers = {second, first};
  session.packages.eligibleDrivers = {named<DriverPackage>(L"twice"), first, second};
  finish();
  ASSERT_EQ(session.results.removedDrivers.size(), 2u);
  EXPECT_EQ(session.results.removedDrivers[0].ClassName, L"display");
  EXPECT_EQ(session.results.removedDrivers[1].Name, L"Once");
  ASSERT_EQ(session.results.failedDrivers.size(), 1u);
  EXPECT_EQ(session.results.failedDrivers[0].ClassName, L"media");
  ASSERT_EQ(session.packages.eligibleDrivers.size(), 2u);
}

TEST_F(FinishRun, FactoryResetCopiesTheLogToTheInstallManager) {
  session.switches.factoryReset = true;
  ::CreateDirectoryW(L"C:\\Program Files\\ORV", nullptr);
  ::CreateDirectoryW(L"C:\\Program Files\\ORV\\PKM", nullptr);
  ::CreateDirectoryW(kInstallManagerLogFolder, nullptr);
  finish();
  const std::wstring copy = std::wstring(kInstallManagerLogFolder) + L"\\ORVCleanup.log";
  EXPECT_FALSE(readFile(copy).empty());
  EXPECT_EQ(readFile(copy), readFile(Logger::GetPath()));
  ::DeleteFileW(copy.c_str());
  ::RemoveDirectoryW(kInstallManagerLogFolder);
}

TEST_F(FinishRun, FactoryResetWithoutTheTargetFolderLogsTheFailureAndMakesNoFolder) {
  session.switches.factoryReset = true;
  EXPECT_EQ(finish().back(),
            "DEBUG Failed to copy log file to C:\\Program Files\\ORV\\PKM\\Log\\ORVCleanup.log. Error 3");
  EXPECT_FALSE(pathExists(kInstallManagerLogFolder));
}

TEST_F(FinishRun, SilentAloneNeverRestarts) {
  fileRebootPending = applicationRebootNeeded = deviceRebootNeeded = true;
  finish();
  EXPECT_TRUE(restarts.empty());
  EXPECT_TRUE(questions.empty());
  EXPECT_TRUE(session.quitRequested);
}

TEST_F(FinishRun, SilentRebootRestartsWithoutAQuestionEvenIfNothingNeedsIt) {
  session.switches.rebootAfterRun = true;
  finish();
  EXPECT_TRUE(questions.empty());
  ASSERT_EQ(restarts.size(), 1u);
  EXPECT_EQ(restarts[0].flags, static_cast<UINT>(EWX_REBOOT | EWX_FORCE));
  EXPECT_EQ(restarts[0].reason, 0x80000001u);
  EXPECT_TRUE(session.quitRequested);
}

TEST_F(FinishRun, SafeBootIsTakenOutAndTheRestartAnnouncedBeforeTheMachineRestarts) {
  session.switches.rebootAfterRun = true;
  fileRebootPending = true;
  finish();
  ASSERT_EQ(restarts.size(), 1u);
  EXPECT_EQ(restarts[0].before, (Progress{true, true}));
  EXPECT_EQ(launched.size(), 1u);
}

TEST_F(FinishRun, SafeBootIsTakenOutAndTheRestartAnnouncedBeforeTheFinishDialog) {
  session.switches.silent = false;
  fileRebootPending = true;
  finish();
  EXPECT_EQ(dialogs, (std::vector<Progress>{{true, true}}));
}

TEST_F(FinishRun, SafeBootIsTakenOutBeforeTheRestartIsAnnounced) {
  fileRebootPending = true;
  announcedWhenSafeBootGoes.reset();
  finish();
  EXPECT_EQ(announcedWhenSafeBootGoes, std::optional<bool>(false));
}

TEST_F(FinishRun, InteractiveRunAsksForTheRestartAndQuitsOnNo) {
  session.switches.silent = false;
  finish();
  ASSERT_TRUE(session.finishDialog);
  EXPECT_TRUE(questions.empty()) << "the dialog comes first";
  EXPECT_EQ(takeQuitMessage(), std::nullopt) << "the dialog is served until the user ends the run";
  session.onFinish(session.finishDialog);
  EXPECT_EQ(questions,
            (std::vector<std::wstring>{L"ORV Cleanup Utility: Actions taken by ORV Cleanup Utility require a system "
                                       L"reboot. Would you like to reboot now?"}));
  EXPECT_EQ(questionStyle, static_cast<UINT>(MB_YESNO | MB_ICONQUESTION));
  EXPECT_FALSE(::IsWindowVisible(session.finishDialog));
  EXPECT_TRUE(restarts.empty());
  EXPECT_TRUE(session.quitRequested);
  EXPECT_EQ(takeQuitMessage(), std::optional<WPARAM>(0));
}

TEST_F(FinishRun, OnFinishRestartsOnYesAndPostsNoQuitMessage) {
  answer = IDYES;
  session.onFinish(nullptr);
  EXPECT_EQ(restarts.size(), 1u);
  EXPECT_EQ(takeQuitMessage(), std::nullopt);
}

TEST_F(FinishRun, OnFinishAsksNothingWhenTheRestartWasOrdered) {
  session.switches.rebootAfterRun = true;
  session.onFinish(nullptr);
  EXPECT_TRUE(questions.empty());
  EXPECT_EQ(restarts.size(), 1u);
}

TEST(Outcome, IsDecidedByWhatFailed) {
  PackageResults results;
  results.removedDrivers.resize(1);
  EXPECT_EQ(decideOutcome(results), 1);
  results.failedApplications.resize(2);
  EXPECT_EQ(decideOutcome(results), 0);
  results.failedDrivers.resize(1);
  EXPECT_EQ(decideOutcome(results), -1);
  results.failedApplications.clear();
  EXPECT_EQ(decideOutcome(results), -1);
}

TEST(RepeatedNames, AreRemovedBehindTheFirst) {
  std::vector<DriverPackage> packages;
  for (const wchar_t* name : {L"A", L"a", L"A", L"", L"B", L"", L"A"}) {
    packages.push_back(named<DriverPackage>(name));
  }
  removeRepeatedNames(packages);
  std::vector<std::wstring> names;
  for (const DriverPackage& package : packages) {
    names.push_back(package.Name);
  }
  EXPECT_EQ(names, (std::vector<std::wstring>{L"A", L"a", L"", L"B"}));
}
