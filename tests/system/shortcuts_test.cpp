#include "system/shortcuts.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include <windows.h>

#include <shellapi.h>
#include <shlobj.h>

#include "support/captured_log.h"
#include "support/directory_seams.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/tree_removal.h"
#include "system/shortcut_removal.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// The last list that the shell was given, both terminators included, and how it was told to work.
std::wstring shellList;
SHFILEOPSTRUCTW shellOperation = {};

}  // namespace

LINK_SEAM(int, SHFileOperationW, (LPSHFILEOPSTRUCTW operation)) {
  shellOperation = *operation;
  const wchar_t* end = operation->pFrom;
  while (end[0] != L'\0' || end[1] != L'\0') {
    ++end;
  }
  shellList.assign(operation->pFrom, end + 2);
  return realFunction<decltype(&::SHFileOperationW)>(L"shell32.dll", "SHFileOperationW")(operation);
}

namespace {

std::wstring programsFolder(int csidl) {
  wchar_t path[MAX_PATH] = L"";
  ::SHGetFolderPathW(nullptr, csidl | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, path);
  return path;
}

// Both Programs folders with the neighbours that every test has to leave alone.
class Shortcuts : public testing::Test {
 protected:
  Shortcuts() : everyones_(programsFolder(CSIDL_COMMON_PROGRAMS)), own_(programsFolder(CSIDL_PROGRAMS)) {
    for (const std::wstring& programs : {everyones_, own_}) {
      plant(programs + L"\\Neighbour\\Other.lnk");
      plant(programs + L"\\Loose.lnk");
    }
    before_ = state();
  }
  ~Shortcuts() override {
    for (const std::wstring& programs : {everyones_, own_}) {
      for (const wchar_t* name : {L"\\Neighbour", L"\\Loose.lnk", L"\\ORV", L"\\Company"}) {
        removeTree(programs + name);
      }
    }
  }

  static std::wstring plant(const std::wstring& path) {
    for (std::size_t end = path.find(L'\\', 3); end != std::wstring::npos; end = path.find(L'\\', end + 1)) {
      ::CreateDirectoryW(path.substr(0, end).c_str(), nullptr);
    }
    const FileHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    EXPECT_TRUE(file);
    return path;
  }

  // Everything in both Programs folders.
  std::vector<std::string> state() const {
    std::vector<std::string> rows = snapshot(everyones_);
    const std::vector<std::string> own = snapshot(own_);
    rows.insert(rows.end(), own.begin(), own.end());
    return rows;
  }

  const std::wstring everyones_;
  const std::wstring own_;
  std::vector<std::string> before_;
};

}  // namespace

TEST_F(Shortcuts, LieInTheProgramsFoldersOfTheShell) {
  ASSERT_NE(everyones_, own_);
  std::wstring path = L"before";
  EXPECT_TRUE(GetShellFolderPath(CSIDL_COMMON_PROGRAMS, path));
  EXPECT_EQ(path, everyones_);
  EXPECT_TRUE(GetShellFolderPath(CSIDL_PROGRAMS, path));
  EXPECT_EQ(path, own_);
}

TEST_F(Shortcuts, HaveNoPathInAFolderThatTheShellDoesNotKnow) {
  std::wstring path = L"before";
  EXPECT_FALSE(GetShellFolderPath(0x7f, path));
  EXPECT_EQ(path, L"before");
}

TEST_F(Shortcuts, OfAllUsersGoWithTheirFolderAndWhateverElseLiesInIt) {
  plant(everyones_ + L"\\ORV\\Tool.lnk");
  plant(everyones_ + L"\\ORV\\Other.lnk");
  ::SetFileAttributesW(plant(everyones_ + L"\\ORV\\deeper\\read me.txt").c_str(), FILE_ATTRIBUTE_READONLY);
  const CapturedLog log;
  EXPECT_TRUE(DeleteShortcut(L"ORV\\Tool.lnk"));
  EXPECT_EQ(state(), before_);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Shortcuts, OfTheUserGoWhenAllUsersHaveNone) {
  plant(own_ + L"\\ORV\\Tool.lnk");
  EXPECT_TRUE(DeleteShortcut(L"ORV\\Tool.lnk"));
  EXPECT_EQ(state(), before_);
}

TEST_F(Shortcuts, OfTheUserStayWhenAllUsersHaveOne) {
  plant(own_ + L"\\ORV\\Tool.lnk");
  const std::vector<std::string> withOwn = state();
  plant(everyones_ + L"\\ORV\\Tool.lnk");
  EXPECT_TRUE(DeleteShortcut(L"ORV\\Tool.lnk"));
  EXPECT_EQ(state(), withOwn);
}

TEST_F(Shortcuts, ThatAreNowhereAreAFailureAndTakeNoFolder) {
  plant(everyones_ + L"\\ORV\\Other.lnk");
  plant(own_ + L"\\ORV\\Other.lnk");
  const std::vector<std::string> before = state();
  const CapturedLog log;
  EXPECT_FALSE(DeleteShortcut(L"ORV\\Tool.lnk"));
  EXPECT_EQ(shellList, own_ + L"\\ORV\\Tool.lnk" + std::wstring(2, L'\0'));
  EXPECT_EQ(state(), before);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Shortcuts, TakeTheirInnermostFolderAlone) {
  plant(everyones_ + L"\\Company\\Other\\Other.lnk");
  const std::vector<std::string> before = state();
  plant(everyones_ + L"\\Company\\Tool\\Tool.lnk");
  EXPECT_TRUE(DeleteShortcut(L"Company\\Tool\\Tool.lnk"));
  EXPECT_FALSE(pathExists(everyones_ + L"\\Company\\Tool"));
  EXPECT_THAT(state(), SizeIs(before.size()));
}

TEST_F(Shortcuts, WithOddNamesGo) {
  for (const wchar_t* name : {L"ORV\\two  blanks & %TEMP%.lnk", L"ORV\\\u00e4\u00f6\u00fc.lnk",
                              L"ORV\\\u4e2d\u6587 \U0001F600.lnk", L"ORV\\a..b.lnk"}) {
    plant(everyones_ + L"\\" + name);
    EXPECT_TRUE(DeleteShortcut(name)) << narrow(name);
    EXPECT_EQ(state(), before_);
  }
}

TEST_F(Shortcuts, GoSilentlyAndForGood) {
  plant(everyones_ + L"\\ORV\\Tool.lnk");
  EXPECT_TRUE(DeleteShortcut(L"ORV\\Tool.lnk"));
  EXPECT_EQ(shellOperation.hwnd, nullptr);
  EXPECT_EQ(shellOperation.wFunc, static_cast<UINT>(FO_DELETE));
  EXPECT_EQ(shellList, everyones_ + L"\\ORV\\Tool.lnk" + std::wstring(2, L'\0'));
  EXPECT_EQ(shellOperation.pTo, nullptr);
  EXPECT_EQ(shellOperation.fFlags, FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOCONFIRMMKDIR | FOF_NOERRORUI);
}

// Without a folder of its own below Programs the shortcut would take everybody else's along.
TEST_F(Shortcuts, ThatNameNoFolderOfTheirOwnAreRefused) {
  plant(everyones_ + L"\\ORV\\deeper\\Tool.lnk");
  plant(everyones_ + L"\\ORV\\Tool.lnk");
  before_ = state();
  for (const wchar_t* path : {
           L"Loose.lnk",
           L"",
           L"\\",
           L"\\Loose.lnk",
           L"\\\\Loose.lnk",
           L".\\Loose.lnk",
           L".\\.\\Loose.lnk",
           L"ORV\\",
           L"ORV\\..",
           L"ORV\\.",
           L"..\\Programs\\Loose.lnk",
           L"ORV\\..\\Loose.lnk",
           L"ORV\\deeper\\..\\Tool.lnk",
           L"ORV\\deeper\\..\\..\\Loose.lnk",
           L"ORV\\..\\..\\Programs\\Neighbour\\Other.lnk",
           L"ORV\\.. \\Loose.lnk",
           L"ORV\\...\\Loose.lnk",
           L"ORV/../Loose.lnk",
           L"ORV\\../Loose.lnk",
           L"ORV/..\\Loose.lnk",
           L"ORV/Tool.lnk",
           L"/ORV\\Tool.lnk",
           L"C:\\bench\\Tool.lnk",
       }) {
    SCOPED_TRACE(narrow(path));
    const CapturedLog log;
    EXPECT_FALSE(DeleteShortcut(path));
    ASSERT_EQ(state(), before_);
    EXPECT_THAT(log.lines(), ElementsAre("ERROR DeleteShortcut - Shortcut[" + narrow(path) +
                                         "] names no folder of its own, not deleted"));
  }
}

TEST_F(Shortcuts, RaiseWhenTheirFolderCannotBeRemoved) {
  plant(everyones_ + L"\\ORV\\Tool.lnk");
  {
    const FileHandle lock = lockFile(plant(everyones_ + L"\\ORV\\in use.txt"));
    try {
      DeleteShortcut(L"ORV\\Tool.lnk");
      ADD_FAILURE() << "nothing was raised";
    } catch (const std::filesystem::filesystem_error& error) {
      EXPECT_THAT(error.what(), HasSubstr("remove_all: "));
      EXPECT_EQ(error.code().value(), ERROR_SHARING_VIOLATION);
    }
  }
  EXPECT_TRUE(pathExists(everyones_ + L"\\ORV\\in use.txt"));
}

TEST_F(Shortcuts, LeaveAloneWhatALinkInTheirFolderLeadsTo) {
  const TestFolder outside;
  outside.makeFile(L"kept\\file");
  const TestFolder made;
  const std::vector<std::string> untouched = snapshot(outside.path());
  plant(everyones_ + L"\\ORV\\Tool.lnk");
  // Made elsewhere and brought along by the folder, as links can be made in a test's own folder only.
  made.makeDirectory(L"deeper");
  made.makeDirectoryLink(L"deeper\\link", outside.path());
  ASSERT_TRUE(::MoveFileW((made / L"deeper").c_str(), (everyones_ + L"\\ORV\\deeper").c_str()));
  ASSERT_TRUE(pathExists(everyones_ + L"\\ORV\\deeper\\link\\kept\\file"));
  EXPECT_TRUE(DeleteShortcut(L"ORV\\Tool.lnk"));
  EXPECT_EQ(state(), before_);
  EXPECT_EQ(snapshot(outside.path()), untouched);
}

TEST_F(Shortcuts, BehindALinkInThePlaceOfTheirFolderAreRefused) {
  const TestFolder outside;
  outside.makeFile(L"Tool.lnk");
  outside.makeFile(L"kept\\file");
  const TestFolder made;
  const std::vector<std::string> untouched = snapshot(outside.path());
  made.makeDirectory(L"Company");
  made.makeDirectoryLink(L"Company\\ORV", outside.path());
  ASSERT_TRUE(::MoveFileW((made / L"Company").c_str(), (everyones_ + L"\\Company").c_str()));
  const CapturedLog log;
  EXPECT_FALSE(DeleteShortcut(L"Company\\ORV\\Tool.lnk"));
  EXPECT_TRUE(pathExists(everyones_ + L"\\Company\\ORV"));
  EXPECT_EQ(snapshot(outside.path()), untouched);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR Row[" + narrow(everyones_) +
                                       "\\Company\\ORV\\Tool.lnk] leads to another place through a link and is "
                                       "not carried out"));
  removeTree(everyones_ + L"\\Company");  // the machine does not show a link that leads nowhere any more
}

TEST(ShellDelete, LeavesTheFolderWhenTheShellReportsAnError) {
  const TestFolder folder;
  const std::wstring other = folder.makeFile(L"product\\other.txt");
  const std::wstring locked = folder.makeFile(L"product\\locked.lnk");
  const FileHandle lock = lockFile(locked);
  EXPECT_FALSE(ShellDeleteAndRemoveFolder(folder / L"product\\missing.lnk", folder / L"product"));
  EXPECT_FALSE(ShellDeleteAndRemoveFolder(locked, folder / L"product"));
  EXPECT_TRUE(pathExists(other));
}

TEST(ShellDelete, IsContentWithAFolderThatIsNotThere) {
  const TestFolder folder;
  const std::wstring file = folder.makeFile(L"file");
  EXPECT_TRUE(ShellDeleteAndRemoveFolder(file, folder / L"missing"));
  EXPECT_FALSE(pathExists(file));
}
