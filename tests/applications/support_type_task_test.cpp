// support_type_task_test - starting the scheduled task without waiting for it.
#include "applications/support_type_task.h"

#include "applications/recorded_starts.h"

using ::testing::ElementsAre;

namespace {

constexpr wchar_t kTaskCommand[] = L"schtasks /Run /TN \"ORVScoSupportTypeUpdate\"";
constexpr char kNarrowTaskCommand[] = "schtasks /Run /TN \"ORVScoSupportTypeUpdate\"";

using SupportTypeTask = RecordedStarts;

}  // namespace

TEST_F(SupportTypeTask, IsStartedInTheUnexpandedFolderAndNotWaitedFor) {
  startsNothing = true;
  exitCodeOfChild = STILL_ACTIVE;
  RunSupportTypeUpdateTask();
  ASSERT_EQ(starts.size(), 1u);
  EXPECT_EQ(starts[0].commandLine, std::wstring(L"cmd.exe /C \"") + kTaskCommand + L"\"");
  EXPECT_EQ(starts[0].directory, L"%SYSTEMROOT%\\System32");
  EXPECT_TRUE(waitedFor.empty());
  EXPECT_THAT(log.lines(),
              ElementsAre(std::string("DEBUG Able to run ORVScoSupportTypeUpdate  : ") + kNarrowTaskCommand + " "));
}

TEST_F(SupportTypeTask, EveryCodeButZeroCountsAsAbleToRun) {
  startsNothing = true;
  for (const DWORD code : {DWORD{1}, DWORD{STILL_ACTIVE}, ~DWORD{0}}) {
    exitCodeOfChild = code;
    const CapturedLog lines;
    RunSupportTypeUpdateTask();
    EXPECT_THAT(lines.lines(),
                ElementsAre(std::string("DEBUG Able to run ORVScoSupportTypeUpdate  : ") + kNarrowTaskCommand + " "));
  }
}

TEST_F(SupportTypeTask, ThatHasEndedWithZeroCountsAsNotAbleToRun) {
  startsNothing = true;
  exitCodeOfChild = 0;
  RunSupportTypeUpdateTask();
  EXPECT_THAT(log.lines(),
              ElementsAre(std::string("DEBUG Not able to run ORVScoSupportTypeUpdate : ") + kNarrowTaskCommand + " "));
}

TEST_F(SupportTypeTask, UnexpandedFolderIsNoFolderSoTheStartFailsAndCountsAsAbleToRun) {
  RunSupportTypeUpdateTask();
  EXPECT_THAT(log.lines(),
              ElementsAre(std::string("ERROR Failed Applications uninstall : cmd: ") + kNarrowTaskCommand +
                              " ,error code\t:\t267",
                          std::string("DEBUG Able to run ORVScoSupportTypeUpdate  : ") + kNarrowTaskCommand + " "));
}

TEST_F(SupportTypeTask, FailedStartOfTheTaskCountsAsAbleToRun) {
  startFailure = ERROR_ACCESS_DENIED;
  RunSupportTypeUpdateTask();
  EXPECT_THAT(log.lines(),
              ElementsAre(std::string("ERROR Failed Applications uninstall : cmd: ") + kNarrowTaskCommand +
                              " ,error code\t:\t5",
                          std::string("DEBUG Able to run ORVScoSupportTypeUpdate  : ") + kNarrowTaskCommand + " "));
}
