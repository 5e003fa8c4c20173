// service_stop_waits_test - how long stopping a service takes, with a scripted service and a scripted clock.
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "system/services.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct Answer {
  DWORD state;
  DWORD waitHint = 0;
};
constexpr std::nullopt_t kFails = std::nullopt;

// The scripted machine. The last answer is repeated for all further queries.
struct Machine {
  bool managerOpens = true;
  bool serviceOpens = true;
  std::deque<std::optional<Answer>> queries;
  std::optional<Answer> control;  // what the stop request reports; without it, the request fails
  DWORD startTick = 1'000;

  DWORD tick = 0;
  std::vector<DWORD> sleeps;
  int controls = 0;
  std::vector<DWORD> requested;  // the controls asked for
  std::vector<std::string> opened, closed;
  std::optional<DWORD> managerAccess, serviceAccess;
  const void* queryBuffer = nullptr;
  const void* controlBuffer = nullptr;
  DWORD queryBytes = 0;
  SC_STATUS_TYPE queryLevel = {};
};
Machine* machine = nullptr;

const SC_HANDLE kManager = reinterpret_cast<SC_HANDLE>(0x1111);
const SC_HANDLE kService = reinterpret_cast<SC_HANDLE>(0x2222);

class ServiceStopWaits : public ::testing::Test {
 protected:
  bool stop() {
    const CapturedLog log;
    scripted.tick = scripted.startTick;
    machine = &scripted;
    const bool stopped = StopService(L"ScriptedService");
    machine = nullptr;
    EXPECT_EQ(log.lines(), expectedLines);
    EXPECT_THAT(scripted.closed, ::testing::UnorderedElementsAreArray(scripted.opened));
    return stopped;
  }

  // An answer that is repeated forever: a service that does not change.
  void everyQueryAnswers(Answer answer) { scripted.queries = {answer}; }

  Machine scripted;
  std::vector<std::string> expectedLines;  // of the log
};

}  // namespace

LINK_SEAM(DWORD, GetTickCount, ()) {
  return machine ? machine->tick : realFunction<decltype(&::GetTickCount)>(L"kernel32.dll", "GetTickCount")();
}

LINK_SEAM(void, Sleep, (DWORD milliseconds)) {
  if (machine) {
    machine->sleeps.push_back(milliseconds);
    machine->tick += milliseconds;
  } else {
    realFunction<decltype(&::Sleep)>(L"kernel32.dll", "Sleep")(milliseconds);
  }
}

LINK_SEAM(SC_HANDLE, OpenSCManagerW, (const wchar_t* computer, const wchar_t* database, DWORD access)) {
  EXPECT_EQ(computer, nullptr);
  EXPECT_EQ(database, nullptr);
  machine->managerAccess = access;
  if (!machine->managerOpens) {
    return nullptr;
  }
  machine->opened.push_back("manager");
  return kManager;
}

LINK_SEAM(SC_HANDLE, OpenServiceW, (SC_HANDLE manager, const wchar_t* name, DWORD access)) {
  EXPECT_EQ(manager, kManager);
  EXPECT_STREQ(name, L"ScriptedService");
  machine->serviceAccess = access;
  if (!machine->serviceOpens) {
    return nullptr;
  }
  machine->opened.push_back("service");
  return kService;
}

LINK_SEAM(BOOL, CloseServiceHandle, (SC_HANDLE handle)) {
  machine->closed.push_back(handle == kManager ? "manager" : "service");
  return TRUE;
}

LINK_SEAM(BOOL, QueryServiceStatusEx, (SC_HANDLE, SC_STATUS_TYPE level, BYTE* buffer, DWORD bytes, DWORD* needed)) {
  machine->queryBuffer = buffer;
  machine->queryBytes = bytes;
  machine->queryLevel = level;
  *needed = sizeof(SERVICE_STATUS_PROCESS);
  const std::optional<Answer> answer = machine->queries.front();
  if (machine->queries.size() > 1) {
    machine->queries.pop_front();
  }
  if (!answer) {
    return FALSE;
  }
  SERVICE_STATUS_PROCESS status = {};
  status.dwCurrentState = answer->state;
  status.dwWaitHint = answer->waitHint;
  *reinterpret_cast<SERVICE_STATUS_PROCESS*>(buffer) = status;
  return TRUE;
}

LINK_SEAM(BOOL, ControlService, (SC_HANDLE service, DWORD control, SERVICE_STATUS* status)) {
  EXPECT_EQ(service, kService);
  ++machine->controls;
  machine->requested.push_back(control);
  machine->controlBuffer = status;
  if (!machine->control) {
    return FALSE;
  }
  status->dwCurrentState = machine->control->state;
  status->dwWaitHint = machine->control->waitHint;
  return TRUE;
}

TEST_F(ServiceStopWaits, AsksForTheRightsThatItNeeds) {
  everyQueryAnswers({SERVICE_STOPPED});
  EXPECT_TRUE(stop());
  EXPECT_EQ(scripted.managerAccess, static_cast<DWORD>(SC_MANAGER_ALL_ACCESS));
  EXPECT_EQ(scripted.serviceAccess, 44u);
  EXPECT_EQ(scripted.queryLevel, SC_STATUS_PROCESS_INFO);
  EXPECT_EQ(scripted.queryBytes, sizeof(SERVICE_STATUS_PROCESS));
}

TEST_F(ServiceStopWaits, ManagerThatDoesNotOpenIsAFailure) {
  scripted.managerOpens = false;
  EXPECT_FALSE(stop());
  EXPECT_FALSE(scripted.serviceAccess);
}

TEST_F(ServiceStopWaits, ServiceThatDoesNotOpenIsAFailure) {
  scripted.serviceOpens = false;
  EXPECT_FALSE(stop());
  EXPECT_THAT(scripted.closed, ElementsAre("manager"));
}

TEST_F(ServiceStopWaits, FailedFirstQueryIsAFailure) {
  scripted.queries = {kFails};
  EXPECT_FALSE(stop());
  EXPECT_EQ(scripted.controls, 0);
}

TEST_F(ServiceStopWaits, FirstWaitSleepsForATenthOfTheHintWithinItsBounds) {
  const struct {
    DWORD hint, sleep;
  } rows[] = {{0, 1'000},      {2'000, 1'000},  {9'999, 1'000},    {10'000, 1'000},   {10'010, 1'001},
              {50'000, 5'000}, {99'990, 9'999}, {100'000, 10'000}, {100'010, 10'000}, {4'000'000'000, 10'000}};
  for (const auto& row : rows) {
    scripted = {};
    scripted.queries = {Answer{SERVICE_STOP_PENDING, row.hint}, Answer{SERVICE_STOPPED}};
    EXPECT_TRUE(stop());
    EXPECT_THAT(scripted.sleeps, ElementsAre(row.sleep)) << "hint " << row.hint;
    EXPECT_EQ(scripted.controls, 0);
  }
}

TEST_F(ServiceStopWaits, FirstWaitReadsTheHintAnewInEachPass) {
  scripted.queries = {Answer{SERVICE_STOP_PENDING, 50'000}, Answer{SERVICE_STOP_PENDING, 20'000},
                      Answer{SERVICE_STOP_PENDING, 0}, Answer{SERVICE_STOPPED}};
  EXPECT_TRUE(stop());
  EXPECT_THAT(scripted.sleeps, ElementsAre(5'000u, 2'000u, 1'000u));
}

TEST_F(ServiceStopWaits, FailedQueryInTheFirstWaitIsAFailure) {
  scripted.queries = {Answer{SERVICE_STOP_PENDING, 0}, kFails};
  EXPECT_FALSE(stop());
  EXPECT_EQ(scripted.controls, 0);
}

TEST_F(ServiceStopWaits, ServiceThatStaysPendingIsGivenUpWithoutARequest) {
  everyQueryAnswers({SERVICE_STOP_PENDING, 50'000});
  EXPECT_FALSE(stop());
  EXPECT_EQ(scripted.sleeps, std::vector<DWORD>(7, 5'000)) << "after six sleeps exactly 30,000 are not yet over";
  EXPECT_EQ(scripted.controls, 0);
}

TEST_F(ServiceStopWaits, BudgetHoldsAcrossTheTurnOfTheTickCount) {
  scripted.startTick = 0xFFFF'FFF0;
  everyQueryAnswers({SERVICE_STOP_PENDING, 100'000});
  EXPECT_FALSE(stop());
  EXPECT_EQ(scripted.sleeps, std::vector<DWORD>(4, 10'000));
}

TEST_F(ServiceStopWaits, StopAfterTheBudgetStillCountsInTheFirstWait) {
  scripted.queries = {Answer{SERVICE_STOP_PENDING, 100'000}, Answer{SERVICE_STOP_PENDING, 100'000},
                      Answer{SERVICE_STOP_PENDING, 100'000}, Answer{SERVICE_STOP_PENDING, 100'000},
                      Answer{SERVICE_STOPPED}};
  EXPECT_TRUE(stop());
  EXPECT_EQ(scripted.sleeps, std::vector<DWORD>(4, 10'000));
}

TEST_F(ServiceStopWaits, ServiceThatLeavesThePendingStateIsAsked) {
  scripted.queries = {Answer{SERVICE_STOP_PENDING, 0}, Answer{SERVICE_RUNNING}};
  scripted.control = Answer{SERVICE_STOPPED};
  EXPECT_TRUE(stop());
  EXPECT_THAT(scripted.sleeps, ElementsAre(1'000u));
  EXPECT_EQ(scripted.controls, 1);
}

TEST_F(ServiceStopWaits, EveryStateButTheStoppedOnesIsAsked) {
  for (const DWORD state :
       {SERVICE_START_PENDING, SERVICE_RUNNING, SERVICE_CONTINUE_PENDING, SERVICE_PAUSE_PENDING, SERVICE_PAUSED}) {
    scripted = {};
    everyQueryAnswers({state});
    scripted.control = Answer{SERVICE_STOPPED};
    EXPECT_TRUE(stop()) << state;
    EXPECT_THAT(scripted.requested, ElementsAre(static_cast<DWORD>(SERVICE_CONTROL_STOP)));
    EXPECT_THAT(scripted.sleeps, IsEmpty());
    EXPECT_EQ(scripted.controlBuffer, scripted.queryBuffer) << "the request reports into the same buffer";
  }
}

TEST_F(ServiceStopWaits, RefusedRequestIsAFailure) {
  everyQueryAnswers({SERVICE_RUNNING});
  EXPECT_FALSE(stop());
  EXPECT_EQ(scripted.controls, 1);
  EXPECT_THAT(scripted.sleeps, IsEmpty());
}

TEST_F(ServiceStopWaits, SecondWaitSleepsForThePlainHint) {
  scripted.queries = {Answer{SERVICE_RUNNING}, Answer{SERVICE_STOP_PENDING, 0}, Answer{SERVICE_STOP_PENDING, 123},
                      Answer{SERVICE_STOP_PENDING, 12'345}, Answer{SERVICE_STOPPED}};
  scripted.control = Answer{SERVICE_STOP_PENDING, 7};
  EXPECT_TRUE(stop());
  EXPECT_THAT(scripted.sleeps, ElementsAre(7u, 0u, 123u, 12'345u));
  EXPECT_EQ(scripted.controls, 1);
}

TEST_F(ServiceStopWaits, SecondWaitGoesOnInEveryStateThatIsNotStopped) {
  scripted.queries = {Answer{SERVICE_RUNNING}, Answer{SERVICE_RUNNING, 10}, Answer{SERVICE_PAUSED, 20},
                      Answer{SERVICE_STOPPED}};
  scripted.control = Answer{SERVICE_RUNNING, 5};
  EXPECT_TRUE(stop());
  EXPECT_THAT(scripted.sleeps, ElementsAre(5u, 10u, 20u));
}

TEST_F(ServiceStopWaits, FailedQueryInTheSecondWaitIsAFailure) {
  scripted.queries = {Answer{SERVICE_RUNNING}, kFails};
  scripted.control = Answer{SERVICE_STOP_PENDING, 0};
  EXPECT_FALSE(stop());
}

TEST_F(ServiceStopWaits, SecondWaitIsGivenUpWhenTheBudgetIsOver) {
  scripted.queries = {Answer{SERVICE_RUNNING}, Answer{SERVICE_STOP_PENDING, 15'000}};
  scripted.control = Answer{SERVICE_STOP_PENDING, 15'000};
  EXPECT_FALSE(stop());
  EXPECT_EQ(scripted.sleeps, std::vector<DWORD>(3, 15'000)) << "after two sleeps exactly 30,000 are not yet over";
}

TEST_F(ServiceStopWaits, StopAfterTheBudgetStillCountsInTheSecondWait) {
  scripted.queries = {Answer{SERVICE_RUNNING}, Answer{SERVICE_STOPPED}};
  scripted.control = Answer{SERVICE_STOP_PENDING, 50'000};
  EXPECT_TRUE(stop());
  EXPECT_THAT(scripted.sleeps, ElementsAre(50'000u));
}

TEST_F(ServiceStopWaits, HintIsSleptAsToldUpToFiveMinutes) {
  for (const DWORD hint : {DWORD{30'002}, DWORD{300'000}}) {
    scripted = {};
    scripted.queries = {Answer{SERVICE_RUNNING}, Answer{SERVICE_STOP_PENDING, hint}};
    scripted.control = Answer{SERVICE_STOP_PENDING, 12'000};
    EXPECT_FALSE(stop());
    EXPECT_THAT(scripted.sleeps, ElementsAre(12'000u, hint));
  }
}

TEST_F(ServiceStopWaits, LongerHintIsCutToFiveMinutesAndLogged) {
  for (const DWORD hint : {DWORD{300'001}, DWORD{INFINITE}}) {
    scripted = {};
    scripted.queries = {Answer{SERVICE_RUNNING}, Answer{SERVICE_STOP_PENDING, hint}};
    scripted.control = Answer{SERVICE_STOP_PENDING, 12'000};
    expectedLines = {"DEBUG StopService - Wait hint of Service[ScriptedService] cut from " + std::to_string(hint) +
                     " to 300000 milliseconds"};
    EXPECT_FALSE(stop());
    EXPECT_THAT(scripted.sleeps, ElementsAre(12'000u, 300'000u)) << hint;
  }
}

TEST_F(ServiceStopWaits, CutHintHoldsAcrossTheTurnOfTheTickCount) {
  scripted.startTick = 0xFFFF'FFF0;
  scripted.queries = {Answer{SERVICE_RUNNING}, Answer{SERVICE_STOP_PENDING, INFINITE}};
  scripted.control = Answer{SERVICE_STOP_PENDING, 1'000};
  expectedLines = {
      "DEBUG StopService - Wait hint of Service[ScriptedService] cut from 4294967295 to 300000 milliseconds"};
  EXPECT_FALSE(stop());
  EXPECT_THAT(scripted.sleeps, ElementsAre(1'000u, 300'000u));
}

TEST_F(ServiceStopWaits, BothWaitsShareOneBudget) {
  scripted.queries = {Answer{SERVICE_STOP_PENDING, 100'000}, Answer{SERVICE_STOP_PENDING, 100'000},
                      Answer{SERVICE_RUNNING}, Answer{SERVICE_STOP_PENDING, 5'001}};
  scripted.control = Answer{SERVICE_STOP_PENDING, 5'000};
  EXPECT_FALSE(stop());
  EXPECT_THAT(scripted.sleeps, ElementsAre(10'000u, 10'000u, 5'000u, 5'001u));
  EXPECT_EQ(scripted.controls, 1);
}
