// text_case_test - searching text, and comparing it without regard to case.

#include <gtest/gtest.h>

#include <string>

#include "system/text_case.h"

TEST(ContainsNoCase, FoldsBothTexts) {
  struct Row {
    const wchar_t* text;
    const wchar_t* part;
    bool contained;
  };
  const Row rows[] = {{L"S-1-5-18", L"s-1-5", true},
                      {L"s-1-5-18", L"S-1-5", true},
                      {L"xS-1-5", L"s-1-5", true},
                      {L"S-1-4-18", L"s-1-5", false},
                      {L"C:\\WINDOWS\\Installer\\{aB}\\", L"c:\\windows\\installer\\{Ab}", true},
                      {L"short", L"shorter", false},
                      {L"text", L"", true},
                      {L"", L"", false},
                      {L"", L"text", false}};
  for (const Row& row : rows) {
    EXPECT_EQ(ContainsNoCase(row.text, row.part), row.contained)
        << testing::PrintToString(row.text) << " " << testing::PrintToString(row.part);
  }
}

TEST(EqualsNoCase, FoldsTheLettersOfAsciiAndNothingElse) {
  EXPECT_TRUE(equalsNoCase(L"DisPlay", L"dISpLAY"));
  EXPECT_TRUE(equalsNoCase(L"", L""));
  EXPECT_FALSE(equalsNoCase(L"display", L"displays"));
  EXPECT_FALSE(equalsNoCase(L"\u00C4", L"\u00E4"));
  EXPECT_FALSE(equalsNoCase(L"[", L"{"));
}

TEST(Contains, LooksAtCaseAndFindsAnEmptyPartEverywhere) {
  EXPECT_TRUE(contains(L"PCI\\VEN_7A11&DEV_744C", L"VEN_7A11"));
  EXPECT_FALSE(contains(L"PCI\\ven_7a11&DEV_744C", L"VEN_7A11"));
  EXPECT_TRUE(contains(L"", L""));
  EXPECT_FALSE(contains(L"", L"text"));
}
