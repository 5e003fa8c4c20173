// row_folders_test - rows whose folder is not where they say: a link above them leads elsewhere, or the folder has been
// exchanged since it was listed. They are refused; what lies there stays.
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <windows.h>

#include <knownfolders.h>
#include <objbase.h>
#include <shtypes.h>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/directory_seams.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/action_dispatcher.h"
#include "system/depth_order.h"
#include "system/directory_walk.h"
#include "system/expand_directories.h"
#include "system/row_folders.h"
#include "system/system_links.h"
#include "system/tree_removal.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

using Rows = std::vector<std::wstring>;

bool placesUnknown = false;        // the system has no name for any open file's place
std::wstring driveStandsFor;       // what drive C: has been given to, with a backslash at its end
std::wstring users, programData;   // where Windows says that these folders are
std::wstring closedFolder;         // opening it in any way fails with ERROR_ACCESS_DENIED
int openings = 0;                  // of files and folders, in whatever way
int volumeQuestions = 0;           // about an open file or folder
std::function<void()> atDeletion;  // called once, just before the next file is deleted

}  // namespace

LINK_SEAM(DWORD, GetFinalPathNameByHandleW, (HANDLE file, LPWSTR buffer, DWORD size, DWORD flags)) {
  if (placesUnknown) {
    ::SetLastError(ERROR_PATH_NOT_FOUND);
    return 0;
  }
  wchar_t answer[1024] = L"";
  realFunction<decltype(&::GetFinalPathNameByHandleW)>(L"kernel32.dll", "GetFinalPathNameByHandleW")(
      file, answer, ARRAYSIZE(answer), flags);
  std::wstring path = answer;
  if (!driveStandsFor.empty()) {
    path.replace(0, 7, LR"(\\?\)" + driveStandsFor);
  }
  if (path.size() >= size) {
    return static_cast<DWORD>(path.size()) + 1;
  }
  path.copy(buffer, path.size());
  buffer[path.size()] = L'\0';
  return static_cast<DWORD>(path.size());
}

LINK_SEAM(HRESULT, SHGetKnownFolderPath, (REFKNOWNFOLDERID id, DWORD flags, HANDLE token, PWSTR* path)) {
  const std::wstring& folder = id == FOLDERID_UserProfiles ? users : programData;
  if (folder.empty() || (id != FOLDERID_UserProfiles && id != FOLDERID_ProgramData)) {
    using Call = HRESULT(WINAPI*)(REFKNOWNFOLDERID id, DWORD flags, HANDLE token, PWSTR * path);  // of <shlobj.h>
    return realFunction<Call>(L"shell32.dll", "SHGetKnownFolderPath")(id, flags, token, path);
  }
  *path = static_cast<PWSTR>(::CoTaskMemAlloc((folder.size() + 1) * sizeof(wchar_t)));
  folder.copy(*path, folder.size());
  (*path)[folder.size()] = L'\0';
  return S_OK;
}

LINK_SEAM(HANDLE, CreateFileW,
          (LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
           HANDLE pattern)) {
  ++openings;
  if (!closedFolder.empty() && path == LR"(\\?\)" + closedFolder) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  return realFunction<decltype(&::CreateFileW)>(L"kernel32.dll", "CreateFileW")(path, access, sharing, security,
                                                                                disposition, flags, pattern);
}

LINK_SEAM(BOOL, GetFileInformationByHandle, (HANDLE file, LPBY_HANDLE_FILE_INFORMATION answer)) {
  ++volumeQuestions;
  return realFunction<decltype(&::GetFileInformationByHandle)>(L"kernel32.dll", "GetFileInformationByHandle")(file,
                                                                                                              answer);
}

LINK_SEAM(BOOL, DeleteFileW, (LPCWSTR path)) {
  if (const std::function<void()> call = std::exchange(atDeletion, nullptr)) {
    call();
  }
  return realFunction<decltype(&::DeleteFileW)>(L"kernel32.dll", "DeleteFileW")(path);
}

namespace {

class RowFoldersTest : public ::testing::Test {
 protected:
  ~RowFoldersTest() override {
    placesUnknown = false;
    driveStandsFor.clear();
    users.clear();
    programData.clear();
    closedFolder.clear();
    atDeletion = nullptr;
    forgetDirectorySeams();
  }

  bool deleteFiles(const Rows& rows) { return ExecuteActions(ActionKind::FileDelete, rows, failures_, false); }
  bool deleteDirectories(const Rows& rows) {
    return ExecuteActions(ActionKind::DirectoryDelete, rows, failures_, false);
  }

  // What a walk lists below a directory: files, and directories without the first.
  Rows listed(const std::wstring& directory) {
    Rows directories = {directory};
    Rows files;
    ExpandDirectories(directories, files);
    files.insert(files.end(), directories.begin() + 1, directories.end());
    return files;
  }

  static std::string elsewhere(const std::wstring& row) {
    return "ERROR Row[" + narrow(row) + "] leads to another place through a link and is not carried out";
  }
  static std::string exchanged(const std::wstring& row) {
    return "ERROR Row[" + narrow(row) +
           "] lies in a folder that was exchanged since it was listed and is not carried out";
  }

  // Expects that the file goes when it is a row.
  void expectDeleted(const std::wstring& row, const std::wstring& file) {
    EXPECT_TRUE(deleteFiles({row})) << narrow(row);
    EXPECT_FALSE(pathExists(file)) << narrow(row);
  }
  // Expects that the file stays when it is a row.
  void expectRefused(const std::wstring& row, const std::wstring& file) {
    failures_.clear();
    EXPECT_FALSE(deleteFiles({row})) << narrow(row);
    EXPECT_TRUE(pathExists(file)) << narrow(row);
    EXPECT_THAT(failures_, ElementsAre(row));
    EXPECT_THAT(log_.lines(), Contains(elsewhere(row)));
  }

  TestFolder outside_;
  TestFolder folder_;
  CapturedLog log_;
  Rows failures_;
};

using LinksAbove = RowFoldersTest;
using ExchangedFolders = RowFoldersTest;
using HeldFolders = RowFoldersTest;

}  // namespace

TEST_F(LinksAbove, AFileRowKeepItFromBeingCarriedOut) {
  outside_.makeFile(L"deep\\file");
  const std::vector<std::string> before = snapshot(outside_.path());
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  const Rows rows = {link + L"\\deep\\file"};
  EXPECT_FALSE(deleteFiles(rows));
  EXPECT_EQ(snapshot(outside_.path()), before);
  EXPECT_EQ(failures_, rows);
  EXPECT_THAT(log_.lines(), ElementsAre("DEBUG " + narrow(rows[0]), elsewhere(rows[0])));
  EXPECT_THAT(pendingDeletions(), Not(Contains(rows[0])));
}

TEST_F(LinksAbove, ADirectoryRowKeepItFromBeingCarriedOut) {
  outside_.makeFile(L"deep\\full\\file");
  outside_.makeDirectory(L"deep\\empty");
  const std::vector<std::string> before = snapshot(outside_.path());
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  const Rows rows = {link + L"\\deep\\full", link + L"\\deep\\empty"};
  EXPECT_THAT(listed(rows[0]), IsEmpty());
  EXPECT_FALSE(deleteDirectories(rows));
  EXPECT_EQ(snapshot(outside_.path()), before);
  EXPECT_EQ(failures_, rows);
  EXPECT_THAT(log_.lines(), ElementsAre("DEBUG " + narrow(rows[0]), elsewhere(rows[0]), "DEBUG " + narrow(rows[1]),
                                        elsewhere(rows[1])));
  EXPECT_THAT(pendingDeletions(), Not(Contains(rows[0])));
}

TEST_F(LinksAbove, CostTheRowsBesideThemNothing) {
  const std::wstring kept = outside_.makeFile(L"file");
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  const std::wstring gone = folder_.makeFile(L"file");
  EXPECT_FALSE(deleteFiles({link + L"\\file", gone, link + L"\\missing\\file"}));
  EXPECT_FALSE(pathExists(gone));
  EXPECT_TRUE(pathExists(kept));
  EXPECT_THAT(failures_, ElementsAre(link + L"\\file"));
}

TEST_F(LinksAbove, AreNoLinksInThePlaceOfARow) {
  const std::wstring kept = outside_.makeFile(L"file");
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  EXPECT_TRUE(deleteDirectories({link}));
  EXPECT_FALSE(pathExists(link)) << "a listed folder that is a link goes as a link";
  EXPECT_TRUE(pathExists(kept));
}

TEST_F(LinksAbove, AreNotFoundInOtherSpellings) {
  const auto file = [this] { return folder_.makeFile(L"A Folder With A Long Name\\file"); };
  const std::wstring folder = folder_ / L"A Folder With A Long Name";
  for (const std::wstring& spelling :
       {folder_ / L"a folder WITH a long name", folder_ / L".\\x\\..\\A Folder With A Long Name\\", LR"(\\?\)" + folder,
        folder_.path() + L"/A Folder With A Long Name"}) {
    const std::wstring planted = file();
    expectDeleted(spelling + L"\\file", planted);
  }
  const std::wstring planted = file();
  wchar_t shortName[MAX_PATH] = L"";
  ASSERT_NE(::GetShortPathNameW(folder.c_str(), shortName, MAX_PATH), 0u);
  ASSERT_NE(shortName, folder) << "the machine has names of 8.3";
  expectDeleted(std::wstring(shortName) + L"\\file", planted);
}

TEST_F(LinksAbove, AreToldOneByOneWhereTheSystemHasNoNameForThePlace) {
  const std::wstring file = folder_.makeFile(L"a\\b\\file");
  const std::wstring kept = outside_.makeFile(L"deep\\file");
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  placesUnknown = true;
  expectDeleted(file, file);
  expectRefused(link + L"\\deep\\file", kept);
}

TEST_F(LinksAbove, AreNotWhatADriveStandsFor) {
  const std::wstring file = folder_.makeFile(L"a\\file");
  const std::wstring kept = outside_.makeFile(L"file");
  const std::wstring link = folder_.makeDirectoryLink(L"link", outside_.path());
  for (const wchar_t* place : {L"D:\\a folder\\", L"UNC\\server\\share\\"}) {
    driveStandsFor = place;
    expectDeleted(file, file);
    expectRefused(link + L"\\file", kept);
    driveStandsFor.clear();
    folder_.makeFile(L"a\\file");
  }
}

TEST_F(LinksAbove, OfTheSystemAreNone) {
  users = folder_.makeDirectory(L"Users");
  programData = folder_.makeDirectory(L"ProgramData");
  folder_.makeDirectoryLink(L"Users\\All Users", programData);
  folder_.makeDirectory(L"Users\\one\\AppData\\Local");
  folder_.makeDirectoryLink(L"Users\\one\\Local Settings", folder_ / L"Users\\one\\AppData\\Local");
  std::wstring file = folder_.makeFile(L"ProgramData\\ORV\\file");
  expectDeleted(folder_ / L"Users\\All Users\\ORV\\file", file);
  file = folder_.makeFile(L"Users\\one\\AppData\\Local\\ORV\\file");
  expectDeleted(folder_ / L"users\\one\\local settings\\ORV\\file", file);
}

TEST_F(LinksAbove, ThatHaveTheNameOfASystemsLinkAndLeadElsewhereAreLinks) {
  users = folder_.makeDirectory(L"Users");
  programData = folder_.makeDirectory(L"ProgramData");
  const std::wstring kept = outside_.makeFile(L"ORV\\file");
  folder_.makeDirectoryLink(L"Users\\All Users", outside_.path());
  folder_.makeDirectory(L"Users\\one");
  folder_.makeDirectoryLink(L"Users\\one\\Local Settings", outside_.path());
  expectRefused(folder_ / L"Users\\All Users\\ORV\\file", kept);
  expectRefused(folder_ / L"Users\\one\\Local Settings\\ORV\\file", kept);
  expectRefused(folder_ / L"Users\\one\\Local Settings\\ORV\\file", kept);
}

TEST(SystemLinks, LeadWhereWindowsHasThemLead) {
  users = L"C:\\Users";
  programData = L"C:\\ProgramData";
  const struct {
    const wchar_t *path, *place;
  } rows[] = {
      {L"C:\\Documents and Settings\\one\\X", L"C:\\Users\\one\\X"},
      {L"C:\\Documents and Settings\\All Users\\Application Data\\X", L"C:\\ProgramData\\X"},
      {L"C:\\Users\\All Users", L"C:\\ProgramData"},
      {L"C:\\users\\all users\\X", L"C:\\ProgramData\\X"},
      {L"C:\\Users\\Default User\\X", L"C:\\Users\\Default\\X"},
      {L"C:\\ProgramData\\Application Data\\Application Data\\X", L"C:\\ProgramData\\X"},
      {L"C:\\ProgramData\\Start Menu\\X", L"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\X"},
      {L"C:\\Users\\one\\Application Data\\X", L"C:\\Users\\one\\AppData\\Roaming\\X"},
      {L"C:\\Users\\one\\Local Settings\\Application Data\\X", L"C:\\Users\\one\\AppData\\Local\\X"},
      {L"C:\\Users\\one\\My Documents", L"C:\\Users\\one\\Documents"},
      {L"C:\\Users\\one\\Local Settings2\\X", L"C:\\Users\\one\\Local Settings2\\X"},
      {L"C:\\Users", L"C:\\Users"},
      {L"C:\\Users2\\one\\Local Settings\\X", L"C:\\Users2\\one\\Local Settings\\X"},
      {L"D:\\Users\\All Users\\X", L"D:\\Users\\All Users\\X"},
      {L"C:\\ORV", L"C:\\ORV"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(throughSystemLinks(row.path), row.place) << narrow(row.path);
  }
  users.clear();
  programData.clear();
}

TEST_F(ExchangedFolders, ForALinkCostNothingBehindIt) {
  outside_.makeFile(L"file");
  outside_.makeDirectory(L"empty");
  const std::vector<std::string> before = snapshot(outside_.path());
  folder_.makeFile(L"tree\\inner\\file");
  folder_.makeDirectory(L"tree\\inner\\empty");
  const Rows rows = listed(folder_ / L"tree");
  ASSERT_TRUE(::MoveFileW((folder_ / L"tree\\inner").c_str(), (folder_ / L"away").c_str()));
  folder_.makeDirectoryLink(L"tree\\inner", outside_.path());

  EXPECT_FALSE(deleteFiles({folder_ / L"tree\\inner\\file"}));
  EXPECT_FALSE(deleteDirectories({folder_ / L"tree\\inner\\empty"}));
  EXPECT_EQ(snapshot(outside_.path()), before);
  EXPECT_THAT(failures_, ElementsAre(folder_ / L"tree\\inner\\file", folder_ / L"tree\\inner\\empty"));
  EXPECT_THAT(log_.lines(), Contains(exchanged(folder_ / L"tree\\inner\\file")));
  EXPECT_THAT(log_.lines(), Contains(exchanged(folder_ / L"tree\\inner\\empty")));
}

TEST_F(ExchangedFolders, ForAnotherFolderCostNothingInIt) {
  folder_.makeFile(L"tree\\inner\\file");
  listed(folder_ / L"tree");
  ASSERT_TRUE(::MoveFileW((folder_ / L"tree\\inner").c_str(), (folder_ / L"away").c_str()));
  const std::wstring kept = folder_.makeFile(L"tree\\inner\\file");
  EXPECT_FALSE(deleteFiles({kept}));
  EXPECT_TRUE(pathExists(kept));
  EXPECT_THAT(log_.lines(), Contains(exchanged(kept)));
}

TEST_F(ExchangedFolders, BetweenListingAndEnteringAreNotEntered) {
  outside_.makeFile(L"kept\\file");
  folder_.makeFile(L"tree\\inner\\file");
  Rows visited;
  walkDirectory(folder_ / L"tree", [&](const DirectoryEntry& entry) {
    visited.push_back(entry.path);
    if (entry.path == folder_ / L"tree\\inner") {
      ASSERT_TRUE(::MoveFileW(entry.path.c_str(), (folder_ / L"away").c_str()));
      folder_.makeDirectoryLink(L"tree\\inner", outside_.path());
    }
  });
  EXPECT_THAT(visited, ElementsAre(folder_ / L"tree\\inner"));
}

TEST_F(ExchangedFolders, OfATreeThatIsBeingRemovedCostNothing) {
  outside_.makeFile(L"file");
  const std::vector<std::string> before = snapshot(outside_.path());
  folder_.makeFile(L"tree\\a\\file");
  folder_.makeFile(L"tree\\b\\file");
  // Whichever of the two is removed first, the other one is exchanged then.
  atDeletion = [this] {
    for (const wchar_t* inner : {L"tree\\a", L"tree\\b"}) {
      if (::MoveFileW((folder_ / inner).c_str(), (folder_ / L"away").c_str())) {
        folder_.makeDirectoryLink(inner, outside_.path());
        return;
      }
    }
  };
  EXPECT_THROW(removeTree(folder_ / L"tree"), std::filesystem::filesystem_error);
  EXPECT_TRUE(pathExists(folder_ / L"away\\file")) << "a folder was exchanged";
  EXPECT_EQ(snapshot(outside_.path()), before);
}

TEST_F(HeldFolders, CannotBeRenamedWhileARowGoes) {
  const std::wstring file = folder_.makeFile(L"tree\\inner\\file");
  const auto rename = [this] {
    EXPECT_FALSE(::MoveFileW((folder_ / L"tree\\inner").c_str(), (folder_ / L"away").c_str()));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  };
  atDeletion = rename;
  EXPECT_TRUE(deleteFiles({file}));
  EXPECT_FALSE(atDeletion) << "a row that somebody wrote";
  EXPECT_FALSE(pathExists(file));

  folder_.makeFile(L"tree\\inner\\file");
  listed(folder_ / L"tree");
  atDeletion = rename;
  EXPECT_TRUE(deleteFiles({file}));
  EXPECT_FALSE(atDeletion) << "a row of a walk";

  folder_.makeFile(L"tree\\inner\\file");
  atDeletion = rename;
  removeTree(folder_ / L"tree");
  EXPECT_FALSE(atDeletion) << "a tree";
  EXPECT_FALSE(pathExists(folder_ / L"tree"));
}

TEST_F(HeldFolders, ThatSomebodyHasOpenForRemovalAreWorkedOnAllTheSame) {
  const std::wstring file = folder_.makeFile(L"tree\\file");
  const FileHandle other(::CreateFileW((folder_ / L"tree").c_str(), DELETE,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  ASSERT_TRUE(other);
  EXPECT_THAT(listed(folder_ / L"tree"), ElementsAre(file));
  EXPECT_TRUE(deleteFiles({file}));
  EXPECT_FALSE(pathExists(file));
}

TEST_F(HeldFolders, ThatCannotBeOpenedKeepTheirRows) {
  const std::wstring file = folder_.makeFile(L"closed\\file");
  closedFolder = folder_ / L"closed";
  EXPECT_FALSE(deleteFiles({file}));
  EXPECT_TRUE(pathExists(file));
  EXPECT_THAT(failures_, ElementsAre(file));
  EXPECT_THAT(log_.lines(), Contains("ERROR Row[" + narrow(file) +
                                     "] lies in a folder whose place is not known, Error Code[5], and is not carried "
                                     "out"));
}

TEST_F(HeldFolders, AreOpenedOnceForAllTheirRows) {
  constexpr int kFiles = 300;
  constexpr int kFolders = 3;
  Rows rows;
  for (int i = 0; i < kFiles; ++i) {
    rows.push_back(folder_.makeFile(std::to_wstring(i % kFolders) + L"\\" + std::to_wstring(i)));
  }
  openings = 0;
  EXPECT_TRUE(deleteFiles(rows));
  constexpr int kWindowsFolder = 1;  // looked at once, for what Windows protects
  EXPECT_LE(openings, 2 * kFolders + kWindowsFolder) << "rows in turn from three folders";

  for (const std::wstring& row : rows) {
    folder_.makeFile(row.substr(folder_.path().size() + 1));
  }
  openings = 0;
  EXPECT_EQ(listed(folder_.path()).size(), static_cast<std::size_t>(kFiles + kFolders));
  EXPECT_LE(openings, 2 * (kFolders + 1));
  openings = 0;
  EXPECT_TRUE(deleteFiles(rows));
  EXPECT_LE(openings, 2 * kFolders + kWindowsFolder);
}

// Asking for the volume is the dearest question about a folder.
TEST_F(HeldFolders, OfATreeAreAskedForTheirVolumeOncePerFolderAboveThem) {
  constexpr int kFolders = 20;
  for (int i = 0; i < kFolders; ++i) {
    folder_.makeDirectory(L"tree\\above\\" + std::to_wstring(i) + L"\\below");
  }
  Rows rows = listed(folder_ / L"tree");
  ASSERT_EQ(rows.size(), static_cast<std::size_t>(2 * kFolders + 1));
  SortByDepth(rows);
  volumeQuestions = 0;
  EXPECT_TRUE(deleteDirectories(rows));
  EXPECT_FALSE(pathExists(folder_ / L"tree\\above"));
  EXPECT_LE(volumeQuestions, 3) << "of above, of tree for what lies in above, and of tree for above itself";
}

TEST_F(HeldFolders, OfDirectoryRowsInTurnAreOpenedOnce) {
  constexpr int kFolders = 3;
  constexpr int kDirectories = 30;
  Rows rows;
  for (int i = 0; i < kDirectories; ++i) {
    rows.push_back(folder_.makeDirectory(std::to_wstring(i % kFolders) + L"\\" + std::to_wstring(i)));
  }
  openings = 0;
  EXPECT_TRUE(deleteDirectories(rows));
  constexpr int kWindowsFolder = 1;
  EXPECT_LE(openings, 2 * kFolders + kWindowsFolder);
  EXPECT_FALSE(pathExists(rows.back()));
}

TEST_F(HeldFolders, AreGivenUpForARowThatMeansOneOfThem) {
  folder_.makeDirectory(L"tree\\held\\row");
  listed(folder_ / L"tree");
  // As deep as the row before it, by its spelling.
  EXPECT_TRUE(deleteDirectories({folder_ / L"tree\\held\\row", folder_ / L"tree\\\\held"}));
  EXPECT_THAT(failures_, IsEmpty());
  EXPECT_FALSE(pathExists(folder_ / L"tree\\held"));
}

TEST_F(HeldFolders, AreTheListedOnesAlsoBelowAFolderThatWasExchanged) {
  folder_.makeDirectory(L"tree\\above\\inner\\row");
  const Rows rows = listed(folder_ / L"tree");
  ASSERT_TRUE(::MoveFileW((folder_ / L"tree\\above").c_str(), (folder_ / L"away").c_str()));
  const std::wstring kept = folder_.makeDirectory(L"tree\\above\\inner\\row");
  EXPECT_FALSE(deleteDirectories({kept}));
  EXPECT_TRUE(pathExists(kept));
  EXPECT_THAT(log_.lines(), Contains(exchanged(kept)));
}
