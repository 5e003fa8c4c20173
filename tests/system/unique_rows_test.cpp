#include "system/unique_rows.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using testing::ElementsAre;

TEST(UniqueRows, AppendsANewRowAtTheEnd) {
  std::vector<std::wstring> rows = {L"b"};
  UniqueRows unique(rows);
  EXPECT_TRUE(unique.append(L"a"));
  EXPECT_THAT(rows, ElementsAre(L"b", L"a"));
}

TEST(UniqueRows, RefusesARowThatTheListHeldBefore) {
  std::vector<std::wstring> rows = {L"a", L"b"};
  UniqueRows unique(rows);
  EXPECT_FALSE(unique.append(L"b"));
  EXPECT_THAT(rows, ElementsAre(L"a", L"b"));
}

TEST(UniqueRows, RefusesARowThatItHasAppended) {
  std::vector<std::wstring> rows;
  UniqueRows unique(rows);
  EXPECT_TRUE(unique.append(L"a"));
  EXPECT_FALSE(unique.append(L"a"));
  EXPECT_THAT(rows, ElementsAre(L"a"));
}

TEST(UniqueRows, LeavesDuplicatesThatTheListHeldBefore) {
  std::vector<std::wstring> rows = {L"a", L"a"};
  UniqueRows unique(rows);
  EXPECT_FALSE(unique.append(L"a"));
  EXPECT_THAT(rows, ElementsAre(L"a", L"a"));
}

TEST(UniqueRows, ComparesWholeRowsWithCase) {
  std::vector<std::wstring> rows = {L"C:\\ORV"};
  UniqueRows unique(rows);
  for (const wchar_t* row : {L"C:\\orv", L"C:\\ORV\\", L"C:\\\\ORV", L"C:\\OR", L" C:\\ORV", L"C:\\ORV ", L""}) {
    EXPECT_TRUE(unique.append(row)) << testing::PrintToString(row);
  }
  EXPECT_EQ(rows.size(), 8u);
}

TEST(UniqueRows, SeesBehindAnEmbeddedZero) {
  std::vector<std::wstring> rows = {std::wstring(L"a\0b", 3)};
  UniqueRows unique(rows);
  EXPECT_TRUE(unique.append(std::wstring(L"a\0c", 3)));
  EXPECT_FALSE(unique.append(std::wstring(L"a\0b", 3)));
}

TEST(RowIndex, FindsRowsOfTheListAndThoseThatAreAddedToIt) {
  std::vector<std::wstring> rows = {L"a", L"b", L"a"};
  RowIndex index(rows);
  EXPECT_TRUE(index.contains(L"a"));
  EXPECT_TRUE(index.contains(L"b"));
  EXPECT_FALSE(index.contains(L"c"));
  for (int number = 0; number < 1000; ++number) {  // the list and the index are moved to other places meanwhile
    rows.push_back(std::to_wstring(number));
    EXPECT_FALSE(index.contains(rows.back()));
    index.addLast();
  }
  for (const std::wstring& row : rows) {
    EXPECT_TRUE(index.contains(row));
  }
  EXPECT_FALSE(index.contains(L"1000"));
}
