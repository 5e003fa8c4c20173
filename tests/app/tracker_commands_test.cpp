#include "app/tracker_commands.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include <shellapi.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_child.h"
#include "support/test_folder.h"
#include "system/process_launch.h"
#include "system/system_message.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr std::int32_t kSeconds = 60;

// The time-outs of the waits for a process, one command after the other, and the threads that start one.
std::vector<DWORD> processWaits;
std::atomic<DWORD> launchThread{0};
// What Windows gives for a launch that fails. Wine 10 gives another code.
std::optional<DWORD> launchFailure;
// No path of a bench machine makes the system refuse to say whether a file is there.
std::wstring undecided;

}  // namespace

LINK_SEAM(DWORD, WaitForSingleObject, (HANDLE object, DWORD milliseconds)) {
  if (::GetProcessId(object) != 0) {
    processWaits.push_back(milliseconds);
  }
  return realFunction<decltype(&::WaitForSingleObject)>(L"kernel32.dll", "WaitForSingleObject")(object, milliseconds);
}

LINK_SEAM(BOOL, ShellExecuteExW, (SHELLEXECUTEINFOW * info)) {
  launchThread = ::GetCurrentThreadId();
  const BOOL launched = realFunction<decltype(&::ShellExecuteExW)>(L"shell32.dll", "ShellExecuteExW")(info);
  if (!launched && launchFailure) {
    ::SetLastError(*launchFailure);
  }
  return launched;
}

LINK_SEAM(DWORD, GetFileAttributesW, (LPCWSTR path)) {
  if (!undecided.empty() && undecided == path) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_FILE_ATTRIBUTES;
  }
  return realFunction<decltype(&::GetFileAttributesW)>(L"kernel32.dll", "GetFileAttributesW")(path);
}

namespace {

std::wstring cmd() {
  wchar_t folder[MAX_PATH] = L"";
  ::GetSystemDirectoryW(folder, MAX_PATH);
  return std::wstring(folder) + L"\\cmd.exe";
}

std::string narrow(const std::wstring& text) {
  return std::string(text.begin(), text.end());
}

std::string launchLine(const std::wstring& process, const std::wstring& commandLine) {
  return narrow(L"DEBUG handlePKMTrackerBinaries -- launch process " + process + L" -- " + commandLine + L" -- 2 ");
}

std::string endLine(const std::wstring& process, const std::wstring& commandLine, int exitCode) {
  return narrow(L"DEBUG Process " + process + L" " + commandLine + L" completed with exit code ") +
         std::to_string(exitCode);
}

TEST(TrackerCommands, RunOneAfterTheOther) {
  const TestFolder folder;
  const std::wstring output = folder / L"order.txt";
  const std::wstring first = L"/c echo first>>" + output;
  const std::wstring second = L"/c echo second>>" + output + L"&exit 7";
  const std::wstring third = L"/c echo third>>" + output;
  const CapturedLog log;
  handlePKMTrackerBinaries({{kSeconds, first, cmd()}, {kSeconds, second, cmd()}, {kSeconds, third, cmd()}});
  EXPECT_EQ("first\r\nsecond\r\nthird\r\n", readFile(output));
  EXPECT_THAT(log.lines(), ElementsAre(launchLine(cmd(), first), endLine(cmd(), first, 0), launchLine(cmd(), second),
                                       endLine(cmd(), second, 7), launchLine(cmd(), third), endLine(cmd(), third, 0)))
      << "an exit code is logged and stops nothing";
}

TEST(TrackerCommands, NoCommandsDoNothing) {
  const CapturedLog log;
  handlePKMTrackerBinaries({});
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(TrackerCommands, MissingProgramLeavesOnlyTheLaunchLine) {
  const TestFolder folder;
  const std::wstring missing = folder / L"missing\\stop.exe";
  const CapturedLog log;
  handlePKMTrackerBinaries({{kSeconds, L"-quiet", missing}, {kSeconds, L"", L""}, {kSeconds, L"/c exit 3", cmd()}});
  EXPECT_THAT(log.lines(), ElementsAre(launchLine(missing, L"-quiet"), launchLine(L"", L""),
                                       launchLine(cmd(), L"/c exit 3"), endLine(cmd(), L"/c exit 3", 3)));
}

TEST(TrackerCommands, ZeroTimeoutLetsTheProcessGoOn) {
  const NamedEvent started;
  const NamedEvent end;
  const NamedEvent ended;
  const std::wstring waiting = L"/c \"\"" + ownProgram() + L"\" --wait " + started.name() + L" " + end.name() +
                               L" & \"" + ownProgram() + L"\" --signal " + ended.name() + L"\"";
  const CapturedLog log;
  handlePKMTrackerBinaries({{0, waiting, cmd()}, {kSeconds, L"/c exit 0", cmd()}});
  EXPECT_THAT(log.lines(), ElementsAre(launchLine(cmd(), waiting), endLine(cmd(), waiting, STILL_ACTIVE),
                                       launchLine(cmd(), L"/c exit 0"), endLine(cmd(), L"/c exit 0", 0)));
  EXPECT_TRUE(started.wait());
  EXPECT_FALSE(ended.isSet());
  end.set();
  EXPECT_TRUE(ended.wait()) << "the process was left to itself and has come to its end";
}

TEST(TrackerCommands, FailingLaunchIsDropped) {
  const TestFolder folder;
  const std::wstring broken = folder.makeFile(L"broken.exe", "not a program");
  launchFailure = ERROR_BAD_EXE_FORMAT;
  const CapturedLog log;
  handlePKMTrackerBinaries({{kSeconds, L"-quiet", broken}, {kSeconds, L"/c exit 0", cmd()}});
  EXPECT_THAT(log.lines(),
              ElementsAre(launchLine(broken, L"-quiet"),
                          narrow(L"ERROR Launching process " + broken + L" -quiet failed. Error code = " +
                                 std::to_wstring(ERROR_BAD_EXE_FORMAT) + L" " + systemMessage(ERROR_BAD_EXE_FORMAT)),
                          launchLine(cmd(), L"/c exit 0"), endLine(cmd(), L"/c exit 0", 0)));
  launchFailure.reset();
}

TEST(TrackerCommands, TimeoutIsInSeconds) {
  constexpr DWORD kLongest = INFINITE - 1;  // one more would be a wait without an end
  const struct {
    std::int32_t seconds;
    DWORD milliseconds;
  } rows[] = {
      {60, 60'000},
      {1, 1'000},
      {0, 0},
      {3'000'000, 3'000'000'000},
      {4'294'967, 4'294'967'000},
      {4'294'968, kLongest},
      {std::numeric_limits<std::int32_t>::max(), kLongest},
      // None at all, and not the weeks that an unsigned number would make of it.
      {-1, 0},
      {-60, 0},
      {-4'294'968, 0},
      {std::numeric_limits<std::int32_t>::min(), 0},
  };
  for (const auto& row : rows) {
    processWaits.clear();
    handlePKMTrackerBinaries({{row.seconds, L"/c exit 0", cmd()}});
    EXPECT_THAT(processWaits, ElementsAre(row.milliseconds)) << row.seconds;
  }
}

TEST(TrackerCommands, RunOnAThreadOfTheirOwn) {
  launchThread = 0;
  handlePKMTrackerBinaries({{kSeconds, L"/c exit 0", cmd()}});
  EXPECT_NE(0u, launchThread.load());
  EXPECT_NE(::GetCurrentThreadId(), launchThread.load());
}

TEST(TrackerCommands, UndecidedProgramEndsTheStage) {
  undecided = L"C:\\ORV\\undecided.exe";
  const CapturedLog log;
  try {
    handlePKMTrackerBinaries({{kSeconds, L"", undecided}, {kSeconds, L"/c exit 0", cmd()}});
    ADD_FAILURE() << "the system cannot say whether the program exists";
  } catch (const std::filesystem::filesystem_error& failure) {
    EXPECT_THAT(failure.what(), ::testing::HasSubstr("exists"));
  }
  EXPECT_THAT(log.lines(), ElementsAre(launchLine(undecided, L"")));
  undecided.clear();
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (const std::optional<int> exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
