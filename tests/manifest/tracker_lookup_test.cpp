// tracker_lookup_test - how the install manager's tracker file is found, what happens if it is missing or unreadable,
// and when the manifest's loader reads it.

#include "manifest/tracker_manifest.h"

#include <filesystem>
#include <string>
#include <vector>

#include <windows.h>

#include <boost/property_tree/exceptions.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "manifest/manifest_document.h"
#include "manifest/scrub_list.h"
#include "manifest/tracker_document.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "system/registry.h"

using boost::property_tree::ptree_bad_path;
using ::testing::ElementsAre;

namespace {

// On a test machine the system can always determine whether a file exists.
std::wstring undecided;

constexpr bool kFactoryReset = true;
constexpr char kStarted[] = "DEBUG  PKMTrackerParser method started ....";
constexpr char kParserEnded[] = "ERROR PKMTrackerParser method ended ....";
constexpr char kNotInstalled[] = "DEBUG performPKMTrackerParsing - driver not installed ....";
constexpr char kFailed[] = "ERROR PKMTracker.JSON Failed to Parse";
constexpr char kEnded[] = "DEBUG performPKMTrackerParsing method ended ....";

}  // namespace

LINK_SEAM(DWORD, GetFileAttributesW, (LPCWSTR path)) {
  if (!undecided.empty() && undecided == path) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_FILE_ATTRIBUTES;
  }
  return realFunction<decltype(&::GetFileAttributesW)>(L"kernel32.dll", "GetFileAttributesW")(path);
}

namespace {

class TrackerLookup : public testing::Test {
 protected:
  ~TrackerLookup() override { undecided.clear(); }

  InstallManager manager_;
};

}  // namespace

TEST_F(TrackerLookup, FileThatCannotBeOpenedAddsNothing) {
  manager_.writeTracker(TrackerDocument().text());
  const FileHandle lock = lockFile(manager_.trackerPath());
  const CapturedLog log;
  ScrubListData data;
  performPKMTrackerParsing(data, false);
  EXPECT_THAT(log.lines(), ElementsAre(kStarted, kFailed, kEnded));
}

TEST_F(TrackerLookup, PathBeyondOneByteACharacterCannotBeOpened) {
  const std::wstring path = manager_.base().makeFile(L"\u0150KM\\PKMTracker.JSON", TrackerDocument().text());
  ScrubListData data;
  EXPECT_FALSE(PKMTrackerParser(path, data, false));
}

TEST_F(TrackerLookup, MissingConfigFolderIsLoggedByItsName) {
  const CapturedLog log;
  ScrubListData data;
  performPKMTrackerParsing(data, false);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR Config Folder is not present: Config"));
}

TEST_F(TrackerLookup, MissingFileIsLoggedByItsName) {
  manager_.base().makeFile(L"PKM\\Config\\PKMTracker.JSON.old", TrackerDocument().text());
  const CapturedLog log;
  ScrubListData data;
  performPKMTrackerParsing(data, false);
  EXPECT_THAT(log.lines(), ElementsAre("ERROR PKMTracker file is not present: PKMTracker.JSON"));
}

TEST_F(TrackerLookup, UndecidedFolderOrFileRaisesExists) {
  manager_.writeTracker(TrackerDocument().text());
  for (const std::wstring& path : {manager_.folder() + L"\\Config", manager_.trackerPath()}) {
    undecided = path;
    ScrubListData data;
    try {
      performPKMTrackerParsing(data, false);
      ADD_FAILURE() << "nothing was raised";
    } catch (const std::filesystem::filesystem_error& failure) {
      EXPECT_THAT(failure.what(), ::testing::HasSubstr("exists"));
      EXPECT_EQ(failure.path1().wstring(), path);
    }
  }
}

TEST_F(TrackerLookup, FileIsOnlyRead) {
  manager_.writeTracker(TrackerDocument().text());
  const std::vector<std::string> before = snapshot(manager_.base().path());
  ScrubListData data;
  performPKMTrackerParsing(data, false);
  EXPECT_EQ(snapshot(manager_.base().path()), before);
}

TEST(InstallManagerEntry, MissingIsNoFailure) {
  removeKey(kInstallManagerEntry);
  const CapturedLog log;
  ScrubListData data;
  performPKMTrackerParsing(data, false);
  EXPECT_THAT(log.lines(), ElementsAre(kNotInstalled, kEnded));
  plantString(kInstallManagerEntry, L"InstallLocation", L"C:\\ORV");
  std::wstring folder = L"as it was";
  EXPECT_FALSE(getPkmInstallDir(folder));
  EXPECT_EQ(folder, L"as it was");
  removeKey(kInstallManagerEntry);
}

TEST(InstallManagerEntry, IsAtMost260BytesLong) {
  const std::wstring fits(129, L'f');
  plantString(kInstallManagerEntry, L"InstallDir", fits);
  std::wstring folder;
  EXPECT_TRUE(getPkmInstallDir(folder));
  EXPECT_EQ(folder, fits);

  plantString(kInstallManagerEntry, L"InstallDir", fits + L"g");
  EXPECT_FALSE(getPkmInstallDir(folder)) << "260 bytes and the terminator";
  EXPECT_EQ(folder, fits);
  plantString(kInstallManagerEntry, L"InstallDir", fits + L"gh");
  EXPECT_FALSE(getPkmInstallDir(folder));

  // 130 characters without the terminator fill the 260 bytes. The registry adds a zero that it finds behind a text:
  // here there is none.
  const std::wstring unterminated(131, L'u');
  const RegistryKey key =
      OpenRegistryKey(HKEY_LOCAL_MACHINE, splitRegistryPath(kInstallManagerEntry).second, KEY_WRITE);
  ASSERT_EQ(
      ::RegSetValueExW(key.get(), L"InstallDir", 0, REG_SZ, reinterpret_cast<const BYTE*>(unterminated.data()), 260),
      ERROR_SUCCESS);
  EXPECT_TRUE(getPkmInstallDir(folder));
  EXPECT_EQ(folder, std::wstring(130, L'u'));
  removeKey(kInstallManagerEntry);
}

TEST(TrackerInTheManifest, IsReadLast) {
  const TemporaryFolder temporary;
  temporary.writeManifest(kManifestDocument);
  const InstallManager manager;
  TrackerDocument document;
  document.cleanupPre = R"("Services": ["tracker service"], "DirectoriesForce": ["tracker directory"])";
  document.resetPre = R"("Services": ["reset service"])";
  manager.writeTracker(document.text());
  const CapturedLog log;
  ScrubList list;
  list.parseScrubList(false, temporary.openManifest().get());
  EXPECT_THAT(list.data().Services, ElementsAre(L"generic service 1", L"generic service 2", L"tracker service"));
  EXPECT_THAT(list.data().Directories,
              ElementsAre(L"generic directory 1", L"generic directory 2", L"tracker directory"));
  const std::vector<std::string> lines = log.lines();
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(lines[lines.size() - 4], "DEBUG Getting Drivers Data ------------- HWID's Empty-------");
  EXPECT_EQ(std::vector<std::string>(lines.end() - 3, lines.end()),
            (std::vector<std::string>{kStarted, kParserEnded, kEnded}));
  ScrubList reset;
  reset.parseScrubList(kFactoryReset, temporary.openManifest().get());
  EXPECT_THAT(reset.data().Services, ElementsAre(L"generic service 1", L"generic service 2", L"reset service"));
}

TEST(TrackerInTheManifest, MissingObjectLeavesTheLoader) {
  const TemporaryFolder temporary;
  temporary.writeManifest(kManifestDocument);
  const InstallManager manager;
  manager.writeTracker(R"({"PKMBinaries": {}})");
  ScrubList list;
  EXPECT_THROW(list.parseScrubList(false, temporary.openManifest().get()), ptree_bad_path);
}

TEST(TrackerInTheManifest, BrokenFileLetsTheLoaderGoOn) {
  const TemporaryFolder temporary;
  temporary.writeManifest(kManifestDocument);
  const InstallManager manager;
  manager.writeTracker("{");
  ScrubList list;
  EXPECT_NO_THROW(list.parseScrubList(false, temporary.openManifest().get()));
  EXPECT_THAT(list.data().Services, ElementsAre(L"generic service 1", L"generic service 2"));
}
