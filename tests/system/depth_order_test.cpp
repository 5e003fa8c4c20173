#include "system/depth_order.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// The order that every list must have, from a plain exchange sort.
std::vector<std::wstring> exchangeSorted(std::vector<std::wstring> list) {
  std::vector<std::ptrdiff_t> depths;
  for (const std::wstring& row : list) {
    depths.push_back(std::count(row.begin(), row.end(), L'\\'));
  }
  for (std::size_t i = 0; i < list.size(); ++i) {
    for (std::size_t j = i + 1; j < list.size(); ++j) {
      if (depths[i] < depths[j]) {
        std::swap(depths[i], depths[j]);
        std::swap(list[i], list[j]);
      }
    }
  }
  return list;
}

// Rows of random depth, each with its number, so that the order of equally deep rows can be checked.
std::vector<std::wstring> randomRows(std::mt19937& random, std::size_t count, unsigned depths) {
  std::uniform_int_distribution<unsigned> depth(0, depths - 1);
  std::vector<std::wstring> rows;
  for (std::size_t i = 0; i < count; ++i) {
    rows.push_back(std::wstring(depth(random), L'\\') + L"row" + std::to_wstring(i));
  }
  return rows;
}

}  // namespace

TEST(CountBackslashes, CountsBackslashesAlone) {
  EXPECT_EQ(CountBackslashes(L""), 0u);
  EXPECT_EQ(CountBackslashes(L"name"), 0u);
  EXPECT_EQ(CountBackslashes(L"C:\\a\\b"), 2u);
  EXPECT_EQ(CountBackslashes(L"C:/a/b"), 0u);
  EXPECT_EQ(CountBackslashes(L"\\\\server\\share\\"), 4u);
  EXPECT_EQ(CountBackslashes(std::wstring_view(L"a\0\\b", 4)), 1u);
}

TEST(SortByDepth, LeavesAnEmptyListAlone) {
  std::vector<std::wstring> list;
  SortByDepth(list);
  EXPECT_THAT(list, IsEmpty());
}

TEST(SortByDepth, LeavesASingleRowAlone) {
  std::vector<std::wstring> list = {L"C:\\a"};
  SortByDepth(list);
  EXPECT_THAT(list, ElementsAre(L"C:\\a"));
}

TEST(SortByDepth, PutsChildrenBeforeTheirParents) {
  std::vector<std::wstring> list = {L"C:\\a", L"C:\\a\\b\\c", L"C:\\a\\b", L"C:\\a\\b\\c\\d"};
  SortByDepth(list);
  EXPECT_THAT(list, ElementsAre(L"C:\\a\\b\\c\\d", L"C:\\a\\b\\c", L"C:\\a\\b", L"C:\\a"));
}

TEST(SortByDepth, DoesNotCountForwardSlashes) {
  std::vector<std::wstring> list = {L"C:/a/b/c/d", L"C:\\a"};
  SortByDepth(list);
  EXPECT_THAT(list, ElementsAre(L"C:\\a", L"C:/a/b/c/d"));
}

TEST(SortByDepth, KeepsDuplicates) {
  std::vector<std::wstring> list = {L"a", L"a\\b", L"a", L"a\\b"};
  SortByDepth(list);
  EXPECT_THAT(list, ElementsAre(L"a\\b", L"a\\b", L"a", L"a"));
}

// An exchange sort is not stable: row 1 moves behind row 2 when row 3 takes the first place.
TEST(SortByDepth, MovesEquallyDeepRowsAsAnExchangeSortDoes) {
  std::vector<std::wstring> list = {L"1", L"2", L"\\3"};
  SortByDepth(list);
  EXPECT_THAT(list, ElementsAre(L"\\3", L"2", L"1"));
}

TEST(SortByDepth, GivesTheOrderOfAnExchangeSortForThousandsOfLists) {
  std::mt19937 random(20261114);
  for (int round = 0; round < 4000; ++round) {
    const std::size_t count = std::uniform_int_distribution<std::size_t>(0, 40)(random);
    const unsigned depths = std::uniform_int_distribution<unsigned>(1, 12)(random);
    const std::vector<std::wstring> rows = randomRows(random, count, depths);
    std::vector<std::wstring> sorted = rows;
    SortByDepth(sorted);
    ASSERT_EQ(sorted, exchangeSorted(rows)) << "round " << round;
  }
}

TEST(SortByDepth, GivesTheOrderOfAnExchangeSortForListsInOrder) {
  for (const bool rising : {true, false}) {
    std::vector<std::wstring> rows;
    for (std::size_t i = 0; i < 300; ++i) {
      rows.push_back(std::wstring(rising ? i / 3 : (300 - i) / 3, L'\\') + L"row" + std::to_wstring(i));
    }
    std::vector<std::wstring> sorted = rows;
    SortByDepth(sorted);
    EXPECT_EQ(sorted, exchangeSorted(rows));
  }
}

TEST(SortByDepth, GivesTheOrderOfAnExchangeSortForALongList) {
  std::mt19937 random(7);
  const std::vector<std::wstring> rows = randomRows(random, 3000, 14);
  std::vector<std::wstring> sorted = rows;
  SortByDepth(sorted);
  EXPECT_EQ(sorted, exchangeSorted(rows));
}

TEST(SortByDepth, SortsFiftyThousandRowsAndLosesNone) {
  std::mt19937 random(8);
  std::vector<std::wstring> rows = randomRows(random, 50'000, 14);
  std::vector<std::wstring> sorted = rows;
  SortByDepth(sorted);
  EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end(), [](const std::wstring& a, const std::wstring& b) {
    return CountBackslashes(a) > CountBackslashes(b);
  }));
  std::sort(rows.begin(), rows.end());
  std::sort(sorted.begin(), sorted.end());
  EXPECT_TRUE(rows == sorted);
}
