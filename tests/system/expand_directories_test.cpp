#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/directory_seams.h"
#include "support/status_seams.h"
#include "support/test_folder.h"
#include "system/expand_directories.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class ExpandDirectoriesTest : public testing::Test {
 protected:
  ~ExpandDirectoriesTest() override {
    forgetDirectorySeams();
    forgetStatusSeams();
  }

  TestFolder outside_;
  TestFolder folder_;
  std::vector<std::wstring> directories_;
  std::vector<std::wstring> files_;
};

}  // namespace

TEST_F(ExpandDirectoriesTest, AppendsEverythingBelowADirectoryByItsKind) {
  folder_.makeFile(L"top\\a\\1");
  folder_.makeFile(L"top\\a\\b\\2");
  folder_.makeDirectory(L"top\\empty");
  directories_ = {folder_ / L"top"};
  files_ = {L"before"};
  ExpandDirectories(directories_, files_);
  EXPECT_EQ(directories_.front(), folder_ / L"top");
  EXPECT_EQ(files_.front(), L"before");
  EXPECT_THAT(directories_, UnorderedElementsAre(folder_ / L"top", folder_ / L"top\\a", folder_ / L"top\\a\\b",
                                                 folder_ / L"top\\empty"));
  EXPECT_THAT(files_, UnorderedElementsAre(L"before", folder_ / L"top\\a\\1", folder_ / L"top\\a\\b\\2"));
}

TEST_F(ExpandDirectoriesTest, HasNothingToDoForAnEmptyList) {
  ExpandDirectories(directories_, files_);
  EXPECT_THAT(directories_, IsEmpty());
  EXPECT_THAT(files_, IsEmpty());
}

TEST_F(ExpandDirectoriesTest, PassesOverWhatIsNoDirectory) {
  directories_ = {folder_ / L"missing", folder_.makeFile(L"file"), L"", L"*?"};
  const std::vector<std::wstring> before = directories_;
  ExpandDirectories(directories_, files_);
  EXPECT_EQ(directories_, before);
  EXPECT_THAT(files_, IsEmpty());
}

TEST_F(ExpandDirectoriesTest, PassesOverADirectoryThatGoesMeanwhile) {
  goesMeanwhile = folder_.makeDirectory(L"going");
  directories_ = {goesMeanwhile, folder_.makeDirectory(L"staying")};
  const std::wstring file = folder_.makeFile(L"staying\\file");
  ExpandDirectories(directories_, files_);
  EXPECT_FALSE(std::filesystem::exists(goesMeanwhile));
  EXPECT_THAT(directories_, ElementsAre(goesMeanwhile, folder_ / L"staying"));
  EXPECT_THAT(files_, ElementsAre(file));
}

TEST_F(ExpandDirectoriesTest, AppendsEachRowOnce) {
  folder_.makeFile(L"top\\a\\1");
  directories_ = {folder_ / L"top", folder_ / L"top\\a", folder_ / L"top"};
  files_ = {folder_ / L"top\\a\\1"};
  ExpandDirectories(directories_, files_);
  EXPECT_THAT(directories_, ElementsAre(folder_ / L"top", folder_ / L"top\\a", folder_ / L"top"));
  EXPECT_THAT(files_, ElementsAre(folder_ / L"top\\a\\1"));
}

TEST_F(ExpandDirectoriesTest, TakesARowThatDiffersInCaseForAnother) {
  folder_.makeFile(L"top\\a\\1");
  directories_ = {folder_ / L"TOP", folder_ / L"top"};
  ExpandDirectories(directories_, files_);
  EXPECT_THAT(directories_, ElementsAre(folder_ / L"TOP", folder_ / L"top", folder_ / L"TOP\\a", folder_ / L"top\\a"));
  EXPECT_THAT(files_, ElementsAre(folder_ / L"TOP\\a\\1", folder_ / L"top\\a\\1"));
}

TEST_F(ExpandDirectoriesTest, ListsALinkAndNothingBehindIt) {
  outside_.makeFile(L"kept\\file");
  folder_.makeDirectory(L"top");
  folder_.makeDirectoryLink(L"top\\link", outside_.path());
  directories_ = {folder_ / L"top"};
  ExpandDirectories(directories_, files_);
  EXPECT_THAT(directories_, ElementsAre(folder_ / L"top", folder_ / L"top\\link"));
  EXPECT_THAT(files_, IsEmpty());
}

TEST_F(ExpandDirectoriesTest, ListsNothingBehindARowThatIsALink) {
  outside_.makeFile(L"kept\\file");
  directories_ = {folder_.makeDirectoryLink(L"link", outside_.path())};
  ExpandDirectories(directories_, files_);
  EXPECT_THAT(directories_, ElementsAre(folder_ / L"link"));
  EXPECT_THAT(files_, IsEmpty());
}

TEST_F(ExpandDirectoriesTest, ListsWhatLiesBehindARowThatIsALinkWhenAskedTo) {
  outside_.makeFile(L"a\\file");
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  directories_ = {link};
  ExpandDirectories(directories_, files_, LinkInPlace::IsFollowed);
  EXPECT_THAT(directories_, ElementsAre(link, link + L"\\a"));
  EXPECT_THAT(files_, ElementsAre(link + L"\\a\\file"));
}

TEST_F(ExpandDirectoriesTest, PassesOverALinkThatLeadsToNothing) {
  folder_.makeFile(L"link\\file");
  directories_ = {folder_ / L"link"};
  showAsBrokenLink(folder_ / L"link", ERROR_PATH_NOT_FOUND);
  ExpandDirectories(directories_, files_, LinkInPlace::IsFollowed);
  EXPECT_THAT(directories_, ElementsAre(folder_ / L"link"));
  EXPECT_THAT(files_, IsEmpty());
}

TEST_F(ExpandDirectoriesTest, RaisesWhenADirectoryCannotBeRead) {
  directories_ = {folder_.path()};
  unreadableFolder = folder_.path();
  try {
    ExpandDirectories(directories_, files_);
    ADD_FAILURE() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr("recursive_directory_iterator::recursive_directory_iterator: "));
    EXPECT_EQ(error.code().value(), ERROR_ACCESS_DENIED);
  }
}
