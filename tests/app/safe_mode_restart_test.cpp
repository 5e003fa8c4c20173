// safe_mode_restart_test - the restart into safe mode: what is asked of other programs and in which order, and what the
// program leaves behind so that Windows brings it back.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "app/safe_mode_restart.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/test_registry.h"
#include "support/text.h"

namespace {

constexpr wchar_t kRunOnce[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
constexpr wchar_t kRunOnceValue[] = L"*ORV CLEANUP UTILITY";

// What has been done, in order: the command lines of the started programs, and "RunOnce" for the entry.
std::vector<std::wstring> deeds;
std::vector<REGSAM> asked;  // the rights that the RunOnce key was opened and created with
bool openingIsRefused = false;
bool creationIsRefused = false;
bool settingIsRefused = false;
bool shellIsMissing = false;
bool temporaryFolderIsTooLong = false;
std::wstring commandLineOfTheProcess;
std::wstring pathOfTheProgram;  // in place of the real one
std::wstring watchedBatch;      // the batch file that is being run
bool batchCanBeChanged = false;
bool batchCanBeRemoved = false;

// Whether another program can open the file so, whatever it lets others do.
bool canBeOpened(const std::wstring& path, DWORD access) {
  return static_cast<bool>(
      FileHandle(::CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

bool isRunOnce(const wchar_t* subkey) {
  return subkey && std::wstring_view(subkey) == L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
}

}  // namespace

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, LPCWSTR subkey, DWORD options, REGSAM access, PHKEY key)) {
  if (isRunOnce(subkey)) {
    asked.push_back(access);
    if (openingIsRefused) {
      return ERROR_ACCESS_DENIED;
    }
  }
  return realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(root, subkey, options, access, key);
}

LINK_SEAM(LSTATUS, RegCreateKeyExW,
          (HKEY root, LPCWSTR subkey, DWORD reserved, LPWSTR keyClass, DWORD options, REGSAM access,
           const LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition)) {
  if (isRunOnce(subkey)) {
    asked.push_back(access);
    if (creationIsRefused) {
      return ERROR_ACCESS_DENIED;
    }
  }
  return realFunction<decltype(&::RegCreateKeyExW)>(L"advapi32.dll", "RegCreateKeyExW")(
      root, subkey, reserved, keyClass, options, access, security, key, disposition);
}

LINK_SEAM(LSTATUS, RegSetValueExW, (HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size)) {
  if (name && std::wstring_view(name) == kRunOnceValue) {
    deeds.push_back(L"RunOnce");
    if (settingIsRefused) {
      return ERROR_ACCESS_DENIED;
    }
  }
  return realFunction<decltype(&::RegSetValueExW)>(L"advapi32.dll", "RegSetValueExW")(key, name, reserved, type, data,
                                                                                      size);
}

LINK_SEAM(LPWSTR, GetCommandLineW, ()) {
  return commandLineOfTheProcess.data();
}

// Cuts a path off that is too long for the buffer, as Windows does.
LINK_SEAM(DWORD, GetModuleFileNameW, (HMODULE module, LPWSTR buffer, DWORD size)) {
  if (module || pathOfTheProgram.empty()) {
    return realFunction<decltype(&::GetModuleFileNameW)>(L"kernel32.dll", "GetModuleFileNameW")(module, buffer, size);
  }
  buffer[pathOfTheProgram.copy(buffer, size - 1)] = L'\0';
  if (pathOfTheProgram.size() >= size) {
    ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
  }
  return static_cast<DWORD>(pathOfTheProgram.size());
}

LINK_SEAM(DWORD, GetTempPathW, (DWORD size, LPWSTR buffer)) {
  return temporaryFolderIsTooLong
             ? size + 1
             : realFunction<decltype(&::GetTempPathW)>(L"kernel32.dll", "GetTempPathW")(size, buffer);
}

// What would restart this machine is only recorded.
LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity, LPSECURITY_ATTRIBUTES threadSecurity,
           BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR, LPSTARTUPINFOW startup,
           LPPROCESS_INFORMATION process)) {
  deeds.push_back(commandLine);
  if (deeds.back().starts_with(L"\"")) {
    EXPECT_EQ(flags, static_cast<DWORD>(CREATE_NO_WINDOW));
    if (shellIsMissing) {
      ::SetLastError(ERROR_FILE_NOT_FOUND);
      return FALSE;
    }
    batchCanBeChanged = canBeOpened(watchedBatch, GENERIC_WRITE);
    batchCanBeRemoved = canBeOpened(watchedBatch, DELETE);
  }
  std::wstring command = L"cmd.exe /C exit 1";
  return realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      nullptr, command.data(), processSecurity, threadSecurity, inherit, flags, environment, nullptr, startup, process);
}

namespace {

using Texts = std::vector<std::wstring>;
using Lines = std::vector<std::string>;

constexpr wchar_t kTypeUpdateCommand[] = L"cmd.exe /C \"schtasks /Run /TN \"ORVScoSupportTypeUpdate\"\"";
constexpr char kTypeUpdateLine[] =
    "DEBUG Able to run ORVScoSupportTypeUpdate  : schtasks /Run /TN \"ORVScoSupportTypeUpdate\" ";
constexpr char kKeyOpened[] = "DEBUG -----------Runonce Key opened successfully-------------";
constexpr char kKeyCreated[] = "DEBUG -----------Creating Runonce Key -------------";
constexpr char kValueSet[] = "DEBUG -----------Setting value::Result: 0-------------";

std::wstring realTemporaryFolder() {
  wchar_t folder[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, folder);
  return folder;
}

std::wstring ownPath() {
  wchar_t path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  return path;
}

std::wstring shellCommand(const std::wstring& command) {
  wchar_t systemFolder[MAX_PATH] = {};
  ::GetSystemDirectoryW(systemFolder, MAX_PATH);
  return std::wstring(L"\"") + systemFolder + L"\\cmd.exe\" /C \"" + command + L"\"";
}

class SafeModeRestart : public testing::Test {
 protected:
  SafeModeRestart() {
    pathOfTheProgram.clear();
    commandLineOfTheProcess = L"ORVCleanupUtility.exe safemode";
    ::DeleteFileW(batch_.c_str());
    forget();
  }
  ~SafeModeRestart() override {
    openingIsRefused = creationIsRefused = settingIsRefused = shellIsMissing = temporaryFolderIsTooLong = false;
  }

  void forget() {
    removeKey(kRunOnce);
    plantKey(kRunOnce);
    openingIsRefused = creationIsRefused = settingIsRefused = shellIsMissing = temporaryFolderIsTooLong = false;
    deeds.clear();
    asked.clear();
  }

  Lines restart() {
    deeds.clear();
    asked.clear();
    const CapturedLog log;
    rebootIntoSafeMode(scheduledTasks_);
    return log.lines();
  }

  static std::string announcement() {
    return "DEBUG -----------Creating Runonce registry to launch cleanup after safe boot-----------Buffer value: \"" +
           narrow(ownPath()) + "\" safemode-------------";
  }

  Texts scheduledTasks_;
  const std::wstring batch_ = realTemporaryFolder() + L"safemode.bat";
};

}  // namespace

TEST_F(SafeModeRestart, BatchFileIsByteForByteWhatWindowsIsToRun) {
  restart();
  EXPECT_EQ(readFile(batch_), "@echo off\r\nbcdedit /set {current} safeboot network\r\nshutdown -r -f -t 0\r\n");
  ASSERT_FALSE(deeds.empty());
  EXPECT_EQ(deeds.back(), shellCommand(batch_));
}

TEST_F(SafeModeRestart, RunOnceValueBringsTheProgramBackWithItsArguments) {
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
    restart();
    EXPECT_EQ(readString(kRunOnce, kRunOnceValue),
              std::optional<std::wstring>(L"\"" + ownPath() + L"\"" + row.expected))
        << narrow(row.arguments);
  }
}

TEST_F(SafeModeRestart, ProgramInADeepFolderIsNamedWhole) {
  for (const std::size_t length : {259u, 260u, 261u, 5'000u}) {
    pathOfTheProgram = L"C:\\" + std::wstring(length - 7, L'd') + L".exe";
    restart();
    EXPECT_EQ(readString(kRunOnce, kRunOnceValue),
              std::optional<std::wstring>(L"\"" + pathOfTheProgram + L"\" safemode"))
        << length;
  }
}

TEST_F(SafeModeRestart, CommandThatWindowsMayNotCarryOutIsToldBeforeTheRestart) {
  const std::size_t around = std::wstring(L"\"\" safemode").size();
  for (const std::size_t length : {260u, 261u, 5'000u}) {
    SCOPED_TRACE(length);
    pathOfTheProgram = L"C:\\" + std::wstring(length - around - 7, L'd') + L".exe";
    Lines expected = {kTypeUpdateLine,
                      "DEBUG -----------Creating Runonce registry to launch cleanup after safe boot-----------Buffer "
                      "value: \"" +
                          narrow(pathOfTheProgram) + "\" safemode-------------"};
    if (length > 260) {
      expected.push_back("ERROR Runonce command has " + std::to_string(length) +
                         " characters, Windows may carry out no more than 260: start the program by hand then");
    }
    expected.push_back(kKeyOpened);
    expected.push_back(kValueSet);
    EXPECT_EQ(restart(), expected);
    EXPECT_EQ(readString(kRunOnce, kRunOnceValue),
              std::optional<std::wstring>(L"\"" + pathOfTheProgram + L"\" safemode"));
    EXPECT_EQ(deeds.back(), shellCommand(batch_)) << "the restart goes on";
  }
}

TEST_F(SafeModeRestart, TasksAreAskedToGoBeforeTheEntryAndTheEntryStandsBeforeTheRestart) {
  scheduledTasks_ = {L"Maker task", L"Other task"};
  EXPECT_EQ(restart(), (Lines{kTypeUpdateLine, "DEBUG -----------Deletions of Scheduled Tasks Started-------------",
                              "DEBUG Maker task", "DEBUG Deleting Scheduled Task\t:\tMaker task\tSUCCESSFULL...",
                              "DEBUG Other task", "DEBUG Deleting Scheduled Task\t:\tOther task\tSUCCESSFULL...",
                              "DEBUG -----------Deletions of Scheduled Tasks Ended-------------", announcement(),
                              kKeyOpened, kValueSet}));
  EXPECT_EQ(deeds, (Texts{kTypeUpdateCommand, L"schtasks /delete /TN \"Maker task\" /F",
                          L"schtasks /delete /TN \"Other task\" /F", L"RunOnce", shellCommand(batch_)}));
}

TEST_F(SafeModeRestart, WithoutTasksThereAreNoLinesOfTasks) {
  EXPECT_EQ(restart(), (Lines{kTypeUpdateLine, announcement(), kKeyOpened, kValueSet}));
  EXPECT_EQ(deeds, (Texts{kTypeUpdateCommand, L"RunOnce", shellCommand(batch_)}));
}

TEST_F(SafeModeRestart, MissingRunOnceKeyIsCreated) {
  removeKey(kRunOnce);
  EXPECT_EQ(restart(), (Lines{kTypeUpdateLine, announcement(), kKeyCreated, kValueSet}));
  EXPECT_TRUE(valueExists(kRunOnce, kRunOnceValue));
}

TEST_F(SafeModeRestart, EntryThatCannotBeWrittenDoesNotStopTheRestart) {
  constexpr char kRefused[] = "DEBUG -----------Setting value::Result: 5-------------";
  const struct {
    bool openingIsRefused;
    bool creationIsRefused;
    bool settingIsRefused;
    Lines lines;
    std::vector<REGSAM> rights;
    bool isWritten;
  } rows[] = {
      {false, false, false, {kKeyOpened, kValueSet}, {0x20006}, true},
      {true, false, false, {kKeyCreated, kValueSet}, {0x20006, 0xF003F}, true},
      {true, true, false, {kKeyCreated}, {0x20006, 0xF003F}, false},
      {false, false, true, {kKeyOpened, kRefused}, {0x20006}, false},
      {true, false, true, {kKeyCreated, kRefused}, {0x20006, 0xF003F}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    forget();
    openingIsRefused = row.openingIsRefused;
    creationIsRefused = row.creationIsRefused;
    settingIsRefused = row.settingIsRefused;
    Lines expected = {kTypeUpdateLine, announcement()};
    expected.insert(expected.end(), row.lines.begin(), row.lines.end());
    EXPECT_EQ(restart(), expected);
    openingIsRefused = creationIsRefused = settingIsRefused = false;
    EXPECT_EQ(asked, row.rights);
    EXPECT_EQ(deeds.back(), shellCommand(batch_));
    EXPECT_EQ(valueExists(kRunOnce, kRunOnceValue), row.isWritten);
  }
}

TEST_F(SafeModeRestart, ShellThatCannotBeStartedIsLoggedAndTheRunWaits) {
  shellIsMissing = true;
  EXPECT_EQ(restart(),
            (Lines{kTypeUpdateLine, announcement(), kKeyOpened, kValueSet, "DEBUG Couldn't set to safemode"}));
  MSG message = {};
  EXPECT_FALSE(::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_NOREMOVE));
}

TEST_F(SafeModeRestart, BatchFileCanNeitherBeChangedNorReplacedWhileItRuns) {
  watchedBatch = batch_;
  batchCanBeChanged = batchCanBeRemoved = true;
  restart();
  EXPECT_EQ(deeds.back(), shellCommand(batch_));
  EXPECT_FALSE(batchCanBeChanged);
  EXPECT_FALSE(batchCanBeRemoved);
  EXPECT_TRUE(canBeOpened(batch_, GENERIC_WRITE | DELETE)) << "it has ended";
}

TEST_F(SafeModeRestart, BatchFileThatIsNotOursIsNotRun) {
  const struct {
    const char* what;
    bool (*put)(const std::wstring& path, FileHandle& theirs);
  } rows[] = {
      {"a folder",
       [](const std::wstring& path, FileHandle&) { return ::CreateDirectoryW(path.c_str(), nullptr) != 0; }},
      {"a file that another program does not let go",
       [](const std::wstring& path, FileHandle& theirs) {
         theirs.reset(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
         return static_cast<bool>(theirs);
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    forget();
    FileHandle theirs;
    ASSERT_TRUE(row.put(batch_, theirs));
    EXPECT_EQ(restart(),
              (Lines{kTypeUpdateLine, announcement(), kKeyOpened, kValueSet, "DEBUG Couldn't set to safemode"}));
    EXPECT_EQ(deeds, (Texts{kTypeUpdateCommand, L"RunOnce"}));
    theirs.reset();
    ::RemoveDirectoryW(batch_.c_str());
    ::DeleteFileW(batch_.c_str());
  }
}

TEST_F(SafeModeRestart, WithoutATempFolderNothingIsWrittenIntoTheCurrentOneOrRunFromIt) {
  const TestFolder folder;
  wchar_t former[MAX_PATH] = {};
  ::GetCurrentDirectoryW(MAX_PATH, former);
  ::SetCurrentDirectoryW(folder.path().c_str());
  temporaryFolderIsTooLong = true;
  const Lines lines = restart();
  ::SetCurrentDirectoryW(former);
  EXPECT_FALSE(pathExists(folder / L"safemode.bat"));
  EXPECT_EQ(lines.back(), "DEBUG Couldn't set to safemode");
  EXPECT_EQ(std::count(deeds.begin(), deeds.end(), shellCommand(L"")), 0);
}
