#include "manifest/path_expansion.h"

#include <string>
#include <vector>

#include <windows.h>

#include <shlobj.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/current_directory.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/test_registry.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

using Rows = std::vector<std::wstring>;

const std::wstring kInstallKey = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Install";

// The location of Windows and of the user's folders cannot be changed on a running machine.
const wchar_t* windowsDirectory = nullptr;
bool shellFoldersFail = false;

}  // namespace

LINK_SEAM(UINT, GetWindowsDirectoryW, (LPWSTR buffer, UINT size)) {
  if (!windowsDirectory) {
    return realFunction<decltype(&::GetWindowsDirectoryW)>(L"kernel32.dll", "GetWindowsDirectoryW")(buffer, size);
  }
  const std::wstring text = windowsDirectory;
  if (text.empty()) {
    return 0;
  }
  text.copy(buffer, size - 1);
  buffer[text.size()] = L'\0';
  return static_cast<UINT>(text.size());
}

LINK_SEAM(HRESULT, SHGetFolderPathW, (HWND window, int folder, HANDLE token, DWORD flags, LPWSTR path)) {
  if (shellFoldersFail) {
    return E_FAIL;
  }
  return realFunction<decltype(&::SHGetFolderPathW)>(L"shell32.dll", "SHGetFolderPathW")(window, folder, token, flags,
                                                                                         path);
}

namespace {

std::wstring shellFolder(int folder) {
  wchar_t path[MAX_PATH] = L"";
  EXPECT_EQ(S_OK, ::SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, path));
  return path;
}

std::wstring roaming() {
  return shellFolder(CSIDL_APPDATA);
}

std::wstring local() {
  return shellFolder(CSIDL_LOCAL_APPDATA);
}

Rows expandedFiles(const Rows& rows, Rows target = {}) {
  expandFileRows(rows, target);
  return target;
}

Rows expandedDirectories(const Rows& rows, Rows target = {}) {
  expandDirectoryRows(rows, target);
  return target;
}

class PathExpansion : public ::testing::Test {
 protected:
  PathExpansion() { forget(); }
  ~PathExpansion() override { forget(); }

  static void setInstallDir(const std::wstring& folder) { plantString(kInstallKey, L"InstallDir", folder); }

 private:
  static void forget() {
    removeKey(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems");
    windowsDirectory = nullptr;
    shellFoldersFail = false;
  }
};

using InstallDirValue = PathExpansion;
using OsRootDrive = PathExpansion;
using KnownFolder = PathExpansion;
using ExpandRows = PathExpansion;

TEST_F(InstallDirValue, MissingKeyEmptiesTheTextWithoutALine) {
  const CapturedLog log;
  std::wstring value = L"before";
  EXPECT_FALSE(getInstallDirValue(value));
  EXPECT_EQ(L"", value);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(InstallDirValue, MissingValueIsLoggedAndEmptiesTheText) {
  plantKey(kInstallKey);
  const CapturedLog log;
  std::wstring value = L"before";
  EXPECT_FALSE(getInstallDirValue(value));
  EXPECT_EQ(L"", value);
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Getting InstallDir registry value failed"));
}

TEST_F(InstallDirValue, ValueIsReadAndLogged) {
  setInstallDir(L"D:\\Apps\\ORV\\");
  const CapturedLog log;
  std::wstring value;
  EXPECT_TRUE(getInstallDirValue(value));
  EXPECT_EQ(L"D:\\Apps\\ORV\\", value);
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Getting InstallDir registry value succeeded"));
}

TEST_F(InstallDirValue, TypeOfTheValueDoesNotMatterAndNothingIsExpanded) {
  plantString(kInstallKey, L"InstallDir", L"%SystemRoot%\\ORV", REG_EXPAND_SZ);
  std::wstring value;
  EXPECT_TRUE(getInstallDirValue(value));
  EXPECT_EQ(L"%SystemRoot%\\ORV", value);

  plantBinary(kInstallKey, L"InstallDir", REG_BINARY, {'D', 0, ':', 0, '\\', 0, 'X', 0});
  EXPECT_TRUE(getInstallDirValue(value));
  EXPECT_EQ(L"D:\\X", value);
}

TEST_F(InstallDirValue, TextEndsAtTheFirstZero) {
  plantBinary(kInstallKey, L"InstallDir", REG_SZ, {'D', 0, ':', 0, 0, 0, 'X', 0, 0, 0});
  std::wstring value;
  EXPECT_TRUE(getInstallDirValue(value));
  EXPECT_EQ(L"D:", value);
}

TEST_F(InstallDirValue, LongestValueHas2048BytesWithItsZero) {
  const std::wstring longest = L"D:\\" + std::wstring(1020, L'x');
  setInstallDir(longest);
  std::wstring value;
  EXPECT_TRUE(getInstallDirValue(value));
  EXPECT_EQ(longest, value);

  setInstallDir(longest + L"x");
  const CapturedLog log;
  EXPECT_FALSE(getInstallDirValue(value));
  EXPECT_EQ(L"", value);
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Getting InstallDir registry value failed"));
}

TEST_F(OsRootDrive, IsTheDriveOfTheWindowsFolder) {
  EXPECT_EQ(L"C:\\", getOsRootDrive());
  windowsDirectory = L"D:\\WINNT\\Deep";
  EXPECT_EQ(L"D:\\", getOsRootDrive());
}

TEST_F(OsRootDrive, IsEmptyWhenWindowsDoesNotSay) {
  windowsDirectory = L"";
  EXPECT_EQ(L"", getOsRootDrive());
}

TEST_F(KnownFolder, TwoNamesInAnyCase) {
  EXPECT_EQ(roaming(), getKnownFolder(L"%APPDATA%\\ORV"));
  EXPECT_EQ(roaming(), getKnownFolder(L"%AppData%"));
  EXPECT_EQ(local(), getKnownFolder(L"%LOCALAPPDATA%\\ORV"));
  EXPECT_EQ(local(), getKnownFolder(L"%localappdata%\\ORV"));
  EXPECT_NE(roaming(), local());
}

TEST_F(KnownFolder, EveryOtherNameIsUnknown) {
  for (const wchar_t* row : {L"%SystemRoot%\\System32", L"%APPDATA \\ORV%", L"%ALLUSERSPROFILE%\\ORV", L"%%\\ORV",
                             L"%APPDATA%\\100%\\ORV"}) {
    EXPECT_EQ(L"", getKnownFolder(row)) << "the name reaches to the last per cent sign";
  }
}

TEST_F(KnownFolder, FailingShellGivesNothing) {
  shellFoldersFail = true;
  EXPECT_EQ(L"", getKnownFolder(L"%APPDATA%\\ORV"));
  EXPECT_THAT(expandedDirectories({L"%APPDATA%\\ORV"}), ElementsAre(L"\\ORV"));
}

TEST_F(ExpandRows, EveryFormWithoutAnInstallFolder) {
  struct Case {
    std::wstring row, expanded;
  };
  const Case cases[] = {
      {L"INSTALL_DIR\\a", L"C:\\Program Files\\ORV\\a"},
      {L"INSTALL_DIR\\a\\b.dll", L"C:\\Program Files\\ORV\\a\\b.dll"},
      {L"INSTALL_DIR", L"C:\\Program Files\\ORV"},
      {L"INSTALL_DIRECTORY\\x", L"C:\\Program Files\\ORV\\x"},
      {L"INSTALL_DIR32\\a", L"C:\\Program Files (x86)\\ORV\\a"},
      {L"INSTALL_DIR32", L"C:\\Program Files (x86)\\ORV"},
      {L"INSTALL_DIR320\\a", L"C:\\Program Files (x86)\\ORV\\a"},
      {L"install_dir\\x", L"C:\\install_dir\\x"},
      {L"MY_INSTALL_DIR\\x", L"C:\\MY_INSTALL_DIR\\x"},
      {L"%localappdata%\\X", local() + L"\\X"},
      {L"%LOCALAPPDATA%\\Y", local() + L"\\Y"},
      {L"%APPDATA%", roaming()},
      {L"%AppData%\\X", roaming() + L"\\X"},
      {L"%SystemRoot%\\System32\\ORV", L"\\System32\\ORV"},
      {L"%APPDATA%\\100%\\ORV", L"\\ORV"},
      {L"C:\\X\\y.log", L"C:\\X\\y.log"},
      {L"D:\\X\\y.log", L"D:\\X\\y.log"},
      {L"ORV\\y.log", L"C:\\ORV\\y.log"},
      {L"Program Files\\ORV\\a", L"C:\\Program Files\\ORV\\a"},
      {L"Program Files (x86)\\ORV\\a", L"C:\\Program Files (x86)\\ORV\\a"},
      {L"Windows\\SysWOW64\\orv.dll", L"C:\\Windows\\SysWOW64\\orv.dll"},
      {L"\\ORV\\a", L"C:\\\\ORV\\a"},
      {L"one?.log", L"C:\\one?.log"},
  };
  for (const Case& expansion : cases) {
    EXPECT_THAT(expandedFiles({expansion.row}), ElementsAre(expansion.expanded));
    EXPECT_THAT(expandedDirectories({expansion.row}), ElementsAre(expansion.expanded));
  }
}

TEST_F(ExpandRows, InstallFolderDecidesWhatBothVariablesMean) {
  struct Case {
    std::wstring installDir, row64, row32;
  };
  const std::wstring x86 = L"C:\\Program Files (x86)\\ORV\\a";
  const Case cases[] = {
      {L"C:\\Program Files\\ORV", L"C:\\Program Files\\ORV\\a", x86},
      {L"D:\\Apps\\ORV\\", L"D:\\Apps\\ORV\\\\a", x86},
      {L"C:\\Program Files\\ORV\\Deeper", L"C:\\Program Files\\ORV\\Deeper\\a", x86},
      {L"C:\\Program Files\\ORVane", L"C:\\Program Files\\ORVane\\a", x86},
      {L"c:\\apps", L"c:\\apps\\a", x86},
      // Less than the usual folder, code unit by code unit: both variables mean the same.
      {L"C:\\Program Files (x86)\\Other", L"C:\\Program Files (x86)\\Other\\a", L"C:\\Program Files (x86)\\Other\\a"},
      {L"C:\\Program Files\\OR", L"C:\\Program Files\\OR\\a", L"C:\\Program Files\\OR\\a"},
      {L"C:\\ORV", L"C:\\ORV\\a", L"C:\\ORV\\a"},
      {L"", L"\\a", L"\\a"},
      // The install manager's own folder is cut off at the last backslash, wherever its name occurs.
      {L"C:\\Program Files\\ORV\\PKM", L"C:\\Program Files\\ORV\\a", x86},
      {L"C:\\Program Files\\ORV\\PKM\\", L"C:\\Program Files\\ORV\\PKM\\a", x86},
      {L"C:\\PKMTools\\ORV", L"C:\\PKMTools\\a", L"C:\\PKMTools\\a"},
      {L"C:\\Program Files\\ORV\\pkm", L"C:\\Program Files\\ORV\\pkm\\a", x86},
  };
  for (const Case& folder : cases) {
    setInstallDir(folder.installDir);
    const Rows rows = {L"INSTALL_DIR\\a", L"INSTALL_DIR32\\a"};
    Rows expected;
    appendMissing({folder.row64, folder.row32}, expected);
    EXPECT_EQ(expected, expandedFiles(rows)) << ::testing::PrintToString(folder.installDir);
    EXPECT_EQ(expected, expandedDirectories(rows)) << ::testing::PrintToString(folder.installDir);
  }
}

TEST_F(ExpandRows, FixedFoldersIgnoreTheSystemDrive) {
  windowsDirectory = L"E:\\Windows";
  EXPECT_THAT(expandedFiles({L"INSTALL_DIR\\a", L"INSTALL_DIR32\\a", L"ORV\\a"}),
              ElementsAre(L"C:\\Program Files\\ORV\\a", L"C:\\Program Files (x86)\\ORV\\a", L"E:\\ORV\\a"));
}

TEST_F(ExpandRows, InstallFolderIsReadOnceForEachCall) {
  setInstallDir(L"D:\\First");
  const CapturedLog log;
  Rows target = expandedFiles({L"INSTALL_DIR\\a", L"INSTALL_DIR\\b"});
  setInstallDir(L"D:\\Second");
  expandDirectoryRows({L"INSTALL_DIR\\a"}, target);
  expandDirectoryRows({}, target);
  EXPECT_THAT(target, ElementsAre(L"D:\\First\\a", L"D:\\First\\b", L"D:\\Second\\a"));
  const std::string line = "DEBUG Getting InstallDir registry value succeeded";
  EXPECT_THAT(log.lines(), ElementsAre(line, line, line));
}

TEST_F(ExpandRows, EmptyRowIsSkipped) {
  EXPECT_THAT(expandedFiles({L"", L"ORV\\a", L""}), ElementsAre(L"C:\\ORV\\a"));
  EXPECT_THAT(expandedDirectories({L"", L"ORV\\a", L""}), ElementsAre(L"C:\\ORV\\a"));
}

TEST_F(ExpandRows, SameRowStaysOneAndOtherCaseMakesTwo) {
  const Rows rows = {L"ORV\\a", L"ORV\\a", L"ORV\\A", L"C:\\ORV\\a"};
  EXPECT_THAT(expandedFiles(rows, {L"C:\\before"}), ElementsAre(L"C:\\before", L"C:\\ORV\\a", L"C:\\ORV\\A"));
  EXPECT_THAT(expandedDirectories(rows, {L"C:\\ORV\\A"}), ElementsAre(L"C:\\ORV\\A", L"C:\\ORV\\a"));
}

TEST_F(ExpandRows, ListMayBeItsOwnSource) {
  Rows list = {L"ORV\\a", L"C:\\b"};
  expandFileRows(list, list);
  EXPECT_THAT(list, ElementsAre(L"ORV\\a", L"C:\\b", L"C:\\ORV\\a"));
}

TEST_F(ExpandRows, IndexedFormAppendsToTheSameList) {
  Rows list = {L"C:\\ORV\\a"};
  UniqueRows unique(list);
  expandFileRows({L"ORV\\a", L"ORV\\b"}, unique);
  expandDirectoryRows({L"ORV\\b", L"ORV\\c"}, unique);
  appendMissing({L"ORV\\c", L"C:\\ORV\\c"}, unique);
  EXPECT_THAT(list, ElementsAre(L"C:\\ORV\\a", L"C:\\ORV\\b", L"C:\\ORV\\c", L"ORV\\c"));
}

TEST_F(ExpandRows, LongRowsAreNotCut) {
  setInstallDir(L"D:\\" + std::wstring(300, L'i'));
  for (const std::size_t length : {250u, 256u, 300u, 33'000u}) {
    const std::wstring tail = L"\\" + std::wstring(length, L'x') + L".dll";
    const std::pair<std::wstring, std::wstring> rows[] = {
        {L"INSTALL_DIR" + tail, L"D:\\" + std::wstring(300, L'i') + tail},
        {L"INSTALL_DIR32" + tail, L"C:\\Program Files (x86)\\ORV" + tail},
        {L"%LOCALAPPDATA%" + tail, local() + tail},
        {L"ORV" + tail, L"C:\\ORV" + tail},
    };
    for (const auto& [row, expanded] : rows) {
      EXPECT_TRUE(expandedFiles({row}) == Rows{expanded}) << length;
      EXPECT_TRUE(expandedDirectories({row}) == Rows{expanded}) << length;
    }
  }
}

TEST_F(ExpandRows, WildcardGivesEveryEntryThatMatches) {
  const TestFolder folder;
  const std::wstring first = folder.makeFile(L"gpu-1.log");
  const std::wstring second = folder.makeFile(L"gpu-2.log");
  const std::wstring directory = folder.makeDirectory(L"gpu-3.log");
  folder.makeFile(L"gpu-1.txt");
  folder.makeFile(L"gpu-3.log\\gpu-4.log");
  const std::wstring row = folder / L"gpu-*.log";
  EXPECT_THAT(expandedFiles({row}), UnorderedElementsAre(first, second, directory));
  EXPECT_THAT(expandedFiles({row.substr(3)}), UnorderedElementsAre(first, second, directory))
      << "a row without a drive gets the system's";
}

TEST_F(ExpandRows, WildcardKeepsTheOrderOfTheFileSystemAndItsDotEntries) {
  const TestFolder folder;
  for (const wchar_t* name : {L"c", L"a", L"b", L"d.txt"}) {
    folder.makeFile(name);
  }
  Rows listed;
  WIN32_FIND_DATAW entry;
  const FindHandle find(::FindFirstFileW((folder / L"*").c_str(), &entry));
  for (bool more = static_cast<bool>(find); more; more = ::FindNextFileW(find.get(), &entry) != FALSE) {
    listed.push_back(folder / entry.cFileName);
  }
  ASSERT_THAT(listed, ::testing::IsSupersetOf({folder / L".", folder / L"..", folder / L"a", folder / L"d.txt"}));
  EXPECT_EQ(listed, expandedFiles({folder / L"*"}));
}

TEST_F(ExpandRows, WildcardSkipsWhatTheListHolds) {
  const TestFolder folder;
  const std::wstring first = folder.makeFile(L"1.log");
  const std::wstring second = folder.makeFile(L"2.log");
  EXPECT_THAT(expandedFiles({folder / L"*.log", folder / L"1*"}, {second}), ElementsAre(second, first));
}

TEST_F(ExpandRows, WildcardWithoutAMatchIsDropped) {
  const TestFolder folder;
  folder.makeFile(L"inner\\1.log");
  EXPECT_THAT(expandedFiles({folder / L"*.log", folder / L"missing\\*.log", folder / L"in*\\1.log"}), IsEmpty());
}

TEST_F(ExpandRows, WildcardBelowTheInstallFolderDropsADoubledBackslash) {
  const TestFolder folder;
  const std::wstring file = folder.makeFile(L"1.log");
  setInstallDir(folder.path() + L"\\");
  EXPECT_THAT(expandedFiles({L"INSTALL_DIR\\*.log"}), ElementsAre(file))
      << "the trailing separators go with the row's last element";
}

// Names in a drive's current directory directly follow the colon; a backslash would lead to the root.
TEST_F(ExpandRows, WildcardBehindTheColonOfADriveNamesItsCurrentDirectory) {
  const TestFolder folder;
  folder.makeFile(L"gpu-1.log");
  folder.makeFile(L"other.log");
  const CurrentDirectory current(folder.path());
  EXPECT_THAT(expandedFiles({L"C:gpu-*.log"}), ElementsAre(L"C:gpu-1.log"));
  EXPECT_THAT(expandedFiles({L"C:.\\gpu-*.log"}), ElementsAre(L"C:.\\gpu-1.log"));
}

TEST_F(ExpandRows, WildcardWithoutAnythingInFrontIsAName) {
  const TestFolder folder;
  folder.makeFile(L"gpu-1.log");
  const CurrentDirectory current(folder.path());
  windowsDirectory = L"";  // so that the row gets no drive
  EXPECT_THAT(expandedFiles({L"gpu-*.log"}), ElementsAre(L"gpu-1.log"));
}

TEST_F(ExpandRows, DirectoryRowsKnowNoWildcard) {
  const TestFolder folder;
  folder.makeDirectory(L"one");
  EXPECT_THAT(expandedDirectories({folder / L"*"}), ElementsAre(folder / L"*"));
}

}  // namespace
