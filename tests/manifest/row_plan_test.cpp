#include "manifest/row_plan.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "random_rows.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

using Rows = std::vector<std::wstring>;

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

TEST(ExcludeFromVector, ReturnsWhatItTakesInTheOrderOfTheList) {
  Rows target = {L"c", L"x", L"a", L"y", L"x"};
  EXPECT_EQ(excludeFromVector({L"y", L"x", L"nowhere"}, target),
            (ProtectedRows{{L"x", L"x"}, {L"y", L"y"}, {L"x", L"x"}}));
  EXPECT_THAT(excludeFromVector({L"nowhere"}, target), IsEmpty());
}

TEST(ParentsOfExcludedValues, AreTakenAwayByWholeRows) {
  Rows keys = {L"H\\a", L"H\\A", L"H\\a\\b", L"whole", L"H", L"H\\default", L"H\\a"};
  excludeParentsOfExcludedValues({L"H\\a\\value", L"H\\a\\other", L"whole", L"H\\default\\"}, keys);
  EXPECT_THAT(keys, ElementsAre(L"H\\A", L"H\\a\\b", L"H"));
}

TEST(ParentsOfExcludedValues, EmptyListsChangeNothing) {
  Rows keys = {L"H\\a", L""};
  excludeParentsOfExcludedValues({}, keys);
  EXPECT_THAT(keys, ElementsAre(L"H\\a", L""));
  keys.clear();
  excludeParentsOfExcludedValues({L"H\\a\\value"}, keys);
  EXPECT_THAT(keys, IsEmpty());
}

TEST(ParentsOfExcludedValues, AreReturnedWithTheFirstValueThatIsKeptInThem) {
  Rows keys = {L"H\\b", L"H\\a", L"H\\c"};
  EXPECT_EQ(excludeParentsOfExcludedValues({L"H\\a\\first", L"H\\a\\second", L"H\\b\\"}, keys),
            (ProtectedRows{{L"H\\b", L"H\\b\\"}, {L"H\\a", L"H\\a\\first"}}));
}

TEST(Ancestors, AreAddedInOrderOfCodeUnitsAndNotTheRoot) {
  Rows keys = {L"H\\S\\b\\c", L"H\\S\\B", L"H\\S\\b\\c"};
  const KeysAboveProtected above = addAncestors(keys);
  EXPECT_THAT(keys, ElementsAre(L"H\\S", L"H\\S\\B", L"H\\S\\b", L"H\\S\\b\\c"));
  EXPECT_THAT(above, ElementsAre(Pair(L"H\\S", L"H\\S\\b\\c"), Pair(L"H\\S\\b", L"H\\S\\b\\c")));
}

TEST(Ancestors, ThatAreListedThemselvesAreNotThereForAnother) {
  Rows keys = {L"H\\S\\a\\b", L"H\\S\\a"};
  EXPECT_THAT(addAncestors(keys), ElementsAre(Pair(L"H\\S", L"H\\S\\a\\b")));
  Rows none;
  EXPECT_THAT(addAncestors(none), IsEmpty());
  EXPECT_THAT(none, IsEmpty());
}

// What a walk over the listed directory C:\ORV\keep has added stands beside it.
ExclusionLists walkedExclusions() {
  ExclusionLists exclusions;
  exclusions.excludedDirectories = {L"C:\\ORV\\keep", L"C:\\ORV\\keep\\inner", L"C:\\ORV\\alone"};
  exclusions.excludedFiles = {L"C:\\ORV\\keep\\inner\\a.txt", L"C:\\ORV\\b.txt"};
  return exclusions;
}

TEST(PlanOfDirectories, NamesTheListedDirectoryForAllThatLiesInIt) {
  Rows directories = {L"C:\\ORV\\keep\\inner", L"C:\\ORV", L"C:\\ORV\\keep", L"C:\\ORV\\Keep", L"C:\\ORV\\alone"};
  EXPECT_EQ(PlanDirectories(walkedExclusions(), directories),
            (ProtectedRows{{L"C:\\ORV\\keep\\inner", L"C:\\ORV\\keep"},
                           {L"C:\\ORV\\keep", L"C:\\ORV\\keep"},
                           {L"C:\\ORV\\alone", L"C:\\ORV\\alone"}}));
  EXPECT_THAT(directories, ElementsAre(L"C:\\ORV", L"C:\\ORV\\Keep"));
}

TEST(PlanOfFiles, NamesTheListedDirectoryOrTheFileItself) {
  Rows files = {L"C:\\ORV\\go.txt", L"C:\\ORV\\keep\\inner\\a.txt", L"C:\\ORV\\b.txt", L"C:\\ORV\\keep\\new.txt"};
  EXPECT_EQ(PlanFiles(walkedExclusions(), files), (ProtectedRows{{L"C:\\ORV\\keep\\inner\\a.txt", L"C:\\ORV\\keep"},
                                                                 {L"C:\\ORV\\b.txt", L"C:\\ORV\\b.txt"}}));
  EXPECT_THAT(files, ElementsAre(L"C:\\ORV\\go.txt", L"C:\\ORV\\keep\\new.txt"))
      << "only what the walk has seen is protected";
}

TEST(PlanOfDirectories, NamesTheListedDirectoryForADeepTreeInAnyOrder) {
  constexpr std::size_t kDepth = 4'000;
  ExclusionLists exclusions;
  std::wstring row = L"C:\\ORV";
  for (std::size_t depth = 0; depth < kDepth; ++depth) {
    exclusions.excludedDirectories.push_back(row += L"\\d");
  }
  Rows directories = exclusions.excludedDirectories;
  std::shuffle(directories.begin(), directories.end(), std::mt19937(20260102));
  const ProtectedRows rows = PlanDirectories(exclusions, directories);
  EXPECT_THAT(directories, IsEmpty());
  ASSERT_EQ(rows.size(), kDepth);
  EXPECT_TRUE(std::all_of(rows.begin(), rows.end(),
                          [](const ProtectedRow& stays) { return stays.protectedBy == L"C:\\ORV\\d"; }));
}

TEST(PlanOfRegistryRows, NamesTheListedKeyAboveAndBelow) {
  ExclusionLists exclusions;
  exclusions.excludedRegistryKeys = {L"H\\S\\Keep", L"H\\S\\Keep\\Inner"};
  exclusions.excludedRegistryValues = {L"H\\S\\Keep\\Inner\\kept", L"H\\S\\Other\\listed"};
  const KeysAboveProtected above = addAncestors(exclusions.excludedRegistryKeys);

  Rows keys = {L"H\\S", L"H\\S\\Go", L"H\\S\\Keep", L"H\\S\\Keep\\Inner"};
  EXPECT_EQ(
      PlanRegistryKeys(exclusions, above, keys),
      (ProtectedRows{{L"H\\S", L"H\\S\\Keep"}, {L"H\\S\\Keep", L"H\\S\\Keep"}, {L"H\\S\\Keep\\Inner", L"H\\S\\Keep"}}));
  EXPECT_THAT(keys, ElementsAre(L"H\\S\\Go"));

  Rows values = {L"H\\S\\Keep\\Inner\\kept", L"H\\S\\Go\\gone", L"H\\S\\Other\\listed"};
  EXPECT_EQ(
      PlanRegistryValues(exclusions, above, values),
      (ProtectedRows{{L"H\\S\\Keep\\Inner\\kept", L"H\\S\\Keep"}, {L"H\\S\\Other\\listed", L"H\\S\\Other\\listed"}}));
  EXPECT_THAT(values, ElementsAre(L"H\\S\\Go\\gone"));
}

}  // namespace
