#include "system/directory_walk.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <winternl.h>

#include "support/current_directory.h"
#include "system/directory_walk_fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

bool numberIsAnswered = true;  // to those who ask for an entry's number alone
int numberQuestions = 0;

constexpr char kOpenFailed[] = "recursive_directory_iterator::recursive_directory_iterator";
constexpr char kAdvanceFailed[] = "recursive_directory_iterator::operator++";

class DirectoryWalk : public TwoFolders {
 protected:
  ~DirectoryWalk() override { numberIsAnswered = true; }
};

}  // namespace

LINK_SEAM(NTSTATUS, NtQueryInformationFile,
          (HANDLE file, PIO_STATUS_BLOCK status, PVOID answer, ULONG size, FILE_INFORMATION_CLASS kind)) {
  ++numberQuestions;
  return numberIsAnswered ? realFunction<decltype(&::NtQueryInformationFile)>(L"ntdll.dll", "NtQueryInformationFile")(
                                file, status, answer, size, kind)
                          : static_cast<NTSTATUS>(STATUS_INVALID_PARAMETER);
}

TEST_F(DirectoryWalk, OfAnEmptyDirectoryVisitsNothing) {
  EXPECT_THAT(walked(folder_.path()), IsEmpty());
}

TEST_F(DirectoryWalk, VisitsEverythingAtEveryDepthWithItsKind) {
  folder_.makeFile(L"file");
  folder_.makeFile(L"a\\b\\c.txt");
  folder_.makeDirectory(L"empty");
  std::vector<std::wstring> directories;
  std::vector<std::wstring> files;
  walkDirectory(folder_.path(), [&](const DirectoryEntry& entry) {
    EXPECT_FALSE(entry.isLink());
    (entry.isDirectory() ? directories : files).push_back(entry.path);
  });
  EXPECT_THAT(directories, UnorderedElementsAre(folder_ / L"a", folder_ / L"a\\b", folder_ / L"empty"));
  EXPECT_THAT(files, UnorderedElementsAre(folder_ / L"file", folder_ / L"a\\b\\c.txt"));
}

TEST_F(DirectoryWalk, VisitsEachDirectoryRightBeforeWhatLiesInIt) {
  for (const wchar_t* file : {L"a\\1", L"a\\b\\2", L"a\\b\\c\\3", L"a\\4", L"d\\5", L"6"}) {
    folder_.makeFile(file);
  }
  const std::vector<std::wstring> paths = walked(folder_.path());
  ASSERT_EQ(paths.size(), 10u);
  std::vector<std::wstring> way = {folder_.path()};
  for (const std::wstring& path : paths) {
    const std::wstring parent = path.substr(0, path.rfind(L'\\'));
    while (!way.empty() && way.back() != parent) {
      way.pop_back();  // a directory that was left is not come back to
    }
    ASSERT_FALSE(way.empty()) << testing::PrintToString(path);
    way.push_back(path);
  }
}

TEST_F(DirectoryWalk, TellsOfEachDirectoryBeforeItsFirstEntryAndOfNoEmptyOne) {
  folder_.makeFile(L"a\\b\\file");
  folder_.makeDirectory(L"a\\empty");
  std::vector<std::wstring> calls;
  walkDirectory(
      folder_.path(), [&](const DirectoryEntry& entry) { calls.push_back(entry.path); }, LinkInPlace::HasNoEntries,
      nullptr, [&](const std::wstring& path, const ListedFolder&) { calls.push_back(path + L"\\"); });
  const std::wstring a = folder_ / L"a";
  EXPECT_THAT(calls, ::testing::AnyOf(ElementsAre(folder_.path() + L"\\", a, a + L"\\", a + L"\\b", a + L"\\b\\",
                                                  a + L"\\b\\file", a + L"\\empty"),
                                      ElementsAre(folder_.path() + L"\\", a, a + L"\\", a + L"\\empty", a + L"\\b",
                                                  a + L"\\b\\", a + L"\\b\\file")));
}

TEST_F(DirectoryWalk, LeavesThePathAsTheCallerGaveItInFrontOfTheNames) {
  folder_.makeFile(L"a\\file");
  EXPECT_THAT(walked(folder_ / L".\\a"), ElementsAre(folder_ / L".\\a\\file"));
  EXPECT_THAT(walked(folder_ / L"A"), ElementsAre(folder_ / L"A\\file"));
  EXPECT_THAT(walked(folder_ / L"a\\"), ElementsAre(folder_ / L"a\\file"));
}

TEST_F(DirectoryWalk, TakesNamesAsTheyAre) {
  std::vector<std::wstring> expected;
  for (const std::wstring& name : kOddNames) {
    expected.push_back(folder_.makeFile(name));
  }
  EXPECT_THAT(walked(folder_.path()), testing::UnorderedElementsAreArray(expected));
}

TEST_F(DirectoryWalk, GoesBeyond260Characters) {
  const std::wstring name(200, L'n');
  folder_.makeFile(name + L"\\" + name + L"\\" + name + L"\\file");
  EXPECT_THAT(walked(folder_.path()),
              ElementsAre(folder_ / name, folder_ / name + L"\\" + name, folder_ / name + L"\\" + name + L"\\" + name,
                          folder_ / name + L"\\" + name + L"\\" + name + L"\\file"));
  EXPECT_THAT(walked(folder_ / name + L"\\" + name + L"\\" + name), testing::SizeIs(1));
}

TEST_F(DirectoryWalk, TakesALinkForAnEntryAndNoWay) {
  outside_.makeFile(L"kept\\file");
  folder_.makeDirectoryLink(L"link", outside_.path());
  std::vector<DirectoryEntry> entries;
  walkDirectory(folder_.path(), [&entries](const DirectoryEntry& entry) { entries.push_back(entry); });
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].path, folder_ / L"link");
  EXPECT_TRUE(entries[0].isDirectory());
  EXPECT_TRUE(entries[0].isLink());
}

// Reparse points that stand for another place, and others, which are files and folders like any.
TEST_F(DirectoryWalk, TakesForLinksWhatStandsForAnotherPlaceAlone) {
  const struct {
    DWORD tag;
    bool isLink;
  } rows[] = {
      {IO_REPARSE_TAG_SYMLINK, true},   {IO_REPARSE_TAG_MOUNT_POINT, true}, {0xA000001D /* of Linux */, true},
      {0 /* not told */, true},         {0x9000001A /* cloud */, false},    {0x80000013 /* deduplicated */, false},
      {0x80000017 /* packed */, false},
  };
  folder_.makeFile(L"shown\\file");
  for (const auto& row : rows) {
    entryShownAsLink = L"shown";
    shownReparseTag = row.tag;
    if (row.isLink) {
      EXPECT_THAT(walked(folder_.path()), ElementsAre(folder_ / L"shown")) << row.tag;
    } else {
      EXPECT_THAT(walked(folder_.path()), ElementsAre(folder_ / L"shown", folder_ / L"shown\\file")) << row.tag;
    }
    shownAsLink = folder_ / L"shown";
    EXPECT_EQ(isLink(folder_ / L"shown"), row.isLink) << row.tag;
    EXPECT_EQ(walked(folder_ / L"shown").empty(), row.isLink) << row.tag;
    forgetStatusSeams();
  }
}

TEST_F(DirectoryWalk, ListsAFileSystemThatGivesNoNumbers) {
  folder_.makeFile(L"a\\b\\file");
  numbersUnknown = true;
  EXPECT_THAT(walked(folder_.path()), ElementsAre(folder_ / L"a", folder_ / L"a\\b", folder_ / L"a\\b\\file"));
}

TEST_F(DirectoryWalk, AsksNoQuestionAboutADirectoryWhoseOwnEntryTellsItsNumber) {
  folder_.makeFile(L"a\\b\\file");
  numberQuestions = 0;
  EXPECT_EQ(walked(folder_.path()).size(), 3u);
  EXPECT_EQ(numberQuestions, 0);
}

TEST_F(DirectoryWalk, EntersNoDirectoryThatWasExchangedWhateverTheFileSystemAnswers) {
  for (const bool answered : {true, false}) {
    numberIsAnswered = answered;
    const std::wstring top = folder_.makeDirectory(answered ? L"one" : L"other");
    folder_.makeFile(top.substr(top.rfind(L'\\') + 1) + L"\\a\\file");
    numberQuestions = 0;
    std::vector<std::wstring> paths;
    walkDirectory(top, [&](const DirectoryEntry& entry) {
      paths.push_back(entry.path);
      if (paths.size() == 1) {
        std::filesystem::rename(entry.path, outside_ / (answered ? L"one" : L"other"));
        std::filesystem::create_directory(entry.path);
        std::filesystem::create_directory(entry.path + L"\\new");
      }
    });
    EXPECT_THAT(paths, ElementsAre(top + L"\\a")) << answered;
    EXPECT_EQ(numberQuestions, 1) << answered;
  }
}

TEST_F(DirectoryWalk, EndsWithALinkThatLeadsBackUp) {
  folder_.makeDirectoryLink(L"loop", folder_.path());
  EXPECT_THAT(walked(folder_.path()), ElementsAre(folder_ / L"loop"));
}

TEST_F(DirectoryWalk, FindsNothingBelowALinkAboveTheDirectory) {
  outside_.makeFile(L"deep\\directory\\file");
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  EXPECT_THAT(walked(link + L"\\deep"), IsEmpty());
  EXPECT_THAT(walked(link + L"\\deep\\directory"), IsEmpty());
}

TEST_F(DirectoryWalk, FindsNothingBelowALinkInThePlaceOfTheDirectory) {
  outside_.makeFile(L"file");
  EXPECT_THAT(walked(folder_.makeDirectoryLink(L"link", outside_.path())), IsEmpty());
}

TEST_F(DirectoryWalk, GoesThroughALinkInThePlaceOfTheDirectoryWhenAskedTo) {
  outside_.makeFile(L"a\\file");
  outside_.makeDirectoryLink(L"further", folder_.path());
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  std::vector<std::wstring> deep, flat;
  const auto addDeep = [&deep](const DirectoryEntry& entry) { deep.push_back(entry.path); };
  const auto addFlat = [&flat](const DirectoryEntry& entry) { flat.push_back(entry.path); };
  walkDirectory(link, addDeep, LinkInPlace::IsFollowed);
  visitEntries(link, addFlat, LinkInPlace::IsFollowed);
  EXPECT_THAT(deep, UnorderedElementsAre(link + L"\\a", link + L"\\a\\file", link + L"\\further"))
      << "a link met below is an entry";
  EXPECT_THAT(flat, UnorderedElementsAre(link + L"\\a", link + L"\\further"));
}

TEST_F(DirectoryWalk, OfABareDriveIsThatOfItsCurrentDirectory) {
  folder_.makeFile(L"a\\file");
  const CurrentDirectory current(folder_.path());
  EXPECT_THAT(walked(L"C:"), ElementsAre(L"C:a", L"C:a\\file"));
}

TEST_F(DirectoryWalk, RaisesForADirectoryThatIsNotThere) {
  expectError([&] { walked(folder_ / L"missing"); }, kOpenFailed, ERROR_FILE_NOT_FOUND, folder_ / L"missing");
}

TEST_F(DirectoryWalk, RaisesForAFileInThePlaceOfTheDirectory) {
  EXPECT_THROW(walked(folder_.makeFile(L"file")), std::filesystem::filesystem_error);
}

TEST_F(DirectoryWalk, RaisesWhenTheDirectoryCannotBeOpened) {
  unreadableFolder = folder_.path();
  expectError([&] { walked(folder_.path()); }, kOpenFailed, ERROR_ACCESS_DENIED, folder_.path());
}

TEST_F(DirectoryWalk, RaisesWhenADirectoryBelowCannotBeOpened) {
  unreadableFolder = folder_.makeDirectory(L"a\\closed");
  expectError([&] { walked(folder_.path()); }, kAdvanceFailed, ERROR_ACCESS_DENIED, unreadableFolder);
}

// As when two runs are at work at once.
TEST_F(DirectoryWalk, PassesOverADirectoryBelowThatGoesMeanwhile) {
  folder_.makeDirectory(L"a");
  folder_.makeFile(L"b\\file");
  std::vector<std::wstring> paths;
  walkDirectory(folder_.path(), [&paths](const DirectoryEntry& entry) {
    paths.push_back(entry.path);
    if (entry.path.ends_with(L"\\a")) {
      EXPECT_TRUE(::RemoveDirectoryW(entry.path.c_str()));
    }
  });
  EXPECT_THAT(paths, UnorderedElementsAre(folder_ / L"a", folder_ / L"b", folder_ / L"b\\file"));
}

TEST_F(DirectoryWalk, TellsOfADirectoryThatGoesMeanwhileWhoeverPassesOverFailures) {
  folder_.makeDirectory(L"a");
  std::vector<std::error_code> passedOver;
  walkDirectory(
      folder_.path(), [](const DirectoryEntry& entry) { EXPECT_TRUE(::RemoveDirectoryW(entry.path.c_str())); },
      LinkInPlace::HasNoEntries, [&passedOver](const std::error_code& error) { passedOver.push_back(error); });
  EXPECT_THAT(passedOver, ElementsAre(std::error_code(ERROR_FILE_NOT_FOUND, std::system_category())));
}

TEST_F(DirectoryWalk, RaisesWhenTheReadingBreaksOff) {
  folder_.makeFile(L"a");
  folder_.makeFile(L"b");
  readsUntilFailure = 2;  // `.`, `..`, then a
  expectError([&] { walked(folder_.path()); }, kAdvanceFailed, ERROR_CRC, folder_.path());
}

TEST(ExistingDirectory, IsADirectoryOrALinkToOne) {
  const TestFolder folder;
  EXPECT_TRUE(isExistingDirectory(folder.path()));
  EXPECT_TRUE(isExistingDirectory(folder.makeDirectoryLink(L"link", folder.path())));
  EXPECT_FALSE(isExistingDirectory(folder.makeFile(L"file")));
  EXPECT_FALSE(isExistingDirectory(folder / L"missing"));
  EXPECT_FALSE(isExistingDirectory(L""));
  EXPECT_TRUE(isExistingDirectory(folder.makeDirectory(std::wstring(200, L'n') + L"\\" + std::wstring(200, L'n'))));
}

// The tree grows from its deepest folder upwards: the machine takes long for each path through a deep tree.
