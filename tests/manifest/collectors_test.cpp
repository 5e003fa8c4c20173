#include "manifest/collectors.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "collectors_fixture.h"
#include "random_rows.h"
#include "support/captured_log.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

using Rows = std::vector<std::wstring>;

template <class Record>
using RowsOf = Rows Record::*;

// The collectors of plain names differ in their lists only.
struct PlainCollector {
  void (*collect)(CleanupSession&);
  RowsOf<ScrubListData> generic;
  RowsOf<ApplicationPackage> ofApplication;  // null: what an eligible application lists does not count
  RowsOf<DriverPackage> ofDriver;            // null: the same for drivers
  RowsOf<ScrubListData> excluded;
  RowsOf<CleanupSession> work;
  RowsOf<CleanupSession> exclusions;
  std::string line;
};

const PlainCollector kPlainCollectors[] = {
    {HandleProcesses, &ScrubListData::Process, &ApplicationPackage::Process, nullptr, &ScrubListData::ExcludedProcess,
     &CleanupSession::processes, &CleanupSession::excludedProcesses,
     "DEBUG -----------HandleProcesses Getting all data-------------"},
    {HandleServices, &ScrubListData::Services, nullptr, &DriverPackage::Services, &ScrubListData::ExcludedServices,
     &CleanupSession::services, &CleanupSession::excludedServices,
     "DEBUG -----------HandleServices Getting all data-------------"},
    {HandleScheduledTasks, &ScrubListData::ScheduledTasks, nullptr, nullptr, &ScrubListData::ExcludedScheduledTasks,
     &CleanupSession::scheduledTasks, &CleanupSession::excludedScheduledTasks,
     "DEBUG -----------HandleScheduledTasks Getting all data-------------"},
};

// Every list of an application that a collector of plain names could mistake for its own.
void fillApplication(ApplicationPackage& application, const Rows& rows) {
  application.Files = application.RegistryKeys = application.RegistryValues = application.Directories = {L"other"};
  application.Process = rows;
}

void fillDriver(DriverPackage& driver, const Rows& rows) {
  driver.RegistryKeys = driver.RegistryValues = driver.Directories = {L"other"};
  driver.Services = rows;
}

using PlainCollectors = CollectorsTest;

TEST_F(PlainCollectors, TakeGenericRowsThenPackageRowsEachOnce) {
  for (const PlainCollector& plain : kPlainCollectors) {
    SCOPED_TRACE(plain.line);
    session.eligibleApplications.clear();
    session.eligibleDrivers.clear();
    data.*plain.generic = {L"b", L"a", L"b", L""};
    for (const Rows& rows : {Rows{L"c", L"a"}, Rows{L"C", L"c"}}) {
      fillApplication(addApplication(), rows);
      fillDriver(addDriver(), rows);
    }
    data.ApplicationPackages.emplace_back().Process = {L"not eligible"};
    data.DriverPackages.emplace_back().Services = {L"not eligible"};

    const CapturedLog log;
    plain.collect(session);
    Rows expected = {L"b", L"a", L""};
    if (plain.ofApplication || plain.ofDriver) {
      expected.insert(expected.end(), {L"c", L"C"});
    }
    EXPECT_EQ(expected, session.*plain.work);
    EXPECT_THAT(session.*plain.exclusions, IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(plain.line));
  }
}

TEST_F(PlainCollectors, WithoutEligiblePackagesTakeGenericRows) {
  for (const PlainCollector& plain : kPlainCollectors) {
    SCOPED_TRACE(plain.line);
    data.*plain.generic = {L"generic"};
    plain.collect(session);
    EXPECT_THAT(session.*plain.work, ElementsAre(L"generic"));
  }
}

TEST_F(PlainCollectors, TakeAwayBothKindsOfExclusions) {
  for (const PlainCollector& plain : kPlainCollectors) {
    SCOPED_TRACE(plain.line);
    data.*plain.generic = {L"keep", L"rejected", L"listed", L"Listed", L"listed "};
    session.*plain.exclusions = {L"rejected", L"rejected", L"nowhere"};
    data.*plain.excluded = {L"listed", L"rejected", L"listed"};
    plain.collect(session);
    EXPECT_THAT(session.*plain.work, ElementsAre(L"keep", L"Listed", L"listed "));
    EXPECT_THAT(session.*plain.exclusions, ElementsAre(L"rejected", L"rejected", L"nowhere", L"listed"));
  }
}

TEST_F(PlainCollectors, AppendToWhatTheListHolds) {
  for (const PlainCollector& plain : kPlainCollectors) {
    SCOPED_TRACE(plain.line);
    session.*plain.work = {L"before", L"before", L"x"};
    data.*plain.generic = {L"x", L"y"};
    plain.collect(session);
    EXPECT_THAT(session.*plain.work, ElementsAre(L"before", L"before", L"x", L"y"));
  }
}

TEST_F(PlainCollectors, EmptyListsGiveEmptyLists) {
  for (const PlainCollector& plain : kPlainCollectors) {
    SCOPED_TRACE(plain.line);
    plain.collect(session);
    EXPECT_THAT(session.*plain.work, IsEmpty());
    EXPECT_THAT(session.*plain.exclusions, IsEmpty());
  }
}

TEST_F(PlainCollectors, ManyRowsAreCollectedWhole) {
  constexpr std::size_t kRows = 50'000;
  for (const PlainCollector& plain : kPlainCollectors) {
    SCOPED_TRACE(plain.line);
    for (std::size_t i = 0; i < kRows; ++i) {
      (data.*plain.generic).push_back(L"row " + std::to_wstring(i));
      (data.*plain.excluded).push_back(L"row " + std::to_wstring(2 * i));
    }
    plain.collect(session);
    const Rows& work = session.*plain.work;
    ASSERT_THAT(work, SizeIs(kRows / 2));
    EXPECT_EQ(L"row 1", work.front());
    EXPECT_EQ(L"row 49999", work.back());
    EXPECT_THAT(session.*plain.exclusions, SizeIs(kRows));
  }
}

TEST_F(PlainCollectors, ServiceOfTwoDriversIsOneRow) {
  fillDriver(addDriver(), {L"orvaudio"});
  fillDriver(addDriver(), {L"orvaudio"});
  HandleServices(session);
  EXPECT_THAT(session.services, ElementsAre(L"orvaudio"));
}

using CommandCollector = CollectorsTest;

TEST_F(CommandCollector, ReplacesTheListWithAWholeCopy) {
  session.commands = {{1, L"old", L"C:\\old.exe"}, {2, L"older", L"C:\\older.exe"}};
  data.Commands = {{60, L"-quiet", L"C:\\a.exe"}, {0, L"", L"C:\\b.exe"}, {60, L"-quiet", L"C:\\a.exe"}};
  const CapturedLog log;
  HandleCommands(session);
  ASSERT_THAT(session.commands, SizeIs(3));
  EXPECT_EQ(60, session.commands[0].Timeout);
  EXPECT_EQ(L"-quiet", session.commands[0].CommandLine);
  EXPECT_EQ(L"C:\\a.exe", session.commands[0].Process);
  EXPECT_EQ(L"C:\\b.exe", session.commands[1].Process);
  EXPECT_EQ(L"C:\\a.exe", session.commands[2].Process) << "a command that is named twice runs twice";
  EXPECT_THAT(data.Commands, SizeIs(3));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG -----------HandleCommands Getting all data-------------"));
}

TEST_F(CommandCollector, NoCommandsEmptyTheList) {
  session.commands = {{1, L"old", L"C:\\old.exe"}};
  HandleCommands(session);
  EXPECT_THAT(session.commands, IsEmpty());
}

using ShortcutCollector = CollectorsTest;

TEST_F(ShortcutCollector, AppendsEachRowOnceWithoutALogLine) {
  session.shortcuts = {L"Lumio\\A.lnk"};
  data.Shortcuts = {L"Lumio\\B.lnk", L"Lumio\\A.lnk", L"Lumio\\b.lnk", L"Lumio\\B.lnk"};
  const CapturedLog log;
  HandleShortcuts(session);
  EXPECT_THAT(session.shortcuts, ElementsAre(L"Lumio\\A.lnk", L"Lumio\\B.lnk", L"Lumio\\b.lnk"));
  EXPECT_EQ("", log.bytes());
}

TEST(ExcludeFromVector, ComparesWholeRowsWithCase) {
  Rows target = {L"C:\\a", L"C:\\A", L"C:\\a\\b", L"C:\\\\a", L"C:\\a*", L"C:\\", L""};
  excludeFromVector({L"C:\\a", L"C:\\*"}, target);
  EXPECT_THAT(target, ElementsAre(L"C:\\A", L"C:\\a\\b", L"C:\\\\a", L"C:\\a*", L"C:\\", L""));
}

TEST(ExcludeFromVector, KeepsOrderAndDuplicates) {
  Rows target = {L"c", L"a", L"x", L"a", L"c", L"x"};
  excludeFromVector({L"x", L"x"}, target);
  EXPECT_THAT(target, ElementsAre(L"c", L"a", L"a", L"c"));
}

TEST(ExcludeFromVector, EmptyListsAndTheListItself) {
  Rows empty;
  excludeFromVector({L"a"}, empty);
  EXPECT_THAT(empty, IsEmpty());
  Rows target = {L"a", L"", L"b"};
  excludeFromVector({}, target);
  EXPECT_THAT(target, ElementsAre(L"a", L"", L"b"));
  excludeFromVector({L""}, target);
  EXPECT_THAT(target, ElementsAre(L"a", L"b"));
  excludeFromVector(target, target);
  EXPECT_THAT(target, IsEmpty());
}

TEST(ExcludeFromVector, AgreesWithThePlainRuleOnRandomLists) {
  std::mt19937 random(20260102);
  for (int round = 0; round < 2000; ++round) {
    const Rows exclusions = randomRows(random);
    const Rows rows = randomRows(random);
    Rows expected;
    for (const std::wstring& row : rows) {
      if (std::find(exclusions.begin(), exclusions.end(), row) == exclusions.end()) {
        expected.push_back(row);
      }
    }
    Rows target = rows;
    excludeFromVector(exclusions, target);
    ASSERT_EQ(expected, target) << "round " << round;
  }
}

}  // namespace
