// manifest_extraction_test - the manifest on its way from the program's resources into the session: nobody can put
// another document in its place.

#include <gtest/gtest.h>

#include <string>

#include <windows.h>

#include "app/cleanup_session.h"
#include "support/link_seam.h"
#include "system/handles.h"

namespace {

int timesTheManifestWasThere = 0;
int timesItCouldBeSwapped = 0;

}  // namespace

// The reader asks for the folder when the manifest has been written and not been read.
LINK_SEAM(DWORD, GetTempPathW, (DWORD size, LPWSTR buffer)) {
  const DWORD length = realFunction<decltype(&::GetTempPathW)>(L"kernel32.dll", "GetTempPathW")(size, buffer);
  const std::wstring manifest = std::wstring(buffer) + L"CleanUp\\ScrubList.JSON";
  if (::GetFileAttributesW(manifest.c_str()) != INVALID_FILE_ATTRIBUTES) {
    ++timesTheManifestWasThere;
    for (const DWORD access : {GENERIC_WRITE, DELETE}) {
      const FileHandle opened(::CreateFileW(manifest.c_str(), access,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
      timesItCouldBeSwapped += opened ? 1 : 0;
    }
  }
  return length;
}

TEST(ManifestExtraction, ManifestCannotBeSwappedBetweenItsWritingAndItsReading) {
  wchar_t arguments[] = L"";
  CleanupSession session(::GetModuleHandleW(nullptr), arguments, SW_SHOWMAXIMIZED);
  session.switches.silent = true;
  ::DeleteFileW((session.tempPath + L"CleanUp\\ScrubList.JSON").c_str());
  timesTheManifestWasThere = timesItCouldBeSwapped = 0;
  session.workDirectory += L'\\';
  EXPECT_EQ(session.initializeWindow(), 1);
  EXPECT_EQ(timesTheManifestWasThere, 1);
  EXPECT_EQ(timesItCouldBeSwapped, 0);
  EXPECT_FALSE(session.scrubListData->ScheduledTasks.empty()) << "it was read";
  EXPECT_TRUE(::DeleteFileW((session.tempPath + L"CleanUp\\ScrubList.JSON").c_str())) << "it is free again";
}
