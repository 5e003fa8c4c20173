// related_paths_test - when two paths count as the same thing or one as a part of the other, so that a folder is spared
// for the sake of what lies in it or around it.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/current_directory.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/comparable_path.h"
#include "system/previous_installers.h"

namespace {

void expectRelated(const std::wstring& one, const std::wstring& other, bool related) {
  const std::wstring first = comparablePath(one);
  const std::wstring second = comparablePath(other);
  EXPECT_EQ(AreRelatedPaths(first, second), related) << narrow(one) << " and " << narrow(other);
  EXPECT_EQ(AreRelatedPaths(second, first), related) << narrow(other) << " and " << narrow(one);
}

}  // namespace

TEST(RelatedPaths, AreTheSameOrOneInTheOther) {
  const TestFolder folder;
  folder.makeFile(L"Packages\\one\\setup.exe");
  folder.makeFile(L"Packages\\one more\\setup.exe");
  const std::wstring one = folder / L"Packages\\one";
  expectRelated(one, one, true);
  expectRelated(one, one + L"\\", true);
  expectRelated(one, folder / L"PACKAGES\\One\\", true);
  expectRelated(one, folder / L"Packages\\.\\other\\..\\one", true);
  expectRelated(one, one + L"\\setup.exe", true);
  expectRelated(one, folder / L"Packages", true);
  expectRelated(one, L"C:\\", true);
  expectRelated(one, folder / L"Packages\\one more", false);
  expectRelated(one, folder / L"Packages\\on", false);
  expectRelated(one, folder / L"Packages\\other", false);
  expectRelated(one, folder / L"one", false);
  expectRelated(one + L"\\setup.exe", folder / L"Packages\\one more\\setup.exe", false);
}

TEST(RelatedPaths, MayHaveTwoDotsInANameOnTheWay) {
  const TestFolder folder;
  folder.makeFile(L"Packages\\one..two\\setup.exe");
  expectRelated(folder / L"Packages", folder / L"Packages\\one..two\\setup.exe", true);
  expectRelated(folder / L"Packages", folder / L"Packages\\..missing", true);
  expectRelated(folder / L"Packages\\one", folder / L"Packages\\one..two", false);
}

TEST(RelatedPaths, NeedNotExist) {
  expectRelated(L"C:\\missing\\a", L"C:\\Missing\\A\\b\\", true);
  expectRelated(L"C:\\missing\\a", L"C:\\missing\\ab", false);
}

TEST(RelatedPaths, DoNotDependOnTheCurrentDirectory) {
  const TestFolder folder;
  folder.makeDirectory(L"current\\missing");
  const CurrentDirectory current(folder / L"current");
  expectRelated(L"C:\\missing", folder / L"current\\missing", false);
  expectRelated(L"C:\\missing", folder.path(), false);
  expectRelated(L"C:\\missing", L"C:\\", true);
  expectRelated(L"C:\\missing\\a", L"C:\\missing\\a\\b", true);
}

TEST(RelatedPaths, OfAMissingDriveAreComparedAsTheyAreSpelled) {
  expectRelated(L"Q:\\missing", L"Q:\\", true);
  expectRelated(L"\\\\?\\Q:\\missing\\a", L"Q:\\missing", true);
  expectRelated(L"\\\\server\\share\\a", L"\\\\server\\share", true);
  expectRelated(L"\\\\server\\share\\a", L"C:\\", false);
}

TEST(RelatedPaths, AreNeverOnTwoDrivesOrEmpty) {
  expectRelated(L"C:\\ORV", L"D:\\ORV", false);
  expectRelated(L"C:\\", L"D:\\", false);
  expectRelated(L"C:\\ORV", L"", false);
  expectRelated(L"", L"", false);
}

TEST(RelatedPaths, AreThoseThatLinksLeadTo) {
  const TestFolder folder;
  folder.makeFile(L"real\\package\\setup.exe");
  const std::wstring link = folder.makeDirectoryLink(L"link", folder / L"real");
  expectRelated(link + L"\\package", folder / L"real\\package\\setup.exe", true);
  expectRelated(link, folder / L"real", true);
  expectRelated(link, folder / L"other", false);
}

TEST(NotExcluded, IsWhatHasNoRelationToAnyExclusion) {
  const std::vector<std::wstring> exclusions = {L"C:\\ORV\\Packages\\kept\\deep", L"D:\\elsewhere"};
  EXPECT_TRUE(IsNotExcluded({}, L"C:\\ORV"));
  EXPECT_TRUE(IsNotExcluded(exclusions, L"C:\\ORV\\Packages\\other"));
  EXPECT_TRUE(IsNotExcluded(exclusions, L"C:\\elsewhere"));
  EXPECT_FALSE(IsNotExcluded(exclusions, L"C:\\ORV\\Packages\\kept")) << "an exclusion lies in it";
  EXPECT_FALSE(IsNotExcluded(exclusions, L"C:\\ORV\\Packages\\kept\\deep\\file")) << "it lies in an exclusion";
  EXPECT_FALSE(IsNotExcluded(exclusions, L"d:\\ELSEWHERE\\x"));
}
