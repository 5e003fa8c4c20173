#include "system/directory_walk.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <winternl.h>

#include "support/current_directory.h"
#include "support/directory_seams.h"
#include "support/status_seams.h"
#include "support/test_folder.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

bool numberIsAnswered = true;  // to those who ask for an entry's number alone
int numberQuestions = 0;

std::vector<std::wstring> walked(const std::wstring& directory) {
  std::vector<std::wstring> paths;
  walkDirectory(directory, [&paths](const DirectoryEntry& entry) { paths.push_back(entry.path); });
  return paths;
}

std::wstring repeated(const std::wstring& text, int count) {
  std::wstring result;
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

// Runs `call`, which must raise a file-system error with this text, this code and this path.
template <class Call>
void expectError(Call call, const std::string& text, DWORD code, const std::wstring& path) {
  try {
    call();
    ADD_FAILURE() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& error) {
    EXPECT_THAT(error.what(), HasSubstr(text + ": "));
    EXPECT_EQ(error.code(), std::error_code(static_cast<int>(code), std::system_category()));
    EXPECT_EQ(error.path1().wstring(), path);
  }
}

constexpr char kOpenFailed[] = "recursive_directory_iterator::recursive_directory_iterator";
constexpr char kAdvanceFailed[] = "recursive_directory_iterator::operator++";

class DirectoryWalk : public testing::Test {
 protected:
  ~DirectoryWalk() override {
    forgetDirectorySeams();
    forgetStatusSeams();
    numberIsAnswered = true;
  }

  TestFolder outside_;
  TestFolder folder_;
};

using RemoveTree = DirectoryWalk;
using SingleEntry = DirectoryWalk;

// Names that a shell, a format or a narrow locale would trip over.
const std::vector<std::wstring> kOddNames = {L"two  blanks",
                                             L" leading",
                                             L".hidden",
                                             L"%TEMP%",
                                             L"100%s %d",
                                             L"\u00e4\u00f6\u00fc\u00df",
                                             L"\u4e2d\u6587",
                                             L"\u65e5\u672c\u8a9e.txt",
                                             L"\U0001F600 smile",
                                             L"a'b`c",
                                             L"[x]{y}(z)^&$!#@~",
                                             L"CAPS.TXT",
                                             L"a.b.c",
                                             L"it;em,=+",
                                             std::wstring(255, L'n')};

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

TEST_F(RemoveTree, LeavesWhatALinkAboveItLeadsTo) {
  outside_.makeFile(L"deep\\directory\\file");
  const std::vector<std::string> before = snapshot(outside_.path());
  const std::wstring directory = folder_.makeDirectoryLink(L"link", outside_.path()) + L"\\deep\\directory";
  expectError([&] { removeTree(directory); }, "remove_all", ERROR_CANT_ACCESS_FILE, directory);
  EXPECT_EQ(snapshot(outside_.path()), before);
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

TEST_F(SingleEntry, ThatIsAFileGoes) {
  const std::wstring file = folder_.makeFile(L"file");
  EXPECT_TRUE(removeSingleEntry(file));
  EXPECT_FALSE(pathExists(file));
}

TEST_F(SingleEntry, ThatIsAnEmptyDirectoryGoes) {
  const std::wstring directory = folder_.makeDirectory(L"directory");
  EXPECT_TRUE(removeSingleEntry(directory));
  EXPECT_FALSE(pathExists(directory));
}

TEST_F(SingleEntry, WithALongPathGoes) {
  const std::wstring file = folder_.makeFile(std::wstring(200, L'n') + L"\\" + std::wstring(200, L'n'));
  EXPECT_TRUE(removeSingleEntry(file));
  EXPECT_FALSE(pathExists(file));
}

TEST_F(SingleEntry, ThatIsADirectoryWithContentStays) {
  const std::wstring file = folder_.makeFile(L"directory\\file");
  EXPECT_FALSE(removeSingleEntry(folder_ / L"directory"));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_DIR_NOT_EMPTY));
  EXPECT_TRUE(pathExists(file));
}

TEST_F(SingleEntry, ThatIsReadOnlyStaysAsItIs) {
  const std::wstring file = folder_.makeFile(L"file");
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_FALSE(removeSingleEntry(file));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(::GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_READONLY);
}

TEST_F(SingleEntry, ThatIsInUseStays) {
  const std::wstring file = folder_.makeFile(L"file");
  const FileHandle lock = lockFile(file);
  EXPECT_FALSE(removeSingleEntry(file));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_TRUE(pathExists(file));
}

TEST_F(SingleEntry, ThatIsNotThereWasNotRemoved) {
  EXPECT_FALSE(removeSingleEntry(folder_ / L"missing"));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(SingleEntry, ThatIsALinkGoesAlone) {
  outside_.makeFile(L"kept\\file");
  const std::vector<std::string> before = snapshot(outside_.path());
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  EXPECT_TRUE(removeSingleEntry(link));
  EXPECT_FALSE(pathExists(link));
  EXPECT_EQ(snapshot(outside_.path()), before);
}

TEST_F(RemoveTree, TakesADirectoryWithAllThatLiesInIt) {
  folder_.makeFile(L"tree\\a\\b\\file");
  folder_.makeFile(L"tree\\file");
  folder_.makeDirectory(L"tree\\empty\\empty");
  const std::wstring neighbour = folder_.makeFile(L"tree2\\file");
  removeTree(folder_ / L"tree");
  EXPECT_FALSE(pathExists(folder_ / L"tree"));
  EXPECT_EQ(readFile(neighbour), "content");
}

TEST_F(RemoveTree, TakesNamesAsTheyAre) {
  for (const std::wstring& name : kOddNames) {
    folder_.makeFile(L"tree\\" + name + L"\\" + name);
  }
  removeTree(folder_ / L"tree");
  EXPECT_THAT(walked(folder_.path()), IsEmpty());
}

TEST_F(RemoveTree, TakesPathsBeyond260Characters) {
  const std::wstring name(200, L'n');
  folder_.makeFile(L"tree\\" + name + L"\\" + name + L"\\" + name + L"\\file");
  removeTree(folder_ / L"tree");
  EXPECT_THAT(walked(folder_.path()), IsEmpty());
}

// The tree grows from its deepest folder upwards: the machine takes long for each path through a deep tree.
TEST_F(RemoveTree, AndTheWalkReach250Levels) {
  folder_.makeFile(L"tree\\file");
  for (int level = 1; level < 250; ++level) {
    folder_.makeDirectory(L"above");
    ASSERT_TRUE(::MoveFileW((folder_ / L"tree").c_str(), (folder_ / L"above\\d").c_str()));
    ASSERT_TRUE(::MoveFileW((folder_ / L"above").c_str(), (folder_ / L"tree").c_str()));
  }
  const std::vector<std::wstring> paths = walked(folder_.path());
  ASSERT_EQ(paths.size(), 251u);
  EXPECT_EQ(paths.back(), folder_ / L"tree" + repeated(L"\\d", 249) + L"\\file");
  removeTree(folder_ / L"tree");
  EXPECT_THAT(walked(folder_.path()), IsEmpty());
}

TEST_F(RemoveTree, TakesReadOnlyAndHiddenFiles) {
  for (const DWORD attributes : {static_cast<DWORD>(FILE_ATTRIBUTE_READONLY),
                                 static_cast<DWORD>(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN)}) {
    ::SetFileAttributesW(folder_.makeFile(L"tree\\file").c_str(), attributes);
    removeTree(folder_ / L"tree");
    EXPECT_FALSE(pathExists(folder_ / L"tree"));
  }
}

TEST_F(RemoveTree, TakesASingleFile) {
  const std::wstring file = folder_.makeFile(L"file");
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  removeTree(file);
  EXPECT_FALSE(pathExists(file));
}

TEST_F(RemoveTree, HasNothingToDoForAPathThatIsNotThere) {
  EXPECT_NO_THROW(removeTree(folder_ / L"missing"));
  EXPECT_NO_THROW(removeTree(folder_ / L"missing\\too"));
}

TEST_F(RemoveTree, RemovesALinkAndLeavesWhatLiesBehindIt) {
  outside_.makeFile(L"kept\\file", "of another product");
  ::SetFileAttributesW(outside_.makeFile(L"kept\\read-only").c_str(), FILE_ATTRIBUTE_READONLY);
  outside_.makeDirectory(L"kept\\empty");
  const std::vector<std::string> before = snapshot(outside_.path());
  folder_.makeFile(L"tree\\before\\file");
  folder_.makeDirectoryLink(L"tree\\before\\link", outside_.path());
  folder_.makeDirectoryLink(L"tree\\link", outside_ / L"kept");
  folder_.makeDirectoryLink(L"tree\\loop", folder_.path());
  removeTree(folder_ / L"tree");
  EXPECT_THAT(walked(folder_.path()), IsEmpty());
  EXPECT_EQ(snapshot(outside_.path()), before);
}

TEST_F(RemoveTree, RemovesALinkInThePlaceOfTheDirectory) {
  outside_.makeFile(L"kept\\file");
  const std::vector<std::string> before = snapshot(outside_.path());
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  removeTree(link);
  EXPECT_FALSE(pathExists(link));
  EXPECT_EQ(snapshot(outside_.path()), before);
}

TEST_F(RemoveTree, RaisesWithThePathOfAFileThatStays) {
  const std::wstring file = folder_.makeFile(L"tree\\a\\file");
  const FileHandle lock = lockFile(file);
  expectError([&] { removeTree(folder_ / L"tree"); }, "remove_all", ERROR_SHARING_VIOLATION, file);
  EXPECT_TRUE(pathExists(file));
}

TEST_F(RemoveTree, RaisesWhenADirectoryCannotBeRead) {
  unreadableFolder = folder_.makeDirectory(L"tree\\closed");
  expectError([&] { removeTree(folder_ / L"tree"); }, "remove_all", ERROR_ACCESS_DENIED, unreadableFolder);
}
