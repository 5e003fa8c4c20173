// windows_files_test - files that Windows protects stay, whichever list they are on, and Windows is not asked about
// files elsewhere.
#include <algorithm>
#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/action_dispatcher.h"
#include "system/expand_directories.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Where the library comes from: the machine itself, nowhere, a library without the function, or this program, which
// exports the function below.
enum class Library { Machine, Missing, WithoutFunction, Scripted };
Library library;
struct Load {
  HANDLE file;
  DWORD flags;

  bool operator==(const Load&) const = default;
};
std::vector<Load> loads;
int freed;

std::vector<std::wstring> protectedFiles;
DWORD answerForOthers;
std::vector<std::wstring> asked;
int opened;

const std::wstring kSystem = L"C:\\windows\\system32";

std::wstring shortPath(const std::wstring& path) {
  wchar_t answer[MAX_PATH] = L"";
  ::GetShortPathNameW(path.c_str(), answer, MAX_PATH);
  return answer;
}

class WindowsFilesTest : public ::testing::Test {
 protected:
  using Items = std::vector<std::wstring>;

  void SetUp() override {
    library = Library::Scripted;
    loads.clear();
    freed = 0;
    protectedFiles.clear();
    answerForOthers = ERROR_FILE_NOT_FOUND;
    asked.clear();
  }
  void TearDown() override {
    EXPECT_EQ(static_cast<std::size_t>(freed), loads.size()) << "the library was left loaded";
    for (const std::wstring& file : systemFiles_) {
      ::DeleteFileW(file.c_str());
    }
    for (auto made = systemFolders_.rbegin(); made != systemFolders_.rend(); ++made) {
      ::RemoveDirectoryW(made->c_str());
    }
  }

  std::wstring makeSystemFile(const std::wstring& relative) {
    const std::wstring path = kSystem + L"\\" + relative;
    const std::wstring folderOfPath = path.substr(0, path.rfind(L'\\'));
    if (::CreateDirectoryW(folderOfPath.c_str(), nullptr)) {
      systemFolders_.push_back(folderOfPath);
    }
    EXPECT_TRUE(::CopyFileW(folder.makeFile(L"source").c_str(), path.c_str(), TRUE)) << narrow(path);
    systemFiles_.push_back(path);
    return path;
  }

  bool deleteFiles(const Items& items, AskWindows about = AskWindows::BelowItsFolder) {
    return ExecuteActions(ActionKind::FileDelete, items, failures, false, about);
  }

  static std::string debugLine(const std::wstring& item) { return "DEBUG " + narrow(item); }
  static std::string keptLine(const std::wstring& item) {
    return "ERROR ExecuteActions - File[" + narrow(item) + "] is protected by Windows and is not deleted";
  }
  static std::string unansweredLine(const std::wstring& item, DWORD error) {
    return "ERROR ExecuteActions - File[" + narrow(item) +
           "] may be protected by Windows, which does not say, and is not deleted, Error Code[" +
           std::to_string(error) + "]";
  }

  const TestFolder folder;
  CapturedLog log;
  Items failures;

 private:
  std::vector<std::wstring> systemFiles_;
  std::vector<std::wstring> systemFolders_;
};

using FilesOfWindows = WindowsFilesTest;
using FilesElsewhere = WindowsFilesTest;
using WindowsThatDoesNotAnswer = WindowsFilesTest;

}  // namespace

// The scripted protection.
extern "C" __declspec(dllexport) BOOL WINAPI SfcIsFileProtected(HANDLE server, const wchar_t* file) {
  EXPECT_EQ(server, nullptr);
  asked.emplace_back(file);
  const bool isProtected = std::find(protectedFiles.begin(), protectedFiles.end(), file) != protectedFiles.end();
  ::SetLastError(isProtected ? ERROR_SUCCESS : answerForOthers);
  return isProtected;
}

LINK_SEAM(HMODULE, LoadLibraryExW, (const wchar_t* name, HANDLE file, DWORD flags)) {
  const auto real = realFunction<decltype(&::LoadLibraryExW)>(L"kernel32.dll", "LoadLibraryExW");
  if (std::wstring(name) != L"sfc.dll") {
    return real(name, file, flags);
  }
  if (library == Library::Missing) {
    ::SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  loads.push_back({file, flags});
  switch (library) {
    case Library::Machine:
      return real(name, file, flags);
    case Library::WithoutFunction:
      return real(L"shlwapi.dll", file, flags);
    default:
      return ::GetModuleHandleW(nullptr);
  }
}

LINK_SEAM(BOOL, FreeLibrary, (HMODULE module)) {
  ++freed;
  return module == ::GetModuleHandleW(nullptr)
             ? TRUE
             : realFunction<decltype(&::FreeLibrary)>(L"kernel32.dll", "FreeLibrary")(module);
}

LINK_SEAM(HANDLE, CreateFileW,
          (const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD disposition,
           DWORD flags, HANDLE model)) {
  ++opened;
  return realFunction<decltype(&::CreateFileW)>(L"kernel32.dll", "CreateFileW")(path, access, share, security,
                                                                                disposition, flags, model);
}

TEST_F(FilesOfWindows, StayWithOneLineAndAreFailures) {
  const std::wstring first = makeSystemFile(L"first of windows.dll");
  const std::wstring makers = makeSystemFile(L"orvtest.dll");
  const std::wstring second = makeSystemFile(L"drivers\\second of windows.sys");
  protectedFiles = {first, second};
  EXPECT_FALSE(deleteFiles({first, makers, second}));
  EXPECT_TRUE(pathExists(first));
  EXPECT_TRUE(pathExists(second));
  EXPECT_FALSE(pathExists(makers));
  EXPECT_THAT(failures, ElementsAre(first, second));
  EXPECT_THAT(log.lines(), ElementsAre(keptLine(first), debugLine(makers), keptLine(second)));
  EXPECT_THAT(asked, ElementsAre(first, makers, second)) << "each once";
  EXPECT_THAT(pendingDeletions(), IsEmpty());
}

TEST_F(FilesOfWindows, KeepTheirAttributesAndAreNotMarkedWhenInUse) {
  const std::wstring file = makeSystemFile(L"file of windows.dll");
  protectedFiles = {file};
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  {
    const FileHandle lock = lockFile(file);
    EXPECT_FALSE(deleteFiles({file}));
  }
  EXPECT_TRUE(::GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_READONLY);
  EXPECT_THAT(pendingDeletions(), IsEmpty());
  ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(FilesOfWindows, AreAskedAboutByTheirFullPathHoweverSpelled) {
  const std::wstring file = makeSystemFile(L"a file of windows.dll");
  const std::wstring link = folder.makeDirectoryLink(L"way", kSystem);
  const std::wstring alias = shortPath(file);
  ASSERT_NE(alias, file);
  protectedFiles = {file};
  const Items spellings = {file,
                           L"C:/windows/system32/a file of windows.dll",
                           L"\\\\?\\C:\\windows\\system32\\a file of windows.dll",
                           L"C:\\windows\\system32\\drivers\\..\\.\\a file of windows.dll",
                           L"C:\\windows\\\\system32\\\\a file of windows.dll",
                           L"c:\\WINDOWS\\System32\\a file of windows.dll",
                           link + L"\\a file of windows.dll",
                           alias,
                           link + alias.substr(alias.rfind(L'\\'))};
  for (const std::wstring& spelling : spellings) {
    SCOPED_TRACE(narrow(spelling));
    asked.clear();
    EXPECT_FALSE(deleteFiles({spelling}));
    EXPECT_THAT(asked, ElementsAre(file));
    EXPECT_TRUE(pathExists(file));
  }
  EXPECT_EQ(failures, spellings) << "as they stood on the list";
}

TEST_F(FilesOfWindows, StayInThePlaceOfADirectory) {
  const std::wstring file = makeSystemFile(L"file of windows.dll");
  const std::wstring makers = makeSystemFile(L"ORV\\file.dll");
  protectedFiles = {file, kSystem + L"\\ORV"};
  ::DeleteFileW(makers.c_str());
  EXPECT_FALSE(ExecuteActions(ActionKind::DirectoryDelete, {file, kSystem + L"\\ORV"}, failures, false));
  EXPECT_TRUE(pathExists(file));
  EXPECT_FALSE(pathExists(kSystem + L"\\ORV")) << "a directory is not asked about";
  EXPECT_THAT(failures, ElementsAre(file));
  EXPECT_THAT(asked, ElementsAre(file));
  EXPECT_THAT(log.lines(), ElementsAre(keptLine(file), debugLine(kSystem + L"\\ORV")));
}

TEST_F(FilesOfWindows, ThatAreMissingAreNeitherAskedAboutNorFailures) {
  protectedFiles = {kSystem + L"\\missing.dll"};
  EXPECT_TRUE(deleteFiles(protectedFiles));
  EXPECT_THAT(failures, IsEmpty());
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(FilesOfWindows, LibraryIsTheSystemsAndLoadedOnceAList) {
  const std::wstring one = makeSystemFile(L"orvtest1.dll");
  const std::wstring other = makeSystemFile(L"orvtest2.dll");
  EXPECT_TRUE(deleteFiles({one, other, makeSystemFile(L"drivers\\orvtest3.sys")}));
  EXPECT_THAT(loads, ElementsAre(Load{nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32}));
  EXPECT_THAT(asked, testing::SizeIs(3));
}

TEST_F(FilesOfWindows, MachinesOwnLibraryIsUnderstood) {
  library = Library::Machine;
  const std::wstring file = makeSystemFile(L"file of nobody.dll");
  EXPECT_TRUE(deleteFiles({file})) << "the test machine protects nothing";
  EXPECT_FALSE(pathExists(file));
  EXPECT_THAT(log.lines(), ElementsAre(debugLine(file)));
}

TEST_F(FilesElsewhere, AreNotAskedAboutAndCostOneLookAtEachFolder) {
  Items items;
  for (int number = 0; number < 500; ++number) {
    items.push_back(folder.makeFile((number % 2 ? L"one\\" : L"other\\") + std::to_wstring(number)));
  }
  protectedFiles = items;
  opened = 0;
  EXPECT_TRUE(deleteFiles(items));
  EXPECT_LT(opened, 20);
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_THAT(loads, IsEmpty());
  EXPECT_THAT(failures, IsEmpty());
  EXPECT_FALSE(pathExists(items.front()));
}

TEST_F(FilesElsewhere, OfATreeCostOneLookAtItsTop) {
  constexpr int kFolders = 100;
  Items items;
  for (int number = 0; number < kFolders; ++number) {
    items.push_back(folder.makeFile(L"tree\\" + std::to_wstring(number) + L"\\file"));
  }
  Items directories = {folder / L"tree"};
  Items files;
  ExpandDirectories(directories, files);
  opened = 0;
  EXPECT_TRUE(deleteFiles(items));
  EXPECT_LT(opened, kFolders + 10) << "each folder is opened once, to be held";
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_FALSE(pathExists(items.front()));
}

// A directory that was listed lies in its parent. What somebody has written below it may be a link.
TEST_F(FilesOfWindows, BehindALinkInAListedDirectoryAreAskedAbout) {
  const std::wstring file = makeSystemFile(L"protected.dll");
  folder.makeFile(L"tree\\file");
  folder.makeDirectoryLink(L"tree\\link", kSystem);
  Items directories = {folder / L"tree"};
  Items files;
  ExpandDirectories(directories, files);
  protectedFiles = {file};
  const std::wstring row = folder / L"tree\\link\\protected.dll";
  EXPECT_FALSE(deleteFiles({row}));
  EXPECT_THAT(asked, ElementsAre(file));
  EXPECT_THAT(failures, ElementsAre(row));
  EXPECT_TRUE(pathExists(file));
}

TEST_F(FilesElsewhere, WithANameLikeWindowsAreNotBelowIt) {
  ::CreateDirectoryW(L"C:\\windows2", nullptr);
  const std::wstring file = L"C:\\windows2\\file.dll";
  ASSERT_TRUE(::CopyFileW(folder.makeFile(L"source").c_str(), file.c_str(), TRUE));
  protectedFiles = {file};
  EXPECT_TRUE(deleteFiles({file}));
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_FALSE(pathExists(file));
  ::RemoveDirectoryW(L"C:\\windows2");
}

TEST_F(FilesElsewhere, OfADriverAreAskedAboutToo) {
  const std::wstring file = folder.makeFile(L"file of windows.dll");
  const std::wstring other = folder.makeFile(L"other.dll");
  protectedFiles = {file};
  EXPECT_FALSE(deleteFiles({file, other, folder / L"missing.dll"}, AskWindows::AboutEachFile));
  EXPECT_TRUE(pathExists(file));
  EXPECT_FALSE(pathExists(other));
  EXPECT_THAT(failures, ElementsAre(file));
  EXPECT_THAT(asked, ElementsAre(file, other));
}

TEST_F(FilesElsewhere, ThatLieInADirectoryRowAreNotAskedAbout) {
  const std::wstring file = folder.makeFile(L"file in a directory's place");
  protectedFiles = {file};
  EXPECT_TRUE(ExecuteActions(ActionKind::DirectoryDelete, {file}, failures, false));
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_FALSE(pathExists(file));
}

TEST_F(WindowsThatDoesNotAnswer, KeepsWhatDoesNotBearTheMakersLetters) {
  const struct {
    Library library;
    DWORD answer;
    DWORD error;
  } rows[] = {
      {Library::Missing, 0, ERROR_MOD_NOT_FOUND},
      {Library::WithoutFunction, 0, ERROR_PROC_NOT_FOUND},
      {Library::Scripted, ERROR_NOT_SAFEBOOT_SERVICE, ERROR_NOT_SAFEBOOT_SERVICE},
      {Library::Scripted, ERROR_CALL_NOT_IMPLEMENTED, ERROR_CALL_NOT_IMPLEMENTED},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.error);
    library = row.library;
    answerForOthers = row.answer;
    failures.clear();
    const std::wstring windows = makeSystemFile(L"portcls.test");
    const std::wstring inTheMiddle = makeSystemFile(L"storvsc.test");
    const Items makers = {makeSystemFile(L"orvtest.dll"), makeSystemFile(L"KTLtest.dll"),
                          makeSystemFile(L"ORV\\file.dll"), folder.makeFile(L"elsewhere.dll")};
    Items items = makers;
    items.push_back(windows);
    items.push_back(inTheMiddle);
    const CapturedLog lines;
    EXPECT_FALSE(deleteFiles(items));
    EXPECT_THAT(failures, ElementsAre(windows, inTheMiddle));
    EXPECT_TRUE(pathExists(windows));
    EXPECT_TRUE(pathExists(inTheMiddle));
    for (const std::wstring& file : makers) {
      EXPECT_FALSE(pathExists(file)) << narrow(file);
    }
    EXPECT_THAT(lines.lines(),
                ElementsAre(debugLine(makers[0]), debugLine(makers[1]), debugLine(makers[2]), debugLine(makers[3]),
                            unansweredLine(windows, row.error), unansweredLine(inTheMiddle, row.error)));
    ::DeleteFileW(windows.c_str());
    ::DeleteFileW(inTheMiddle.c_str());
    library = Library::Scripted;
  }
}

TEST_F(FilesOfWindows, AreNotThoseForWhichNoReasonIsGiven) {
  answerForOthers = ERROR_SUCCESS;
  const std::wstring file = makeSystemFile(L"file.test");
  EXPECT_TRUE(deleteFiles({file}));
  EXPECT_FALSE(pathExists(file));
}

TEST_F(WindowsThatDoesNotAnswer, KeepsFilesOfADriverElsewhereToo) {
  library = Library::Missing;
  const std::wstring makers = folder.makeFile(L"ORV Audio\\file.dll");
  const std::wstring others = folder.makeFile(L"Corvid\\file.dll");
  EXPECT_FALSE(deleteFiles({makers, others}, AskWindows::AboutEachFile));
  EXPECT_FALSE(pathExists(makers));
  EXPECT_TRUE(pathExists(others));
  EXPECT_THAT(failures, ElementsAre(others));
}

TEST_F(WindowsThatDoesNotAnswer, AtFirstIsAskedAgain) {
  const std::wstring file = makeSystemFile(L"file.test");
  library = Library::Missing;
  EXPECT_FALSE(deleteFiles({file}));
  library = Library::Scripted;
  EXPECT_TRUE(deleteFiles({file}));
  EXPECT_FALSE(pathExists(file));
}
