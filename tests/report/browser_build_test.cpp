// browser_build_test - which builds of the browser need the stylesheet as a separate file.

#include <gtest/gtest.h>

#include <string>

#include "report/browser_program.h"
#include "report/removal_report.h"
#include "support/test_folder.h"
#include "support/text.h"

namespace {

class BrowserBuild : public testing::Test {
 protected:
  bool isOld(const std::vector<VersionText>& texts) const {
    EXPECT_TRUE(makeProgram(program, texts));
    return isOldBrowserBuild(program);
  }

  TestFolder folder;
  std::wstring program = folder / L"iexplore.exe";
};

}  // namespace

TEST_F(BrowserBuild, ThirdPartIsComparedAsText) {
  const struct {
    const wchar_t* version;
    bool isOld;
  } rows[] = {
      {L"11.00.19041.1", true}, {L"11.00.19043.2364", true}, {L"11.00.19044.1", false},      {L"11.00.22000.1", false},
      {L"11.00.9600.1", false}, {L"11.00.100000.1", true},   {L"11.00.19043", true},         {L"11.00.19044", false},
      {L"11.00.190430", false}, {L"11.00-19044", false},     {L"11.00.19044 (text)", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(isOld({{0x0409, row.version}}), row.isOld) << narrow(row.version);
  }
}

TEST_F(BrowserBuild, VersionOfAnotherFormIsOld) {
  for (const wchar_t* version : {L"", L"11", L"11.00", L"v11.00.19044.1", L"eleven", L"11.00.x19044"}) {
    EXPECT_TRUE(isOld({{0x0409, version}})) << narrow(version);
  }
}

TEST_F(BrowserBuild, LastOfSeveralTranslationsCounts) {
  EXPECT_FALSE(isOld({{0x0409, L"11.00.19041.1"}, {0x0407, L"11.00.19044.1"}}));
  EXPECT_TRUE(isOld({{0x0409, L"11.00.19044.1"}, {0x0407, L"11.00.19041.1"}}));
}

TEST_F(BrowserBuild, ProgramWithoutAVersionIsOld) {
  EXPECT_TRUE(isOld({}));
}

TEST_F(BrowserBuild, MissingProgramIsOld) {
  EXPECT_TRUE(isOldBrowserBuild(program));
}

TEST_F(BrowserBuild, FileThatIsNoProgramIsOld) {
  folder.makeFile(L"iexplore.exe", "no program");
  EXPECT_TRUE(isOldBrowserBuild(program));
}
