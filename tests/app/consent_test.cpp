// consent_test - the first warning: what an answer starts, and that a refusal leaves the machine as it is.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include <objbase.h>

#include "app/cleanup_session.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/test_registry.h"
#include "ui/localised_strings.h"

namespace {

int answer = IDOK;
std::vector<std::wstring> shownMessages;
int initialisedApartments = 0;
std::vector<std::wstring> launched;

}  // namespace

LINK_SEAM(int, MessageBoxW, (HWND, LPCWSTR text, LPCWSTR title, UINT)) {
  shownMessages.push_back(std::wstring(title) + L": " + text);
  return answer;
}

LINK_SEAM(HRESULT, CoInitializeEx, (LPVOID reserved, DWORD mode)) {
  initialisedApartments += mode == COINIT_MULTITHREADED ? 1 : 0;
  return realFunction<decltype(&::CoInitializeEx)>(L"ole32.dll", "CoInitializeEx")(reserved, mode);
}

LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR directory,
           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process)) {
  launched.push_back(commandLine);
  return realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, commandLine, processSecurity, threadSecurity, inherit, flags, environment, directory, startup,
      process);
}

namespace {

constexpr wchar_t kAudio[] = L"HKEY_CURRENT_USER\\SOFTWARE\\ORV\\LM\\Audio";
constexpr wchar_t kDriverSearch[] =
    L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\DriverSearching";
constexpr wchar_t kSearchOrder[] = L"SearchOrderConfig";
constexpr char kFirstStage[] = "DEBUG -----------Applications Eligible to Unistall-------------";
constexpr char kLastStage[] = "DEBUG -----------Deletion of Previous Versions of Installer Ended----------";

using Lines = std::vector<std::string>;

class Consent : public testing::Test {
 protected:
  Consent() : session(::GetModuleHandleW(nullptr), arguments, SW_SHOW) {
    answer = IDOK;
    shownMessages.clear();
    initialisedApartments = 0;
    launched.clear();
    plantKey(kAudio);
    plantDword(kDriverSearch, kSearchOrder, 1);
    plantKey(L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum\\PCI\\VEN_1234&DEV_0001");
    ::DeleteFileW(report.c_str());
  }
  ~Consent() override {
    // The end of an interactive run posts a quit message where it cannot show its dialog.
    MSG message = {};
    languageFilePath.clear();
    ::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);
  }

  void run() {
    session.driverSearch = disableDriverSearch();
    const CapturedLog log;
    session.runCleanupSequence();
    lines = log.lines();
  }

  std::optional<DWORD> driverSearch() const { return readDword(kDriverSearch, kSearchOrder); }

  wchar_t arguments[1] = L"";
  CleanupSession session;
  const std::wstring report = session.tempPath + L"CleanUp\\report.xml";
  Lines lines;
};

}  // namespace

TEST_F(Consent, CancelTouchesNothing) {
  answer = IDCANCEL;
  run();
  EXPECT_EQ(lines, Lines());
  EXPECT_EQ(initialisedApartments, 0) << "no restore point";
  EXPECT_TRUE(keyExists(kAudio));
  EXPECT_TRUE(session.quitRequested);
}

TEST_F(Consent, CancelRestoresNothingAndWritesNoReport) {
  answer = IDCANCEL;
  run();
  EXPECT_EQ(session.driverSearch.savedSearchOrderConfig, std::optional<DWORD>(1));
  EXPECT_EQ(driverSearch(), std::optional<DWORD>(0));
  EXPECT_EQ(launched, std::vector<std::wstring>()) << "safe boot stays set";
  EXPECT_FALSE(pathExists(report));
}

TEST_F(Consent, WarningIsInTheUsersLanguage) {
  const TestFolder folder;
  languageFilePath =
      folder.makeFile(L"DEU.xml",
                      "<Language X><Caption Value=\"125\">Warnung</Caption><Caption "
                      "Value=\"126\">Titel</Caption><Caption Value=\"133\">Neustart</Caption></Language>");
  answer = IDCANCEL;
  run();
  EXPECT_EQ(shownMessages, (std::vector<std::wstring>{L"Titel: Warnung"}));
}

TEST_F(Consent, AnyAnswerButOkEndsTheSequence) {
  for (const int other : {0, IDNO, IDYES, IDCLOSE}) {
    answer = other;
    run();
    EXPECT_EQ(lines, Lines()) << other;
  }
}

TEST_F(Consent, OkRunsThePassToItsEnd) {
  run();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), kFirstStage);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), kLastStage), 1);
  EXPECT_EQ(shownMessages.size(), 1u);  // the consent; the question about the restart is asked from the finish dialog
  EXPECT_FALSE(keyExists(kAudio));
  EXPECT_EQ(driverSearch(), std::optional<DWORD>(1));
  EXPECT_TRUE(pathExists(report));
}

TEST_F(Consent, SilentRunAsksNothingAndStillMakesTheRestorePoint) {
  session.switches.silent = true;
  run();
  EXPECT_TRUE(shownMessages.empty());
  EXPECT_EQ(initialisedApartments, 1);
}

TEST_F(Consent, DisabledCleanupEndsBehindTheRestorePoint) {
  session.switches.silent = true;
  session.cleanupEnabled = false;
  run();
  EXPECT_EQ(initialisedApartments, 1);
  EXPECT_EQ(lines, Lines());
}
