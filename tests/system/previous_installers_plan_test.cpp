// previous_installers_plan_test - what of the entries that were found goes, and what the log says of the rest.
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "system/previous_installers.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

InstallerEntry entryAt(const std::wstring& path) {
  InstallerEntry found;
  found.entry.path = path;
  found.entry.attributes = FILE_ATTRIBUTE_DIRECTORY;
  found.comparable = path;
  return found;
}

InstallerFolder root(std::vector<InstallerEntry> entries) {
  return {L"C:\\ORV\\", true, std::move(entries), std::nullopt};
}

InstallerFolder packages(std::vector<InstallerEntry> entries) {
  return {L"C:\\ORV\\Packages\\", false, std::move(entries), std::nullopt};
}

std::vector<std::wstring> removed(const PreviousInstallersPlan& plan) {
  std::vector<std::wstring> paths;
  for (const DirectoryEntry& entry : plan.remove) {
    paths.push_back(entry.path);
  }
  return paths;
}

}  // namespace

TEST(PreviousInstallersPlan, TakesOfARootWhatIsNamedLikeAnInstaller) {
  const PreviousInstallersPlan plan = PlanPreviousInstallers(
      {{}, {root({entryAt(L"C:\\ORV\\My Files"), entryAt(L"C:\\ORV\\WU-TCC2"), entryAt(L"C:\\ORV\\Bastil-1")})}});
  EXPECT_THAT(removed(plan), ElementsAre(L"C:\\ORV\\WU-TCC2", L"C:\\ORV\\Bastil-1"));
  EXPECT_THAT(plan.kept, IsEmpty());
  EXPECT_THAT(plan.lines, IsEmpty());
}

TEST(PreviousInstallersPlan, TakesOfAPackageFolderEverything) {
  const PreviousInstallersPlan plan =
      PlanPreviousInstallers({{}, {packages({entryAt(L"C:\\ORV\\Packages\\any"), entryAt(L"C:\\ORV\\Packages\\b")})}});
  EXPECT_THAT(removed(plan), ElementsAre(L"C:\\ORV\\Packages\\any", L"C:\\ORV\\Packages\\b"));
}

TEST(PreviousInstallersPlan, KeepsWhatIsRelatedToAnExclusion) {
  const PreviousInstallersPlan plan =
      PlanPreviousInstallers({{L"C:\\ORV\\Packages\\kept\\deep", L"C:\\ORV\\WU-TCC2"},
                              {root({entryAt(L"C:\\ORV\\WU-TCC2"), entryAt(L"C:\\ORV\\My Files")}),
                               packages({entryAt(L"C:\\ORV\\Packages\\kept"), entryAt(L"C:\\ORV\\Packages\\other")})}});
  EXPECT_THAT(removed(plan), ElementsAre(L"C:\\ORV\\Packages\\other"));
  EXPECT_THAT(plan.kept, ElementsAre(L"C:\\ORV\\WU-TCC2", L"C:\\ORV\\Packages\\kept"));
  EXPECT_THAT(plan.lines, ElementsAre(L"Excluding C:\\ORV\\WU-TCC2", L"Excluding C:\\ORV\\Packages\\kept"));
}

TEST(PreviousInstallersPlan, SaysSoOnceForEachPatternThatAnExcludedFolderFits) {
  const std::wstring both = L"C:\\ORV\\ORV-Brimwood ORV_Brimwood";
  const PreviousInstallersPlan plan = PlanPreviousInstallers({{both}, {root({entryAt(both)})}});
  EXPECT_THAT(plan.kept, ElementsAre(both));
  EXPECT_THAT(plan.lines, ElementsAre(L"Excluding " + both, L"Excluding " + both));
}

TEST(PreviousInstallersPlan, SaysWhereTheReadingBrokeOffBehindWhatWasRead) {
  InstallerFolder broken = packages({entryAt(L"C:\\ORV\\Packages\\kept")});
  broken.failure = L"No luck.";
  const PreviousInstallersPlan plan = PlanPreviousInstallers({{L"C:\\ORV\\Packages\\kept"}, {broken}});
  EXPECT_THAT(plan.lines, ElementsAre(L"Excluding C:\\ORV\\Packages\\kept",
                                      L"Encountered error while iterating C:\\ORV\\Packages\\. No luck."));
}

TEST(PreviousInstallersPlan, HasPackageFoldersBeforeTheRootsThatHoldThem) {
  const PreviousInstallersPlan plan = PlanPreviousInstallers({{}, {root({}), packages({})}});
  EXPECT_THAT(plan.folders, ElementsAre(L"C:\\ORV\\Packages\\", L"C:\\ORV\\"));
}
