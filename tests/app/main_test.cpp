// main_test - the program from its entry point to its exit code, with the shipped resources.

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "manifest/tracker_document.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"
#include "system/handles.h"

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE previousInstance, wchar_t* commandLine, int showCommand);

namespace {

struct ShownMessage {
  std::wstring text;
  std::wstring title;
  UINT style;
};

constexpr UINT kSafeModeQuestion = MB_YESNO | MB_ICONINFORMATION | MB_DEFBUTTON2;

std::vector<ShownMessage> shownMessages;  // but for the question about safe mode
int messageAnswer = IDCANCEL;
bool windowCreationFails = false;
int createdWindows = 0;
bool getMessageFails = false;
int quitMessages = 0;
std::wstring userLocale;  // in place of the machine's

constexpr wchar_t kDriverSearch[] =
    L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\DriverSearching";
constexpr wchar_t kSearchOrder[] = L"SearchOrderConfig";
constexpr wchar_t kControlPanelKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\LM";
constexpr wchar_t kCleanupKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\QBX Installer\\Install\\Cleanup";

}  // namespace

LINK_SEAM(int, MessageBoxW, (HWND, LPCWSTR text, LPCWSTR title, UINT style)) {
  if (style == kSafeModeQuestion) {
    return IDNO;  // the run goes on here
  }
  shownMessages.push_back({text, title, style});
  return messageAnswer;
}

LINK_SEAM(HWND, CreateWindowExW,
          (DWORD extendedStyle, LPCWSTR className, LPCWSTR windowName, DWORD style, int x, int y, int width, int height,
           HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter)) {
  ++createdWindows;
  if (windowCreationFails) {
    return nullptr;
  }
  return realFunction<decltype(&::CreateWindowExW)>(L"user32.dll", "CreateWindowExW")(
      extendedStyle, className, windowName, style, x, y, width, height, parent, menu, instance, parameter);
}

LINK_SEAM(int, GetUserDefaultLocaleName, (LPWSTR name, int size)) {
  if (userLocale.empty()) {
    return realFunction<decltype(&::GetUserDefaultLocaleName)>(L"kernel32.dll", "GetUserDefaultLocaleName")(name, size);
  }
  name[userLocale.copy(name, static_cast<std::size_t>(size) - 1)] = L'\0';
  return static_cast<int>(userLocale.size()) + 1;
}

LINK_SEAM(BOOL, GetMessageW, (LPMSG message, HWND window, UINT first, UINT last)) {
  return getMessageFails
             ? -1
             : realFunction<decltype(&::GetMessageW)>(L"user32.dll", "GetMessageW")(message, window, first, last);
}

LINK_SEAM(void, PostQuitMessage, (int exitCode)) {
  ++quitMessages;
  realFunction<decltype(&::PostQuitMessage)>(L"user32.dll", "PostQuitMessage")(exitCode);
}

namespace {

class Program : public testing::Test {
 protected:
  void SetUp() override {
    shownMessages.clear();
    messageAnswer = IDCANCEL;
    windowCreationFails = false;
    createdWindows = 0;
    getMessageFails = false;
    quitMessages = 0;
    userLocale.clear();
    removeKey(kCleanupKey);
    // Leave no quit message of an earlier run behind.
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    }
  }

  static int start(std::wstring commandLine) {
    return ::wWinMain(::GetModuleHandleW(nullptr), nullptr, commandLine.data(), SW_SHOW);
  }

  static std::wstring workFolder() {
    wchar_t temp[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, temp);
    return std::wstring(temp) + L"CleanUp";
  }

  static std::string narrowWorkFolder() {
    const std::wstring folder = workFolder();
    return {folder.begin(), folder.end()};
  }

  // The temporary folder with its separator.
  static std::string narrowTemporaryFolder() {
    const std::string folder = narrowWorkFolder();
    return folder.substr(0, folder.size() - std::string("CleanUp").size());
  }

  // The line that tells of the manifest, which only a run that goes on gets to.
  static std::string manifestLine() {
    return "DEBUG PKMCONFIG JSON Path is: " + narrowTemporaryFolder() + "\\CleanUp\\\\ScrubList.JSON";
  }
};

// The mutex of an instance that runs already.
class OtherInstance {
 public:
  OtherInstance() : mutex_(::CreateMutexW(nullptr, FALSE, L"ORVCleanupUtility Instance")) {}

 private:
  KernelHandle mutex_;
};

bool isLogged(const std::vector<std::string>& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

}  // namespace

TEST_F(Program, EmptyCommandLineGivesAnInteractiveRun) {
  EXPECT_EQ(start(L""), 0);
  EXPECT_EQ(createdWindows, 1);
  ASSERT_EQ(shownMessages.size(), 1u);  // the consent, which the user refuses here
  EXPECT_EQ(shownMessages[0].text,
            L"This process will remove ORV drivers and applications such as graphics drivers, audio drivers, and ORV "
            L"Software. This process will not remove or modify ORV chipset drivers.");
  EXPECT_EQ(shownMessages[0].title, L"ORV Cleanup Utility");
  EXPECT_EQ(shownMessages[0].style, static_cast<UINT>(MB_OKCANCEL | MB_ICONINFORMATION));
}

TEST_F(Program, FirstLinesTellTheFolderTheSwitchesAndTheManifest) {
  const CapturedLog log;
  EXPECT_EQ(start(L"unknown"), 0);
  const std::string temp = narrowTemporaryFolder();
  const std::vector<std::string> expected = {
      "ERROR Failed Opening Registry Key of CleanUpProgressPercentage registry value",
      "DEBUG Localization XML PATH\t:\t" + temp + "\\CleanUp",
      "DEBUG Localization File\t\t:\t" + temp + "CleanUp\\ENU.xml",
      manifestLine(),
      "DEBUG ------------------Parsing JSON -----------------",
      "DEBUG Parsing ScrubList.JSON File",
      "DEBUG Loading ScrubList.JSON File",
  };
  std::vector<std::string> lines = log.lines();
  ASSERT_GE(lines.size(), expected.size());
  lines.resize(expected.size());
  EXPECT_EQ(lines, expected);
}

TEST_F(Program, SecondInteractiveInstanceIsRefusedWithAMessage) {
  const OtherInstance other;
  const CapturedLog log;
  EXPECT_EQ(start(L""), 0);
  ASSERT_EQ(shownMessages.size(), 1u);
  EXPECT_EQ(shownMessages[0].text, L"Another instance is running.");
  EXPECT_EQ(shownMessages[0].title, L"ORV Cleanup Utility");
  EXPECT_EQ(shownMessages[0].style, static_cast<UINT>(MB_ICONINFORMATION));
  EXPECT_EQ(createdWindows, 0);
  EXPECT_FALSE(isLogged(log.lines(), manifestLine()));
}

TEST_F(Program, SecondInstanceIsRefusedInTheUsersLanguage) {
  userLocale = L"de-DE";
  const OtherInstance other;
  EXPECT_EQ(start(L""), 0);
  ASSERT_EQ(shownMessages.size(), 1u);
  EXPECT_EQ(shownMessages[0].text, L"Eine andere Instanz wird bereits ausgef\u00FChrt.");
  EXPECT_EQ(shownMessages[0].title, L"ORV-Bereinigungstool");
}

TEST_F(Program, SecondSilentInstanceRunsBesideTheFirst) {
  const OtherInstance other;
  const CapturedLog log;
  EXPECT_EQ(start(L"silent"), 0);
  EXPECT_TRUE(shownMessages.empty());
  EXPECT_TRUE(isLogged(log.lines(), "DEBUG -----------Failed Deletion of Driver Files ---------------"));
}

TEST_F(Program, EndedInstanceLeavesNoMutexBehind) {
  EXPECT_EQ(start(L""), 0);
  const HANDLE mutex = ::OpenMutexW(SYNCHRONIZE, FALSE, L"ORVCleanupUtility Instance");
  EXPECT_EQ(mutex, nullptr);
}

TEST_F(Program, SilentRunCreatesNoWindowAndAsksNothing) {
  EXPECT_EQ(start(L"silent"), 0);
  EXPECT_EQ(createdWindows, 0);
  EXPECT_TRUE(shownMessages.empty());
  EXPECT_EQ(quitMessages, 1);
}

TEST_F(Program, MainWindowThatCannotBeCreatedEndsTheRunAtOnce) {
  windowCreationFails = true;
  plantDword(kDriverSearch, kSearchOrder, 1);
  const CapturedLog log;
  EXPECT_EQ(start(L""), 0);
  EXPECT_TRUE(shownMessages.empty());
  EXPECT_FALSE(isLogged(log.lines(), manifestLine()));
  EXPECT_EQ(readDword(kDriverSearch, kSearchOrder), std::optional<DWORD>(1));
}

TEST_F(Program, FailingGetMessageGivesMinusOne) {
  getMessageFails = true;
  EXPECT_EQ(start(L""), -1);
}

TEST_F(Program, EscapedExceptionIsLoggedAndExitsWithZero) {
  // A folder in the manifest's place: it can be neither written nor read.
  const std::wstring obstacle = workFolder() + L"\\ScrubList.JSON";
  ::DeleteFileW(obstacle.c_str());
  ASSERT_TRUE(::CreateDirectoryW(obstacle.c_str(), nullptr));
  const CapturedLog log;
  EXPECT_EQ(start(L"silent"), 0);
  ::RemoveDirectoryW(obstacle.c_str());
  const std::vector<std::string> lines = log.lines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[lines.size() - 3], "DEBUG Loading ScrubList.JSON File Failed!!!");
  EXPECT_EQ(lines[lines.size() - 2], "DEBUG Getting Generic Data from ScrubList.JSON File");
  EXPECT_EQ(lines[lines.size() - 1], "DEBUG CleanUp:: No such node (Generic.ScheduledTasks)");
}

// Any program of the user can put a document in the place of the manifest and hold it there.
TEST_F(Program, DocumentThatAnotherProgramHoldsInTheManifestsPlaceIsNotObeyed) {
  const std::wstring planted = workFolder() + L"\\ScrubList.JSON";
  const FileHandle theirs(::CreateFileW(planted.c_str(), GENERIC_READ | GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
  const std::string document = R"({"Generic": {"ScheduledTasks": ["anything"]}})";
  DWORD written = 0;
  ASSERT_TRUE(::WriteFile(theirs.get(), document.data(), static_cast<DWORD>(document.size()), &written, nullptr));
  const CapturedLog log;
  EXPECT_EQ(start(L"silent"), 0);
  EXPECT_EQ(log.lines().back(), "DEBUG CleanUp:: No such node (Generic.ScheduledTasks)");
}

TEST_F(Program, TrackerFileWithoutOneOfItsObjectsEndsTheRunWithOneLine) {
  const InstallManager manager;
  manager.writeTracker("{\"PKMBinaries\": {\"Generic\": {\"PreOperations\": {}, \"PostOperations\": {}}}}");
  const CapturedLog log;
  EXPECT_EQ(start(L"silent"), 0);
  EXPECT_EQ(log.lines().back(), "DEBUG CleanUp:: No such node (PKMBinaries.Cleanup.PreOperations)");
  EXPECT_EQ(quitMessages, 0) << "the sequence did not come to its end";
}

TEST_F(Program, ControlPanelVersionThatIsTooShortEndsTheRunWithOneLine) {
  plantString(kControlPanelKey, L"LMVersion", L"21");
  const CapturedLog log;
  EXPECT_EQ(start(L"silent"), 0);
  removeKey(kControlPanelKey);
  const std::vector<std::string> lines = log.lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[lines.size() - 2], "DEBUG -----------Deletion of Preuninstall Registries Values Ended-------------");
  EXPECT_EQ(lines.back(), "DEBUG CleanUp:: basic_string::substr: __pos (which is 3) > this->size() (which is 2)");
}

TEST_F(Program, ProgressPercentageIsZeroAfterTheStart) {
  plantDword(kCleanupKey, L"ProgressPercentage", 73);
  const CapturedLog log;
  EXPECT_EQ(start(L""), 0);
  EXPECT_EQ(readDword(kCleanupKey, L"ProgressPercentage"), std::optional<DWORD>(0));
  EXPECT_EQ(log.lines().at(0), "ERROR Setting CleanUpProgressPercentage - 0");
}

TEST_F(Program, MachineWithoutTheProgressKeyIsLeftWithoutIt) {
  EXPECT_EQ(start(L""), 0);
  EXPECT_FALSE(keyExists(kCleanupKey));
}

TEST_F(Program, LibrariesAndProgramsComeFromTheSystemFolderAlone) {
  EXPECT_EQ(start(L""), 0);
  wchar_t own[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, own, MAX_PATH);
  const std::wstring beside = std::filesystem::path(own).parent_path().wstring() + L"\\beside.dll";
  ASSERT_TRUE(::CopyFileW(L"C:\\windows\\system32\\version.dll", beside.c_str(), FALSE));
  const HMODULE library = ::LoadLibraryW(L"beside.dll");
  EXPECT_EQ(library, nullptr);
  ::DeleteFileW(beside.c_str());
  wchar_t directory[MAX_PATH] = {};
  ::GetCurrentDirectoryW(MAX_PATH, directory);
  EXPECT_STREQ(directory, L"C:\\windows\\system32");
}
