// services_test - stopping real services.
#include "system/services.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_child.h"
#include "support/test_service.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// If set, a sleep only advances the clock, so that a service that never stops does not take half a minute.
bool clockIsVirtual = false;
DWORD virtualMilliseconds = 0;

std::vector<std::wstring> openedServices;
int controls = 0;
int openHandles = 0;

class ServiceStop : public ::testing::Test {
 protected:
  void SetUp() override {
    clockIsVirtual = false;
    virtualMilliseconds = 0;
  }

  // Calls StopService and checks what must hold for every outcome.
  static bool stop(const std::wstring& name) {
    const CapturedLog log;
    openedServices.clear();
    controls = 0;
    openHandles = 0;
    const bool stopped = StopService(name);
    EXPECT_EQ(openHandles, 0) << "a handle was left open";
    EXPECT_THAT(log.lines(), IsEmpty()) << "the caller's failure list is the record";
    return stopped;
  }
};

}  // namespace

LINK_SEAM(DWORD, GetTickCount, ()) {
  return clockIsVirtual ? virtualMilliseconds
                        : realFunction<decltype(&::GetTickCount)>(L"kernel32.dll", "GetTickCount")();
}

LINK_SEAM(void, Sleep, (DWORD milliseconds)) {
  if (clockIsVirtual) {
    virtualMilliseconds += milliseconds;
  } else {
    realFunction<decltype(&::Sleep)>(L"kernel32.dll", "Sleep")(milliseconds);
  }
}

LINK_SEAM(SC_HANDLE, OpenSCManagerW, (const wchar_t* machine, const wchar_t* database, DWORD access)) {
  const SC_HANDLE manager =
      realFunction<decltype(&::OpenSCManagerW)>(L"advapi32.dll", "OpenSCManagerW")(machine, database, access);
  openHandles += manager ? 1 : 0;
  return manager;
}

LINK_SEAM(SC_HANDLE, OpenServiceW, (SC_HANDLE manager, const wchar_t* name, DWORD access)) {
  openedServices.push_back(name);
  const SC_HANDLE service =
      realFunction<decltype(&::OpenServiceW)>(L"advapi32.dll", "OpenServiceW")(manager, name, access);
  openHandles += service ? 1 : 0;
  return service;
}

LINK_SEAM(BOOL, CloseServiceHandle, (SC_HANDLE handle)) {
  --openHandles;
  return realFunction<decltype(&::CloseServiceHandle)>(L"advapi32.dll", "CloseServiceHandle")(handle);
}

LINK_SEAM(BOOL, ControlService, (SC_HANDLE service, DWORD control, SERVICE_STATUS* status)) {
  ++controls;
  return realFunction<decltype(&::ControlService)>(L"advapi32.dll", "ControlService")(service, control, status);
}

TEST_F(ServiceStop, RunningServiceIsStopped) {
  TestService service(L"OrvTestStop");
  ASSERT_TRUE(service.start());
  EXPECT_TRUE(stop(service.name()));
  EXPECT_EQ(service.state(), static_cast<DWORD>(SERVICE_STOPPED));
  EXPECT_EQ(controls, 1);
}

TEST_F(ServiceStop, StoppedServiceNeedsNoRequest) {
  const TestService service(L"OrvTestStopped");
  ASSERT_EQ(service.state(), static_cast<DWORD>(SERVICE_STOPPED));
  EXPECT_TRUE(stop(service.name()));
  EXPECT_EQ(controls, 0);
}

TEST_F(ServiceStop, MissingServiceIsAFailure) {
  EXPECT_FALSE(stop(L"OrvTestMissing"));
  EXPECT_FALSE(stop(L""));
}

TEST_F(ServiceStop, ServiceThatRefusesIsAFailure) {
  TestService service(L"OrvTestRefuses", ServiceManner::kRefuses);
  ASSERT_TRUE(service.start());
  EXPECT_FALSE(stop(service.name()));
  EXPECT_EQ(service.state(), static_cast<DWORD>(SERVICE_RUNNING));
}

TEST_F(ServiceStop, HangingServiceIsGivenUpWhenTheTimeIsOver) {
  TestService service(L"OrvTestHangs", ServiceManner::kHangs);
  ASSERT_TRUE(service.start());
  clockIsVirtual = true;
  EXPECT_FALSE(stop(service.name()));
  clockIsVirtual = false;
  EXPECT_EQ(controls, 1);
  EXPECT_EQ(virtualMilliseconds, 30'010u) << "the service's hint is 10 milliseconds";
  EXPECT_EQ(service.state(), static_cast<DWORD>(SERVICE_STOP_PENDING));
}

TEST_F(ServiceStop, ServiceThatHangsAlreadyIsNotAskedAgain) {
  TestService service(L"OrvTestHangs", ServiceManner::kHangs);
  ASSERT_TRUE(service.start());
  service.requestStop();
  ASSERT_EQ(service.state(), static_cast<DWORD>(SERVICE_STOP_PENDING));
  clockIsVirtual = true;
  EXPECT_FALSE(stop(service.name()));
  clockIsVirtual = false;
  EXPECT_EQ(controls, 0);
  EXPECT_EQ(virtualMilliseconds, 31'000u) << "a hint of 10 milliseconds is raised to sleeps of 1,000";
}

TEST_F(ServiceStop, NamesInEveryScriptAreTakenAsTheyAre) {
  for (const wchar_t* name : {L"Orv Test With Blanks", L"OrvTest%PATH%", L"OrvTest\u00C4\u00F6\u00FC",
                              L"OrvTest\u6E05\u7406", L"OrvTest\U0001F5D1", L"OrvTest\"quoted\""}) {
    TestService service(name);
    ASSERT_TRUE(service.start());
    EXPECT_TRUE(stop(name));
    EXPECT_EQ(service.state(), static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_THAT(openedServices, ElementsAre(name));
  }
}

TEST_F(ServiceStop, NoOtherServiceIsTouched) {
  TestService service(L"OrvTestStop");
  TestService other(L"OrvTestOther");
  ASSERT_TRUE(service.start());
  ASSERT_TRUE(other.start());
  EXPECT_TRUE(stop(service.name()));
  EXPECT_THAT(openedServices, ElementsAre(service.name()));
  EXPECT_EQ(other.state(), static_cast<DWORD>(SERVICE_RUNNING));
}

int main(int argumentCount, char** arguments) {
  if (const auto exitCode = runAsService(argumentCount, arguments)) {
    return *exitCode;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
