// service_removal_test - deleting services from the service control manager.
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/failing_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"
#include "support/test_service.h"
#include "support/text.h"
#include "system/lower_filters.h"
#include "system/services.h"

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

namespace {

// Everything is called through unless a test asks for a failure.
std::optional<DWORD> managerFailure;
std::vector<DWORD> deletionFailures;  // one code for each call of DeleteService; the rest is called through
std::vector<std::wstring> openedKeys;
std::optional<DWORD> managerAccess, serviceAccess;
bool deletedMeanwhile = false;  // somebody else deletes the service first, once
int openHandles = 0;
int managersAskedFor = 0;

const std::wstring kFirstAcpiTree = L"SYSTEM\\CurrentControlSet\\Enum\\ACPI\\PNP0A08\\";
const std::wstring kSecondAcpiTree = L"SYSTEM\\CurrentControlSet\\Enum\\ACPI\\PNP0A03\\";

std::string enteredLine() {
  return "DEBUG SystemOperation::delORVServices - Entered DeleteORVServices";
}
std::string deletingLine(const std::wstring& name) {
  return "DEBUG SystemOperation::delORVServices - Deleting the service : " + narrow(name);
}
std::string deletedLine(const std::wstring& name) {
  return "DEBUG SystemOperation::delService - Successfully deleted the Service: " + narrow(name);
}
std::string notOpenedLine(const std::wstring& name) {
  return "DEBUG SystemOperation::delService - OpenService failed: " + narrow(name) + ", 1060";
}
std::string acceptableLine(DWORD code) {
  return "DEBUG CommonHelperUtilities::IsAcceptableReturnCode - Inside Acceptable Return Code and return code is (" +
         std::to_string(code) + ")";
}
std::string failedLine(const std::wstring& name, DWORD code) {
  return "ERROR SystemOperation::delService - failed to deleted the Service: " + narrow(name) +
         ", Error Code is: " + std::to_string(code);
}

class ServiceRemoval : public ::testing::Test {
 protected:
  void SetUp() override {
    managerFailure.reset();
    deletionFailures.clear();
    openedKeys.clear();
    managerAccess.reset();
    serviceAccess.reset();
    deletedMeanwhile = false;
    failingLogLine = 0;
    managersAskedFor = 0;
  }
  void TearDown() override { EXPECT_EQ(failingLogLine, 0) << "a line that was to fail was never written"; }

  static int deleteService(const std::wstring& name) {
    openHandles = 0;
    const int result = SystemOperation::delService(name);
    EXPECT_EQ(openHandles, 0) << "a handle was left open";
    return result;
  }

  CapturedLog log;
};

using ServiceDeletion = ServiceRemoval;
using ServiceListDeletion = ServiceRemoval;
using AcceptableReturnCode = ServiceRemoval;

}  // namespace

LINK_SEAM(SC_HANDLE, OpenSCManagerW, (const wchar_t* machine, const wchar_t* database, DWORD access)) {
  managerAccess = access;
  ++managersAskedFor;
  if (managerFailure) {
    ::SetLastError(*managerFailure);
    return nullptr;
  }
  const SC_HANDLE manager =
      realFunction<decltype(&::OpenSCManagerW)>(L"advapi32.dll", "OpenSCManagerW")(machine, database, access);
  openHandles += manager ? 1 : 0;
  return manager;
}

LINK_SEAM(SC_HANDLE, OpenServiceW, (SC_HANDLE manager, const wchar_t* name, DWORD access)) {
  serviceAccess = access;
  const SC_HANDLE service =
      realFunction<decltype(&::OpenServiceW)>(L"advapi32.dll", "OpenServiceW")(manager, name, access);
  openHandles += service ? 1 : 0;
  return service;
}

LINK_SEAM(BOOL, CloseServiceHandle, (SC_HANDLE handle)) {
  --openHandles;
  return realFunction<decltype(&::CloseServiceHandle)>(L"advapi32.dll", "CloseServiceHandle")(handle);
}

LINK_SEAM(BOOL, DeleteService, (SC_HANDLE service)) {
  if (!deletionFailures.empty()) {
    ::SetLastError(deletionFailures.front());
    deletionFailures.erase(deletionFailures.begin());
    return FALSE;
  }
  const auto deleteService = realFunction<decltype(&::DeleteService)>(L"advapi32.dll", "DeleteService");
  if (std::exchange(deletedMeanwhile, false)) {
    EXPECT_TRUE(deleteService(service));
  }
  return deleteService(service);
}

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, const wchar_t* path, DWORD options, REGSAM access, HKEY* key)) {
  openedKeys.push_back(path ? path : L"");
  return realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(root, path, options, access, key);
}

TEST_F(ServiceDeletion, StoppedServiceGoes) {
  TestService service(L"OrvTestDelete");
  service.letGo();
  EXPECT_EQ(deleteService(service.name()), 1);
  EXPECT_FALSE(service.exists());
  EXPECT_THAT(log.lines(), ElementsAre(deletedLine(service.name())));
}

TEST_F(ServiceDeletion, RunningServiceIsStoppedAndGoes) {
  TestService service(L"OrvTestDelete");
  ASSERT_TRUE(service.start());
  EXPECT_EQ(deleteService(service.name()), 1);
  EXPECT_TRUE(service.waitForEnd()) << "the service was not asked to stop";
  EXPECT_THAT(log.lines(), ElementsAre(deletedLine(service.name())));
}

TEST_F(ServiceDeletion, ServiceThatHangsOrRefusesCostsNoWait) {
  for (const wchar_t* manner : {ServiceManner::kHangs, ServiceManner::kRefuses}) {
    const CapturedLog own;
    TestService service(L"OrvTestStays" + std::wstring(manner), manner);
    ASSERT_TRUE(service.start());
    EXPECT_EQ(deleteService(service.name()), 1);
    EXPECT_THAT(own.lines(), ElementsAre(deletedLine(service.name())));
  }
}

TEST_F(ServiceDeletion, ServiceThatIsGoingAlreadyIsAccepted) {
  const TestService service(L"OrvTestGoing");
  deletedMeanwhile = true;
  EXPECT_EQ(deleteService(service.name()), 1);
  EXPECT_THAT(log.lines(), ElementsAre(acceptableLine(ERROR_SERVICE_MARKED_FOR_DELETE)));
}

TEST_F(ServiceDeletion, AsksForEveryRight) {
  const TestService service(L"OrvTestDelete");
  EXPECT_EQ(deleteService(service.name()), 1);
  EXPECT_EQ(managerAccess, static_cast<DWORD>(SC_MANAGER_ALL_ACCESS));
  EXPECT_EQ(serviceAccess, static_cast<DWORD>(SERVICE_ALL_ACCESS));
}

TEST_F(ServiceDeletion, MissingServiceIsNoFailure) {
  EXPECT_EQ(deleteService(L"OrvTestMissing"), 1);
  EXPECT_THAT(log.lines(), ElementsAre(notOpenedLine(L"OrvTestMissing")));
}

TEST_F(ServiceDeletion, ManagerThatDoesNotOpenIsNoFailure) {
  managerFailure = ERROR_ACCESS_DENIED;
  EXPECT_EQ(deleteService(L"OrvTestDelete"), 1);
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG SystemOperation::delService - OpenSCManager failed: OrvTestDelete, 5"));
  EXPECT_FALSE(serviceAccess);
}

TEST_F(ServiceDeletion, AcceptableFailuresCountAsDeleted) {
  const TestService service(L"OrvTestDelete");
  for (const DWORD code : {DWORD{0}, DWORD{5}, DWORD{183}, DWORD{1060}, DWORD{1072}}) {
    const CapturedLog own;
    deletionFailures = {code};
    EXPECT_EQ(deleteService(service.name()), 1) << code;
    EXPECT_THAT(own.lines(), ElementsAre(acceptableLine(code)));
  }
  EXPECT_EQ(serviceAccess, static_cast<DWORD>(SERVICE_ALL_ACCESS));
}

TEST_F(ServiceDeletion, OtherFailuresCount) {
  const TestService service(L"OrvTestDelete");
  for (const DWORD code : {DWORD{1}, DWORD{6}, DWORD{182}, DWORD{1051}, DWORD{1061}, DWORD{1073}, DWORD{1115}}) {
    const CapturedLog own;
    deletionFailures = {code};
    EXPECT_EQ(deleteService(service.name()), 0) << code;
    EXPECT_THAT(own.lines(), ElementsAre(failedLine(service.name(), code)));
  }
  EXPECT_TRUE(service.exists());
}

TEST_F(ServiceDeletion, ExceptionGivesTheResultSoFar) {
  TestService service(L"OrvTestDelete");
  deletionFailures = {ERROR_INVALID_HANDLE};
  failingLogLine = 1;  // the line that tells of the failure
  EXPECT_EQ(deleteService(service.name()), 0);

  service.letGo();
  failingLogLine = 1;  // the line that tells of the success
  EXPECT_EQ(deleteService(service.name()), 1);
  EXPECT_FALSE(service.exists());

  const auto caught = MatchesRegex("ERROR Exception - SystemOperation::delService Inside Catch Error Code is: -?\\d+");
  EXPECT_THAT(log.lines(), ElementsAre(caught, caught));
}

TEST_F(AcceptableReturnCode, OnlyTheFiveCodes) {
  for (const DWORD code : {DWORD{0}, DWORD{5}, DWORD{183}, DWORD{1060}, DWORD{1072}}) {
    const CapturedLog own;
    EXPECT_TRUE(IsAcceptableReturnCode(code)) << code;
    EXPECT_THAT(own.lines(), ElementsAre(acceptableLine(code)));
  }
  const CapturedLog others;
  for (const DWORD code :
       {DWORD{1}, DWORD{2}, DWORD{6}, DWORD{1059}, DWORD{1061}, DWORD{1062}, DWORD{1073}, ~DWORD{0}}) {
    EXPECT_FALSE(IsAcceptableReturnCode(code)) << code;
  }
  EXPECT_THAT(others.lines(), IsEmpty());
}

TEST_F(AcceptableReturnCode, WithoutItsLogLineACodeIsNotAcceptable) {
  failingLogLine = 1;
  EXPECT_FALSE(IsAcceptableReturnCode(ERROR_SERVICE_MARKED_FOR_DELETE));
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR Exception - CommonHelperUtilities::IsAcceptableReturnCode - Inside Catch"));
}

TEST_F(ServiceListDeletion, EmptyListIsDone) {
  EXPECT_EQ(SystemOperation::delORVServices({}), 1);
  EXPECT_THAT(log.lines(), ElementsAre(enteredLine()));
}

TEST_F(ServiceListDeletion, AllDeletedGivesOne) {
  TestService first(L"OrvTestFirst");
  TestService second(L"OrvTestSecond");
  first.letGo();
  second.letGo();
  EXPECT_EQ(SystemOperation::delORVServices({first.name(), second.name()}), 1);
  EXPECT_FALSE(first.exists());
  EXPECT_FALSE(second.exists());
  EXPECT_THAT(log.lines(), ElementsAre(enteredLine(), deletingLine(first.name()), deletedLine(first.name()),
                                       deletingLine(second.name()), deletedLine(second.name())));
}

TEST_F(ServiceListDeletion, NoneDeletedGivesMinusOne) {
  const TestService first(L"OrvTestFirst");
  const TestService second(L"OrvTestSecond");
  deletionFailures = {ERROR_INVALID_HANDLE, ERROR_SHUTDOWN_IN_PROGRESS};
  EXPECT_EQ(SystemOperation::delORVServices({first.name(), second.name()}), -1);
  EXPECT_THAT(log.lines(), ElementsAre(enteredLine(), deletingLine(first.name()), failedLine(first.name(), 6),
                                       deletingLine(second.name()), failedLine(second.name(), 1115)));
}

TEST_F(ServiceListDeletion, OneOfTwoGivesZero) {
  const TestService first(L"OrvTestFirst");
  TestService second(L"OrvTestSecond");
  second.letGo();
  deletionFailures = {ERROR_INVALID_HANDLE};
  EXPECT_EQ(SystemOperation::delORVServices({first.name(), second.name()}), 0);
  EXPECT_TRUE(first.exists());
  EXPECT_FALSE(second.exists());
}

TEST_F(ServiceListDeletion, MissingServicesCountAsDeleted) {
  EXPECT_EQ(SystemOperation::delORVServices({L"OrvTestMissing", L"OrvTestMissing"}), 1);
  EXPECT_THAT(log.lines(), ElementsAre(enteredLine(), deletingLine(L"OrvTestMissing"), notOpenedLine(L"OrvTestMissing"),
                                       deletingLine(L"OrvTestMissing"), notOpenedLine(L"OrvTestMissing")));
}

TEST_F(ServiceListDeletion, ManagerIsOpenedOnce) {
  openHandles = 0;
  SystemOperation::delORVServices({L"OrvTestMissing", L"OrvTestMissing", L"OrvTestMissing"});
  EXPECT_EQ(managersAskedFor, 1);
  EXPECT_EQ(openHandles, 0) << "a handle was left open";
}

TEST_F(ServiceListDeletion, ManagerThatDoesNotOpenIsTriedForEachService) {
  managerFailure = ERROR_ACCESS_DENIED;
  EXPECT_EQ(SystemOperation::delORVServices({L"OrvTestFirst", L"OrvTestSecond"}), 1);
  EXPECT_EQ(managersAskedFor, 2);
  EXPECT_THAT(log.lines(), ElementsAre(enteredLine(), deletingLine(L"OrvTestFirst"),
                                       "DEBUG SystemOperation::delService - OpenSCManager failed: OrvTestFirst, 5",
                                       deletingLine(L"OrvTestSecond"),
                                       "DEBUG SystemOperation::delService - OpenSCManager failed: OrvTestSecond, 5"));
}

TEST_F(ServiceListDeletion, FilterDriverIsSparedWithoutALine) {
  const TestService filter(L"orvpcifd");
  EXPECT_EQ(SystemOperation::delORVServices({filter.name()}), -1);
  EXPECT_TRUE(filter.exists());
  EXPECT_THAT(log.lines(), ElementsAre(enteredLine()));

  const CapturedLog mixed;
  EXPECT_EQ(SystemOperation::delORVServices({L"OrvTestMissing", filter.name()}), 0)
      << "a list with the filter driver is never all deleted";
  EXPECT_TRUE(filter.exists());
  EXPECT_THAT(mixed.lines(),
              ElementsAre(enteredLine(), deletingLine(L"OrvTestMissing"), notOpenedLine(L"OrvTestMissing")));
}

TEST_F(ServiceListDeletion, OnlyTheExactNameIsSpared) {
  for (const wchar_t* name : {L"ORVPCIFD", L"orvpcifd2", L"orvpcif"}) {
    TestService service(name);
    service.letGo();
    EXPECT_EQ(SystemOperation::delORVServices({name}), 1);
    EXPECT_FALSE(service.exists()) << narrow(name);
  }
}

TEST_F(ServiceListDeletion, FilterEntriesDecideNothing) {
  for (const std::wstring& tree : {kFirstAcpiTree, kSecondAcpiTree}) {
    const std::wstring key = L"HKEY_LOCAL_MACHINE\\" + tree.substr(0, tree.size() - 1);
    plantString(key, L"LowerFilters", std::wstring(L"orvpcifd\0", 9), REG_MULTI_SZ);
    TestService service(L"OrvTestDelete");
    const TestService filter(L"orvpcifd");
    service.letGo();
    const CapturedLog own;
    EXPECT_TRUE(HasLowerFilters(tree));
    EXPECT_EQ(SystemOperation::delORVServices({filter.name(), service.name()}), 0);
    EXPECT_TRUE(filter.exists());
    EXPECT_FALSE(service.exists());
    EXPECT_THAT(own.lines(), ElementsAre(enteredLine(), deletingLine(service.name()), deletedLine(service.name())));
    removeKey(key);
  }
}

TEST_F(ServiceListDeletion, BothFilterTreesAreReadForEveryOtherName) {
  SystemOperation::delORVServices({L"OrvTestMissing", L"orvpcifd", L"OrvTestMissing"});
  EXPECT_THAT(openedKeys, ElementsAre(kFirstAcpiTree, kSecondAcpiTree, kFirstAcpiTree, kSecondAcpiTree));
}

TEST_F(ServiceListDeletion, ExceptionEndsTheLoop) {
  TestService first(L"OrvTestFirst");
  const TestService second(L"OrvTestSecond");
  const TestService third(L"OrvTestThird");
  first.letGo();
  failingLogLine = 4;  // the line that names the second service
  EXPECT_EQ(SystemOperation::delORVServices({first.name(), second.name(), third.name()}), 0);
  EXPECT_FALSE(first.exists());
  EXPECT_TRUE(second.exists());
  EXPECT_TRUE(third.exists());
  EXPECT_THAT(log.lines(),
              ElementsAre(enteredLine(), deletingLine(first.name()), deletedLine(first.name()),
                          MatchesRegex("ERROR Exception - SystemOperation::delORVServices Inside Catch Error Code is: "
                                       "-?\\d+")));
}

TEST_F(ServiceListDeletion, ExceptionAtTheFirstNameGivesZeroToo) {
  const TestService service(L"OrvTestFirst");
  failingLogLine = 2;
  EXPECT_EQ(SystemOperation::delORVServices({service.name()}), 0);
  EXPECT_TRUE(service.exists());
}

int main(int argumentCount, char** arguments) {
  if (const auto exitCode = runAsService(argumentCount, arguments)) {
    return *exitCode;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
