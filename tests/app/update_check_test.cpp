// update_check_test - an interactive run does not begin while Windows Update is running: the message, the end of the
// process, and the silent run that is not held up.

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include <windows.h>

#include "app/cleanup_session.h"
#include "app/update_check.h"
#include "support/link_seam.h"
#include "support/program_named.h"
#include "support/test_child.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/process_launch.h"
#include "ui/localised_strings.h"

namespace {

// Where a child process notes down what it would have shown.
std::string notes;

// The exit code of a child that the check has let go on.
constexpr int kWentOn = 7;
constexpr DWORD kLimitMilliseconds = 60'000;
constexpr wchar_t kUpdateClient[] = L"wuauclt.exe";

}  // namespace

LINK_SEAM(int, MessageBoxW, (HWND owner, LPCWSTR text, LPCWSTR title, UINT style)) {
  std::ofstream file(notes, std::ios::app);
  file << narrow(title) << "|" << narrow(text) << "|" << style << "|" << (owner == nullptr);
  return IDOK;
}

namespace {

class UpdateCheck : public testing::Test {
 protected:
  // The exit code of a process that does this.
  DWORD startChild(const std::wstring& mode, const std::wstring& languageFile = L"none") {
    return LaunchProcessAndWait(ownProgram(), mode + L" " + (folder_ / L"shown.txt") + L" " + languageFile,
                                kLimitMilliseconds);
  }

  std::string shown() const { return readFile(folder_ / L"shown.txt"); }

  TestFolder folder_;
};

constexpr char kMessage[] =
    "ORV Cleanup Utility|ORV Cleanup Utility cannot complete while Windows Update is running. Please finish or exit "
    "Windows Update and re-launch ORV Cleanup Utility.|64|1";

}  // namespace

TEST_F(UpdateCheck, WithoutTheClientTheRunGoesOn) {
  EXPECT_EQ(startChild(L"--check"), static_cast<DWORD>(kWentOn));
  EXPECT_EQ(shown(), "");
}

TEST_F(UpdateCheck, RunningClientEndsTheProcessBehindAMessage) {
  const ProgramNamed client(kUpdateClient);
  ASSERT_TRUE(client.runs());
  EXPECT_EQ(startChild(L"--check"), 0u);
  EXPECT_EQ(shown(), kMessage);
}

TEST_F(UpdateCheck, MessageIsInTheUsersLanguage) {
  const std::wstring language =
      folder_.makeFile(L"DEU.xml",
                       "<Language X><Caption Value=\"126\">Titel</Caption><Caption Value=\"135\">Modus</Caption>"
                       "<Caption Value=\"137\">Erst das Update</Caption></Language>");
  const ProgramNamed client(kUpdateClient);
  ASSERT_TRUE(client.runs());
  EXPECT_EQ(startChild(L"--check", language), 0u);
  EXPECT_EQ(shown(), "Titel|Erst das Update|64|1");
}

TEST_F(UpdateCheck, InteractiveRunLooksForTheClient) {
  const ProgramNamed client(kUpdateClient);
  ASSERT_TRUE(client.runs());
  EXPECT_EQ(startChild(L"--run"), 0u);
  EXPECT_EQ(shown(), kMessage);
}

TEST_F(UpdateCheck, SilentRunDoesNotLookForTheClient) {
  const ProgramNamed client(kUpdateClient);
  ASSERT_TRUE(client.runs());
  EXPECT_EQ(startChild(L"--run-silent"), static_cast<DWORD>(kWentOn));
  EXPECT_EQ(shown(), "");
}

int main(int argumentCount, char** arguments) {
  if (const std::optional<int> exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  const std::string_view mode = argumentCount > 3 ? arguments[1] : "";
  if (mode == "--check" || mode == "--run" || mode == "--run-silent") {
    notes = arguments[2];
    const std::string_view language = arguments[3];
    languageFilePath.assign(language.begin(), language.end());
    if (mode == "--check") {
      checkWindowsUpdate();
      return kWentOn;
    }
    wchar_t nothing[] = L"";
    CleanupSession session(::GetModuleHandleW(nullptr), nothing, SW_SHOW);
    session.switches.silent = mode == "--run-silent";
    session.run();  // has no manifest here, and comes back when it finds that
    return kWentOn;
  }
  ::testing::InitGoogleTest(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
