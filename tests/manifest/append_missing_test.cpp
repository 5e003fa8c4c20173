#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "manifest/path_expansion.h"
#include "random_rows.h"

using ::testing::ElementsAre;

namespace {

using Rows = std::vector<std::wstring>;

// The rule in its simplest, quadratic form.
void appendMissingPlainly(const Rows& rows, Rows& target) {
  for (const std::wstring& row : rows) {
    if (std::find(target.begin(), target.end(), row) == target.end()) {
      target.push_back(row);
    }
  }
}

TEST(AppendMissing, AgreesWithThePlainRuleOnRandomLists) {
  std::mt19937 random(20260101);
  for (int round = 0; round < 2000; ++round) {
    const Rows start = randomRows(random);
    const Rows rows = randomRows(random);
    Rows expected = start;
    appendMissingPlainly(rows, expected);
    Rows target = start;
    appendMissing(rows, target);
    ASSERT_EQ(expected, target) << "round " << round;
    Rows indexed = start;
    UniqueRows unique(indexed);
    appendMissing(rows, unique);
    ASSERT_EQ(expected, indexed) << "round " << round;
  }
}

TEST(AppendMissing, KeepsEmptyRowsAndWhatTheListHolds) {
  Rows target = {L"x", L"x"};
  appendMissing({L"", L"x", L"X", L""}, target);
  EXPECT_THAT(target, ElementsAre(L"x", L"x", L"", L"X"));
  appendMissing(target, target);
  EXPECT_THAT(target, ElementsAre(L"x", L"x", L"", L"X"));
}

TEST(AppendMissing, RowsWithAZeroInsideAreComparedWhole) {
  Rows target = {std::wstring(L"a\0b", 3)};
  appendMissing({L"a", std::wstring(L"a\0c", 3), std::wstring(L"a\0b", 3)}, target);
  EXPECT_THAT(target, ElementsAre(std::wstring(L"a\0b", 3), L"a", std::wstring(L"a\0c", 3)));
}

}  // namespace
