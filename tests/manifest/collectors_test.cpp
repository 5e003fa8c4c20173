#include "manifest/collectors.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "collectors_fixture.h"
#include "support/captured_log.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

using Rows = std::vector<std::wstring>;

// The collectors of plain names differ in their lists only.
struct PlainCollector {
  ProtectedRows (*collect)(const CollectorSources&, WorkLists&, ExclusionLists&);
  RowsOf<ScrubListData> generic;
  RowsOf<ApplicationPackage> ofApplication;  // null: what an eligible application lists does not count
  RowsOf<DriverPackage> ofDriver;            // null: the same for drivers
  RowsOf<ScrubListData> excluded;
  RowsOf<WorkLists> work;
  RowsOf<ExclusionLists> exclusions;
  std::string line;
};

const PlainCollector kPlainCollectors[] = {
    {HandleProcesses, &ScrubListData::Process, &ApplicationPackage::Process, nullptr, &ScrubListData::ExcludedProcess,
     &WorkLists::processes, &ExclusionLists::excludedProcesses,
     "DEBUG -----------HandleProcesses Getting all data-------------"},
    {HandleServices, &ScrubListData::Services, nullptr, &DriverPackage::Services, &ScrubListData::ExcludedServices,
     &WorkLists::services, &ExclusionLists::excludedServices,
     "DEBUG -----------HandleServices Getting all data-------------"},
    {HandleScheduledTasks, &ScrubListData::ScheduledTasks, nullptr, nullptr, &ScrubListData::ExcludedScheduledTasks,
     &WorkLists::scheduledTasks, &ExclusionLists::excludedScheduledTasks,
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
    packages.eligibleApplications.clear();
    packages.eligibleDrivers.clear();
    data.*plain.generic = {L"b", L"a", L"b", L""};
    for (const Rows& rows : {Rows{L"c", L"a"}, Rows{L"C", L"c"}}) {
      fillApplication(addApplication(), rows);
      fillDriver(addDriver(), rows);
    }
    data.ApplicationPackages.emplace_back().Process = {L"not eligible"};
    data.DriverPackages.emplace_back().Services = {L"not eligible"};

    const CapturedLog log;
    plain.collect(sources, work, exclusions);
    Rows expected = {L"b", L"a", L""};
    if (plain.ofApplication || plain.ofDriver) {
      expected.insert(expected.end(), {L"c", L"C"});
    }
    EXPECT_EQ(expected, work.*plain.work);
    EXPECT_THAT(exclusions.*plain.exclusions, IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(plain.line));
  }
}

TEST_F(PlainCollectors, WithoutEligiblePackagesTakeGenericRows) {
  for (const PlainCollector& plain : kPlainCollectors) {
    SCOPED_TRACE(plain.line);
    data.*plain.generic = {L"generic"};
    plain.collect(sources, work, exclusions);
    EXPECT_THAT(work.*plain.work, ElementsAre(L"generic"));
  }
}

TEST_F(PlainCollectors, TakeAwayBothKindsOfExclusions) {
  for (const PlainCollector& plain : kPlainCollectors) {
    SCOPED_TRACE(plain.line);
    data.*plain.generic = {L"keep", L"rejected", L"listed", L"Listed", L"listed "};
    exclusions.*plain.exclusions = {L"rejected", L"rejected", L"nowhere"};
    data.*plain.excluded = {L"listed", L"rejected", L"listed"};
    plain.collect(sources, work, exclusions);
    EXPECT_THAT(work.*plain.work, ElementsAre(L"keep", L"Listed", L"listed "));
    EXPECT_THAT(exclusions.*plain.exclusions, ElementsAre(L"rejected", L"rejected", L"nowhere", L"listed"));
  }
}

TEST_F(PlainCollectors, AppendToWhatTheListHolds) {
  for (const PlainCollector& plain : kPlainCollectors) {
    SCOPED_TRACE(plain.line);
    work.*plain.work = {L"before", L"before", L"x"};
    data.*plain.generic = {L"x", L"y"};
    plain.collect(sources, work, exclusions);
    EXPECT_THAT(work.*plain.work, ElementsAre(L"before", L"before", L"x", L"y"));
  }
}

TEST_F(PlainCollectors, EmptyListsGiveEmptyLists) {
  for (const PlainCollector& plain : kPlainCollectors) {
    SCOPED_TRACE(plain.line);
    plain.collect(sources, work, exclusions);
    EXPECT_THAT(work.*plain.work, IsEmpty());
    EXPECT_THAT(exclusions.*plain.exclusions, IsEmpty());
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
    plain.collect(sources, work, exclusions);
    const Rows& rows = work.*plain.work;
    ASSERT_THAT(rows, SizeIs(kRows / 2));
    EXPECT_EQ(L"row 1", rows.front());
    EXPECT_EQ(L"row 49999", rows.back());
    EXPECT_THAT(exclusions.*plain.exclusions, SizeIs(kRows));
  }
}

TEST_F(PlainCollectors, ServiceOfTwoDriversIsOneRow) {
  fillDriver(addDriver(), {L"orvaudio"});
  fillDriver(addDriver(), {L"orvaudio"});
  HandleServices(sources, work, exclusions);
  EXPECT_THAT(work.services, ElementsAre(L"orvaudio"));
}

using CommandCollector = CollectorsTest;

TEST_F(CommandCollector, ReplacesTheListWithAWholeCopy) {
  work.commands = {{1, L"old", L"C:\\old.exe"}, {2, L"older", L"C:\\older.exe"}};
  data.Commands = {{60, L"-quiet", L"C:\\a.exe"}, {0, L"", L"C:\\b.exe"}, {60, L"-quiet", L"C:\\a.exe"}};
  const CapturedLog log;
  HandleCommands(sources, work);
  ASSERT_THAT(work.commands, SizeIs(3));
  EXPECT_EQ(60, work.commands[0].Timeout);
  EXPECT_EQ(L"-quiet", work.commands[0].CommandLine);
  EXPECT_EQ(L"C:\\a.exe", work.commands[0].Process);
  EXPECT_EQ(L"C:\\b.exe", work.commands[1].Process);
  EXPECT_EQ(L"C:\\a.exe", work.commands[2].Process) << "a command that is named twice runs twice";
  EXPECT_THAT(data.Commands, SizeIs(3));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG -----------HandleCommands Getting all data-------------"));
}

TEST_F(CommandCollector, NoCommandsEmptyTheList) {
  work.commands = {{1, L"old", L"C:\\old.exe"}};
  HandleCommands(sources, work);
  EXPECT_THAT(work.commands, IsEmpty());
}

using ShortcutCollector = CollectorsTest;

TEST_F(ShortcutCollector, AppendsEachRowOnceWithoutALogLine) {
  work.shortcuts = {L"Lumio\\A.lnk"};
  data.Shortcuts = {L"Lumio\\B.lnk", L"Lumio\\A.lnk", L"Lumio\\b.lnk", L"Lumio\\B.lnk"};
  const CapturedLog log;
  HandleShortcuts(sources, work);
  EXPECT_THAT(work.shortcuts, ElementsAre(L"Lumio\\A.lnk", L"Lumio\\B.lnk", L"Lumio\\b.lnk"));
  EXPECT_EQ("", log.bytes());
}

}  // namespace
