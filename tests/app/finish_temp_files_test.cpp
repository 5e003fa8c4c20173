// finish_temp_files_test - what the end of a run takes out of the temporary folder, and what it leaves undone when
// there is no such folder.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <windows.h>

#include "app/cleanup_session.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/system_locale.h"
#include "support/test_folder.h"
#include "system/file_operations.h"
#include "system/handles.h"

namespace {

// What Windows answers when it is asked for the temporary folder.
enum class TemporaryFolder { Real, None, TooLong };

constexpr DWORD kTooManyCharacters = 400;

TemporaryFolder temporaryFolderIs = TemporaryFolder::Real;
bool attributesAreRefused = false;
std::vector<std::wstring> launched;

}  // namespace

LINK_SEAM(DWORD, GetTempPathW, (DWORD size, LPWSTR buffer)) {
  switch (temporaryFolderIs) {
    case TemporaryFolder::None:
      return 0;
    case TemporaryFolder::TooLong:
      return kTooManyCharacters;
    default:
      return realFunction<decltype(&::GetTempPathW)>(L"kernel32.dll", "GetTempPathW")(size, buffer);
  }
}

LINK_SEAM(BOOL, SetFileAttributesW, (LPCWSTR path, DWORD attributes)) {
  if (attributesAreRefused) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  return realFunction<decltype(&::SetFileAttributesW)>(L"kernel32.dll", "SetFileAttributesW")(path, attributes);
}

LINK_SEAM(int, MessageBoxW, (HWND, LPCWSTR, LPCWSTR, UINT)) {
  return IDNO;  // no restart at the end
}

LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR directory,
           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process)) {
  launched.push_back(commandLine);
  std::wstring command = L"cmd.exe /C exit 1";
  return realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, command.data(), processSecurity, threadSecurity, inherit, flags, environment, directory, startup,
      process);
}

namespace {

constexpr char kDriverFilesHeader[] = "DEBUG -----------Failed Deletion of Driver Files ---------------";
constexpr char kRestartLine[] = "DEBUG Reboot is required to finish cleanup.";
constexpr wchar_t kOldFiles[][14] = {L"PKMCONFIG.XML", L"Cleanup.dll"};
constexpr TemporaryFolder kWithoutAFolder[] = {TemporaryFolder::None, TemporaryFolder::TooLong};

std::wstring tempFolder() {
  wchar_t temp[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, temp);
  return temp;
}

void writeFile(const std::wstring& path) {
  const FileHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  ASSERT_TRUE(static_cast<bool>(file)) << ::GetLastError();
}

// A folder that a program without a temporary folder could take for one: it holds all that the end of a run deletes.
class CurrentFolder {
 public:
  CurrentFolder() {
    ::GetCurrentDirectoryW(MAX_PATH, former_);
    for (const wchar_t* name : kOldFiles) {
      folder_.makeFile(name);
    }
    folder_.makeFile(L"CleanUp\\ScrubList.JSON");
    before_ = snapshot(folder_.path());
    ::SetCurrentDirectoryW(folder_.path().c_str());
  }
  ~CurrentFolder() { ::SetCurrentDirectoryW(former_); }
  CurrentFolder(const CurrentFolder&) = delete;
  CurrentFolder& operator=(const CurrentFolder&) = delete;

  bool isUntouched() const { return snapshot(folder_.path()) == before_; }

 private:
  wchar_t former_[MAX_PATH] = {};
  TestFolder folder_;
  std::vector<std::string> before_;
};

class FinishTempFiles : public testing::Test {
 protected:
  FinishTempFiles() : session(::GetModuleHandleW(nullptr), arguments, SW_SHOW) {
    session.switches.silent = true;
    temporaryFolderIs = TemporaryFolder::Real;
    attributesAreRefused = false;
    launched.clear();
    session.quitRequested = false;
    session.switches.rebootAfterRun = false;
    fileRebootPending = false;
    ::DeleteFileW(report.c_str());
  }

  void TearDown() override {
    temporaryFolderIs = TemporaryFolder::Real;
    attributesAreRefused = false;
    ::SetFileAttributesW(manifest.c_str(), FILE_ATTRIBUTE_NORMAL);
    ::DeleteFileW(manifest.c_str());
    // No quit message is left for the next test.
    MSG message = {};
    ::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);
  }

  std::vector<std::string> finish() {
    const CapturedLog log;
    session.finishRun();
    return log.lines();
  }

  const std::wstring manifest = tempFolder() + L"CleanUp\\ScrubList.JSON";
  const std::wstring report = tempFolder() + L"CleanUp\\report.xml";
  wchar_t arguments[1] = L"";
  CleanupSession session;
};

}  // namespace

TEST_F(FinishTempFiles, ExtractedManifestIsDeletedAlsoWhenItIsReadOnly) {
  for (const DWORD attributes : {FILE_ATTRIBUTE_NORMAL, FILE_ATTRIBUTE_READONLY}) {
    writeFile(manifest);
    ASSERT_TRUE(::SetFileAttributesW(manifest.c_str(), attributes));
    finish();
    EXPECT_FALSE(pathExists(manifest)) << attributes;
  }
}

TEST_F(FinishTempFiles, ExtractedManifestInUseIsMarkedForTheNextRestart) {
  writeFile(manifest);
  {
    const FileHandle lock = lockFile(manifest);
    EXPECT_EQ(finish(), (std::vector<std::string>{kDriverFilesHeader}));
  }
  const std::vector<std::wstring> pending = pendingDeletions();
  EXPECT_EQ(std::count(pending.begin(), pending.end(), manifest), 1);
  EXPECT_FALSE(fileRebootPending);
}

TEST_F(FinishTempFiles, ExtractedManifestThatStaysReadOnlyIsNotMarkedForTheNextRestart) {
  const std::vector<std::wstring> pending = pendingDeletions();
  writeFile(manifest);
  ASSERT_TRUE(::SetFileAttributesW(manifest.c_str(), FILE_ATTRIBUTE_READONLY));
  attributesAreRefused = true;
  EXPECT_EQ(finish(), (std::vector<std::string>{kDriverFilesHeader}));
  EXPECT_TRUE(pathExists(manifest));
  EXPECT_EQ(pendingDeletions(), pending);
}

TEST_F(FinishTempFiles, WithoutATempFolderTheRestOfTheEndIsDoneAllTheSame) {
  for (const TemporaryFolder answer : kWithoutAFolder) {
    SCOPED_TRACE(static_cast<int>(answer));
    const CurrentFolder current;
    writeFile(manifest);
    launched.clear();
    session.quitRequested = false;
    temporaryFolderIs = answer;
    fileRebootPending = true;
    session.results.removedDrivers.resize(2);
    EXPECT_EQ(finish(), (std::vector<std::string>{kDriverFilesHeader, kRestartLine}));
    temporaryFolderIs = TemporaryFolder::Real;
    EXPECT_TRUE(pathExists(manifest));
    EXPECT_FALSE(pathExists(report));
    EXPECT_TRUE(current.isUntouched());
    EXPECT_EQ(session.results.removedDrivers.size(), 2u);
    ASSERT_EQ(launched.size(), 1u);
    EXPECT_TRUE(launched[0].ends_with(L"/C \"bcdedit /deletevalue {current} safeboot\"")) << launched[0].size();
    EXPECT_TRUE(session.quitRequested);
  }
}

TEST_F(FinishTempFiles, OnFinishDeletesTheTwoOldFilesFromTheTempFolder) {
  for (const wchar_t* name : kOldFiles) {
    writeFile(tempFolder() + name);
  }
  const std::wstring neighbour = tempFolder() + L"Cleanup.dl";
  writeFile(neighbour);
  session.onFinish(nullptr);
  for (const wchar_t* name : kOldFiles) {
    EXPECT_FALSE(pathExists(tempFolder() + name));
  }
  EXPECT_TRUE(pathExists(neighbour));
  ::DeleteFileW(neighbour.c_str());
}

TEST_F(FinishTempFiles, WithoutATempFolderOnFinishDeletesNothingAndGoesOn) {
  for (const TemporaryFolder answer : kWithoutAFolder) {
    SCOPED_TRACE(static_cast<int>(answer));
    const CurrentFolder current;
    temporaryFolderIs = answer;
    session.onFinish(nullptr);
    temporaryFolderIs = TemporaryFolder::Real;
    EXPECT_TRUE(current.isUntouched());
    MSG message = {};
    EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
  }
}
