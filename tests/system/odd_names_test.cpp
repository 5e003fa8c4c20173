// odd_names_test - names that a directory can hold and that a plain path cannot mean: they end in dots or blanks, or
// are those of devices. What is walked, matched or deleted is the entry of that name, never the one that Windows would
// make of it.
#include <algorithm>
#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>

#include "manifest/path_expansion.h"
#include "support/captured_log.h"
#include "support/directory_seams.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/action_dispatcher.h"
#include "system/directory_walk.h"
#include "system/expand_directories.h"
#include "system/row_folders.h"
#include "system/tree_removal.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

using Rows = std::vector<std::wstring>;

struct OddName {
  const wchar_t* name;
  const wchar_t* neighbour;  // what a plain path of that name would mean, or a name that is taken for it
};
constexpr OddName kOddNames[] = {
    {L"dot.", L"dot"},         {L"dots...", L"dots"},    {L"blank ", L"blank"},
    {L"blanks   ", L"blanks"}, {L"mixed. . ", L"mixed"}, {L"file.txt.", L"file.txt"},
    {L"NUL", L"nul.txt"},      {L"COM1", L"com2"},       {L"aux.txt", L"auxiliary"},
};

class OddNames : public ::testing::Test {
 protected:
  ~OddNames() override { forgetDirectorySeams(); }

  // A folder of that name with a file in it, and beside it a link that a plain path would lead through.
  void makeFolderBesideLink(const std::wstring& name, const std::wstring& plainName) {
    folder_.makeFile(L"tree\\" + name + L"\\file");
    folder_.makeDirectoryLink(L"tree\\" + plainName, outside_.path());
  }

  static Rows entriesOf(const std::wstring& folder) {
    Rows paths;
    walkDirectory(folder, [&paths](const DirectoryEntry& entry) { paths.push_back(entry.path); });
    return paths;
  }

  bool execute(ActionKind kind, const Rows& rows) { return ExecuteActions(kind, rows, failures_, false); }

  TestFolder outside_;
  TestFolder folder_;
  CapturedLog log_;
  Rows failures_;
};

}  // namespace

TEST_F(OddNames, AreWalkedAsTheyAre) {
  outside_.makeFile(L"behind the link");
  makeFolderBesideLink(L"sub.", L"sub");
  EXPECT_THAT(entriesOf(folder_.path()), UnorderedElementsAre(folder_ / L"tree", folder_ / L"tree\\sub.",
                                                              folder_ / L"tree\\sub.\\file", folder_ / L"tree\\sub"));
}

TEST_F(OddNames, OfATreeGoAndNothingBehindTheLinksBesideThem) {
  outside_.makeFile(L"file");
  outside_.makeFile(L"deeper\\file");
  makeFolderBesideLink(L"sub.", L"sub");
  folder_.makeFile(L"tree\\deep. \\blank \\file...");
  makeFolderBesideLink(L"NUL", L"other");
  const std::vector<std::string> before = snapshot(outside_.path());
  removeTree(folder_ / L"tree");
  EXPECT_FALSE(pathExists(folder_ / L"tree"));
  EXPECT_EQ(snapshot(outside_.path()), before);
}

TEST_F(OddNames, OfAListedFolderGoAndNothingBehindTheLinksBesideThem) {
  outside_.makeFile(L"file");
  makeFolderBesideLink(L"sub.", L"sub");
  const std::vector<std::string> before = snapshot(outside_.path());
  Rows directories = {folder_ / L"tree"};
  Rows files;
  ExpandDirectories(directories, files);
  EXPECT_THAT(files, ElementsAre(folder_ / L"tree\\sub.\\file")) << "rows keep the plain spelling";
  execute(ActionKind::FileDelete, files);
  execute(ActionKind::DirectoryDelete, {folder_ / L"tree\\sub.", folder_ / L"tree\\sub", folder_ / L"tree"});
  EXPECT_FALSE(pathExists(folder_ / L"tree"));
  EXPECT_EQ(snapshot(outside_.path()), before);
  EXPECT_THAT(failures_, IsEmpty());
  EXPECT_THAT(log_.lines(),
              ElementsAre("DEBUG " + narrow(folder_ / L"tree\\sub.\\file"), "DEBUG " + narrow(folder_ / L"tree\\sub."),
                          "DEBUG " + narrow(folder_ / L"tree\\sub"), "DEBUG " + narrow(folder_ / L"tree")));
}

// As with a neighbour that is protected: its row has been taken away.
TEST_F(OddNames, OfFilesGoAndTheirNeighboursStay) {
  for (const auto& [name, neighbour] : kOddNames) {
    SCOPED_TRACE(narrow(name));
    const TestFolder folder;
    folder.makeFile(name);
    folder.makeFile(neighbour);
    Rows directories = {folder.path()};
    Rows files;
    ExpandDirectories(directories, files);
    EXPECT_THAT(files, UnorderedElementsAre(folder / name, folder / neighbour));
    EXPECT_TRUE(execute(ActionKind::FileDelete, {folder / name}));
    EXPECT_FALSE(pathExists(folder / name));
    EXPECT_TRUE(pathExists(folder / neighbour));
  }
}

TEST_F(OddNames, OfFoldersGoAndTheirNeighboursStay) {
  for (const auto& [name, neighbour] : kOddNames) {
    SCOPED_TRACE(narrow(name));
    const TestFolder folder;
    folder.makeDirectory(name);
    folder.makeDirectory(neighbour);
    Rows directories = {folder.path()};
    Rows files;
    ExpandDirectories(directories, files);
    EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {folder / name}));
    EXPECT_FALSE(pathExists(folder / name));
    EXPECT_TRUE(pathExists(folder / neighbour));
  }
}

TEST_F(OddNames, BeyondEveryLimitGo) {
  const std::wstring top = std::wstring(254, L'n') + L".";
  const std::wstring inner = top + L"\\" + std::wstring(254, L'm') + L" ";
  const std::wstring file = folder_.makeFile(inner + L"\\file.");
  Rows directories = {folder_.path()};
  Rows files;
  ExpandDirectories(directories, files);
  EXPECT_THAT(files, ElementsAre(file));
  EXPECT_TRUE(execute(ActionKind::FileDelete, files));
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {folder_ / inner}));
  EXPECT_THAT(entriesOf(folder_.path()), ElementsAre(folder_ / top));
  removeTree(folder_.path());
  EXPECT_FALSE(pathExists(folder_.path()));
}

TEST_F(OddNames, OfFilesInUseAreMarkedAsTheyAre) {
  const std::wstring held = folder_.makeFile(L"tree\\a.dll.");
  folder_.makeFile(L"tree\\a.dll");
  Rows directories = {folder_ / L"tree"};
  Rows files;
  ExpandDirectories(directories, files);
  const FileHandle lock = lockFile(held);
  EXPECT_TRUE(execute(ActionKind::FileDelete, {held}));
  EXPECT_THAT(pendingDeletions(), Contains(held));
  EXPECT_THAT(log_.lines(), Contains(::testing::StartsWith("DEBUG FileOperation::Delete - Mark File[" + narrow(held) +
                                                           "] as deleted until reboot")))
      << "the log keeps the plain spelling";
}

TEST_F(OddNames, OfReadOnlyFilesGo) {
  const std::wstring file = folder_.makeFile(L"tree\\a.dll ");
  const std::wstring neighbour = folder_.makeFile(L"tree\\a.dll");
  ::SetFileAttributesW((LR"(\\?\)" + file).c_str(), FILE_ATTRIBUTE_READONLY);
  ::SetFileAttributesW(neighbour.c_str(), FILE_ATTRIBUTE_READONLY);
  Rows directories = {folder_ / L"tree"};
  Rows files;
  ExpandDirectories(directories, files);
  EXPECT_TRUE(execute(ActionKind::FileDelete, {file}));
  EXPECT_FALSE(pathExists(file));
  EXPECT_TRUE(::GetFileAttributesW(neighbour.c_str()) & FILE_ATTRIBUTE_READONLY);
}

TEST_F(OddNames, ThatAPatternMatchesGoAndTheirNeighboursStay) {
  const std::wstring odd = folder_.makeFile(L"match.");
  const std::wstring neighbour = folder_.makeFile(L"match");
  Rows files;
  expandFileRows({folder_ / L"mat*"}, files);
  EXPECT_THAT(files, UnorderedElementsAre(odd, neighbour));
  EXPECT_TRUE(execute(ActionKind::FileDelete, {odd}));
  EXPECT_FALSE(pathExists(odd));
  EXPECT_TRUE(pathExists(neighbour));
}

TEST_F(OddNames, ThatSomebodyWroteMeanWhatWindowsMakesOfThem) {
  const std::wstring file = folder_.makeFile(L"written");
  EXPECT_EQ(systemPathOf(folder_ / L"written."), folder_ / L"written.");
  EXPECT_TRUE(execute(ActionKind::FileDelete, {folder_ / L"written."}));
  EXPECT_FALSE(pathExists(file));
}

TEST_F(OddNames, AreNotReadIntoARowWithSlashes) {
  const std::wstring file = folder_.makeFile(L"inner\\file");
  Rows directories = {folder_.path()};
  Rows files;
  ExpandDirectories(directories, files);
  EXPECT_TRUE(execute(ActionKind::FileDelete, {folder_ / L"inner/file"}));
  EXPECT_FALSE(pathExists(file));
}
