// action_dispatcher_files_test - deleting files and directories from a work list.
#include <set>
#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/action_dispatcher.h"
#include "system/file_operations.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Items = std::vector<std::wstring>;

// Paths that the system refuses to mark or whose attributes it refuses to change. Other calls are real.
std::set<std::wstring> unmarkable, unchangeable;
struct Marked {
  std::wstring path;
  bool hasTarget;
  DWORD flags;

  bool operator==(const Marked&) const = default;
};
std::vector<Marked> marks;
struct Change {
  std::wstring path;
  DWORD attributes;

  bool operator==(const Change&) const = default;
};
std::vector<Change> changes;

class FileSystemAction : public ::testing::Test {
 protected:
  void SetUp() override {
    unmarkable.clear();
    unchangeable.clear();
    marks.clear();
    changes.clear();
    fileRebootPending = false;
  }

  bool execute(ActionKind kind, const Items& items, bool factoryReset = false) {
    return ExecuteActions(kind, items, failures, factoryReset);
  }
  static std::string line(const std::wstring& item) { return "DEBUG " + narrow(item); }

  std::wstring makeReadOnlyFile(const std::wstring& name) const {
    const std::wstring path = folder.makeFile(name);
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
    changes.clear();
    return path;
  }

  const TestFolder folder;
  CapturedLog log;
  Items failures;
};

using FileAction = FileSystemAction;
using DirectoryAction = FileSystemAction;

const wchar_t* const kNames[] = {L"With Blanks",  L"100% %PATH%", L"comma, semicolon; &", L"\u00C4\u00F6\u00FC\u00DF",
                                 L"\u6E05\u7406", L"\U0001F5D1",  L".starts with a dot"};

}  // namespace

LINK_SEAM(BOOL, MoveFileExW, (const wchar_t* path, const wchar_t* target, DWORD flags)) {
  if (flags & MOVEFILE_DELAY_UNTIL_REBOOT) {
    marks.push_back({path, target != nullptr, flags});
  }
  if (unmarkable.contains(path)) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  const BOOL moved = realFunction<decltype(&::MoveFileExW)>(L"kernel32.dll", "MoveFileExW")(path, target, flags);
  if (moved) {
    ::SetLastError(ERROR_IO_PENDING);  // a successful call may leave any last error, which is logged all the same
  }
  return moved;
}

LINK_SEAM(BOOL, SetFileAttributesW, (const wchar_t* path, DWORD attributes)) {
  changes.push_back({path, attributes});
  if (unchangeable.contains(path)) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  return realFunction<decltype(&::SetFileAttributesW)>(L"kernel32.dll", "SetFileAttributesW")(path, attributes);
}

TEST_F(FileAction, FilesAreDeleted) {
  const std::wstring first = folder.makeFile(L"first.dll");
  const std::wstring second = folder.makeFile(L"deep\\er\\second.dll");
  const std::wstring stays = folder.makeFile(L"stays.dll");
  EXPECT_TRUE(execute(ActionKind::FileDelete, {first, folder / L"missing.dll", second}));
  EXPECT_FALSE(pathExists(first));
  EXPECT_FALSE(pathExists(second));
  EXPECT_TRUE(pathExists(stays));
  EXPECT_THAT(failures, IsEmpty());
  EXPECT_FALSE(fileRebootPending);
  EXPECT_THAT(log.lines(), ElementsAre(line(first), line(folder / L"missing.dll"), line(second)));
}

TEST_F(FileAction, LockedFileIsMarkedForTheRestart) {
  const std::wstring locked = folder.makeFile(L"locked.dll");
  const FileHandle lock = lockFile(locked);
  EXPECT_TRUE(execute(ActionKind::FileDelete, {locked}));
  EXPECT_THAT(failures, IsEmpty());
  EXPECT_TRUE(fileRebootPending);
  EXPECT_THAT(pendingDeletions(), Contains(locked));
  EXPECT_THAT(log.lines(), ElementsAre(line(locked), "DEBUG FileOperation::Delete - Mark File[" + narrow(locked) +
                                                         "] as deleted until reboot, Error Code[997]"));
}

TEST_F(FileAction, LockedFileIsAFailureInAFactoryReset) {
  const std::wstring locked = folder.makeFile(L"locked.dll");
  const std::wstring free = folder.makeFile(L"free.dll");
  const FileHandle lock = lockFile(locked);
  EXPECT_FALSE(execute(ActionKind::FileDelete, {locked, free}, true));
  EXPECT_THAT(failures, ElementsAre(locked));
  EXPECT_FALSE(pathExists(free));
  EXPECT_FALSE(fileRebootPending);
  EXPECT_THAT(marks, IsEmpty());
  EXPECT_THAT(log.lines(),
              ElementsAre(line(locked),
                          "ERROR FileOperation::Delete - File[" + narrow(locked) + "] not Deleted, Error Code[32]",
                          line(free)));
}

TEST_F(FileAction, FileThatCannotBeMarkedIsAFailure) {
  const std::wstring locked = folder.makeFile(L"locked.dll");
  const FileHandle lock = lockFile(locked);
  unmarkable = {locked};
  EXPECT_FALSE(execute(ActionKind::FileDelete, {locked, folder / L"missing.dll"}))
      << "a later item does not mend the result";
  EXPECT_THAT(failures, ElementsAre(locked));
  EXPECT_FALSE(fileRebootPending);
}

TEST_F(FileAction, NamesInEveryScriptGo) {
  for (const wchar_t* name : kNames) {
    const std::wstring path = folder.makeFile(name);
    EXPECT_TRUE(execute(ActionKind::FileDelete, {path}));
    EXPECT_FALSE(pathExists(path)) << narrow(name);
  }
}

TEST_F(DirectoryAction, EmptyDirectoryIsRemoved) {
  const std::wstring directory = folder.makeDirectory(L"empty");
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {directory}));
  EXPECT_FALSE(pathExists(directory));
  EXPECT_THAT(marks, IsEmpty());
  EXPECT_THAT(changes, IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre(line(directory)));
}

TEST_F(DirectoryAction, FileIsRemovedAsWell) {
  const std::wstring file = folder.makeFile(L"file.txt");
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {file}));
  EXPECT_FALSE(pathExists(file));
  EXPECT_THAT(marks, IsEmpty());
}

TEST_F(DirectoryAction, ReadOnlyEntryGoesAtTheSecondTry) {
  const std::wstring file = makeReadOnlyFile(L"read-only.txt");
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {file}));
  EXPECT_FALSE(pathExists(file));
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].path, file);
  EXPECT_EQ(changes[0].attributes & FILE_ATTRIBUTE_READONLY, 0u);
  EXPECT_THAT(marks, IsEmpty());
}

TEST_F(DirectoryAction, NonEmptyDirectoryIsMarkedAndCountsAsDone) {
  const std::wstring file = folder.makeFile(L"full\\file.txt");
  const std::wstring directory = folder / L"full";
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {directory}));
  EXPECT_TRUE(pathExists(file)) << "only an empty directory goes";
  EXPECT_THAT(pendingDeletions(), Contains(directory));
  EXPECT_THAT(marks, ElementsAre(Marked{directory, false, MOVEFILE_DELAY_UNTIL_REBOOT}));
  EXPECT_THAT(failures, IsEmpty());
  EXPECT_FALSE(fileRebootPending) << "a marked directory asks for no restart";
  EXPECT_THAT(log.lines(), ElementsAre(line(directory)));
}

TEST_F(DirectoryAction, MissingPathIsMarkedAndCountsAsDone) {
  const std::wstring missing = folder / L"missing";
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {missing}));
  EXPECT_THAT(pendingDeletions(), Contains(missing));
  EXPECT_THAT(changes, ElementsAre(Change{missing, INVALID_FILE_ATTRIBUTES & ~DWORD{FILE_ATTRIBUTE_READONLY}}))
      << "whether the attributes could be read is not looked at";
  EXPECT_THAT(failures, IsEmpty());
}

TEST_F(DirectoryAction, EntryWhoseAttributesStayIsMarkedWithoutASecondTry) {
  const std::wstring file = makeReadOnlyFile(L"read-only.txt");
  unchangeable = {file};
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {file}));
  EXPECT_TRUE(pathExists(file));
  EXPECT_THAT(pendingDeletions(), Contains(file));
  unchangeable.clear();
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(DirectoryAction, PathThatCannotBeMarkedIsAFailure) {
  const std::wstring missing = folder / L"missing";
  unmarkable = {missing};
  EXPECT_FALSE(execute(ActionKind::DirectoryDelete, {missing}));
  EXPECT_THAT(failures, ElementsAre(missing));
  EXPECT_THAT(log.lines(), ElementsAre(line(missing)));
}

TEST_F(DirectoryAction, ResultTellsOfTheLastItemThatWasNotRemovedAtOnce) {
  const std::wstring bad = folder / L"unmarkable";
  unmarkable = {bad};
  const auto empty = [this] { return folder.makeDirectory(L"empty"); };
  const auto readOnly = [this] { return makeReadOnlyFile(L"read-only.txt"); };
  const std::wstring missing = folder / L"missing";

  EXPECT_FALSE(execute(ActionKind::DirectoryDelete, {bad, empty()})) << "an item that goes at once changes nothing";
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {bad, readOnly()})) << "the second try sets it back";
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {bad, missing})) << "the mark sets it back";
  EXPECT_FALSE(execute(ActionKind::DirectoryDelete, {readOnly(), missing, bad}));
  EXPECT_FALSE(execute(ActionKind::DirectoryDelete, {bad, missing, bad, empty()}));
  EXPECT_THAT(failures, ElementsAre(bad, bad, bad, bad, bad, bad)) << "every failure is on the list all the same";
}

TEST_F(DirectoryAction, LinkGoesAloneOrIsMarked) {
  const std::wstring behind = folder.makeFile(L"target\\file.txt");
  const std::wstring link = folder.makeDirectoryLink(L"link", folder / L"target");
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {link}));
  EXPECT_TRUE(pathExists(behind)) << "nothing behind a link is touched";
  if (pathExists(link)) {
    EXPECT_THAT(marks, ElementsAre(Marked{link, false, MOVEFILE_DELAY_UNTIL_REBOOT}));
    EXPECT_THAT(pendingDeletions(), ::testing::Contains(link)) << "what is still there waits for the next restart";
    removeDirectoryLink(link);
  } else {
    EXPECT_THAT(marks, IsEmpty());
  }
  EXPECT_THAT(failures, IsEmpty());
}

TEST_F(DirectoryAction, NamesInEveryScriptGo) {
  for (const wchar_t* name : kNames) {
    const std::wstring path = folder.makeDirectory(name);
    EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {path}));
    EXPECT_FALSE(pathExists(path)) << narrow(name);
  }
  EXPECT_THAT(marks, IsEmpty());
}

TEST_F(DirectoryAction, LongPathGoes) {
  std::wstring relative = L"long";
  while (relative.size() < 400) {
    relative += L"\\a-folder-with-a-rather-long-name";
  }
  const std::wstring path = folder.makeDirectory(relative);
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {path}));
  EXPECT_FALSE(pathExists(path));
  EXPECT_THAT(marks, IsEmpty());
}

TEST_F(DirectoryAction, ChildrenFirstEmptiesATree) {
  folder.makeDirectory(L"a\\b\\c");
  EXPECT_TRUE(execute(ActionKind::DirectoryDelete, {folder / L"a\\b\\c", folder / L"a\\b", folder / L"a"}));
  EXPECT_FALSE(pathExists(folder / L"a"));
  EXPECT_THAT(marks, IsEmpty());
}
