// driver_search_test - the system's driver search during a run: switched off, and put back as it was.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "app/cleanup_session.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"

namespace {

bool isOldWindows = false;
bool isKeyRefused = false;

constexpr wchar_t kSetting[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\DriverSearching";
constexpr wchar_t kSearchOrder[] = L"SearchOrderConfig";
constexpr wchar_t kDontSearch[] = L"DontSearchWindowsUpdate";

using Number = std::optional<DWORD>;

}  // namespace

LINK_SEAM(BOOL, VerifyVersionInfoW, (LPOSVERSIONINFOEXW information, DWORD types, DWORDLONG condition)) {
  EXPECT_EQ(information->dwMajorVersion, 6u);
  EXPECT_EQ(information->dwMinorVersion, 1u);
  EXPECT_EQ(information->wServicePackMajor, 0u);
  EXPECT_EQ(types, static_cast<DWORD>(VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR));
  if (isOldWindows) {
    ::SetLastError(ERROR_OLD_WIN_VERSION);
    return FALSE;
  }
  return realFunction<decltype(&::VerifyVersionInfoW)>(L"kernel32.dll", "VerifyVersionInfoW")(information, types,
                                                                                              condition);
}

LINK_SEAM(LSTATUS, RegCreateKeyExW,
          (HKEY root, LPCWSTR subkey, DWORD reserved, LPWSTR keyClass, DWORD options, REGSAM access,
           const LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition)) {
  if (isKeyRefused && std::wstring(subkey).ends_with(L"DriverSearching")) {
    return ERROR_ACCESS_DENIED;
  }
  return realFunction<decltype(&::RegCreateKeyExW)>(L"advapi32.dll", "RegCreateKeyExW")(
      root, subkey, reserved, keyClass, options, access, security, key, disposition);
}

namespace {

class DriverSearch : public testing::Test {
 protected:
  DriverSearch() : session(::GetModuleHandleW(nullptr), arguments, SW_SHOW) {
    isOldWindows = false;
    isKeyRefused = false;
    removeKey(kSetting);
  }

  wchar_t arguments[1] = L"";
  CleanupSession session;
};

}  // namespace

TEST_F(DriverSearch, SettingIsSwitchedOffAndPutBack) {
  plantDword(kSetting, kSearchOrder, 3);
  const CapturedLog log;
  session.disableDriverSearch();
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(0));
  EXPECT_TRUE(session.searchOrderConfigSaved);
  EXPECT_EQ(session.savedSearchOrderConfig, 3u);
  session.restoreSystemState();
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(3));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(DriverSearch, MissingSettingChangesAndRestoresNothing) {
  session.disableDriverSearch();
  EXPECT_FALSE(session.searchOrderConfigSaved);
  EXPECT_EQ(session.savedSearchOrderConfig, 0xFFFFFFFF);
  session.restoreSystemState();
  EXPECT_FALSE(keyExists(kSetting));
}

TEST_F(DriverSearch, TextCountsAsNotFound) {
  plantString(kSetting, kSearchOrder, L"1");
  session.disableDriverSearch();
  EXPECT_FALSE(session.searchOrderConfigSaved);
  session.restoreSystemState();
  EXPECT_EQ(readString(kSetting, kSearchOrder), std::optional<std::wstring>(L"1"));
}

TEST_F(DriverSearch, LongTextDoesNotRunOverTheNumber) {
  const std::wstring longText(4000, L'x');
  plantString(kSetting, kSearchOrder, longText);
  session.disableDriverSearch();
  EXPECT_FALSE(session.searchOrderConfigSaved);
  EXPECT_EQ(readString(kSetting, kSearchOrder), std::optional<std::wstring>(longText));
}

TEST_F(DriverSearch, SearchThatIsOffAlreadyIsNotRestored) {
  plantDword(kSetting, kSearchOrder, 0);
  session.disableDriverSearch();
  EXPECT_FALSE(session.searchOrderConfigSaved);
  plantDword(kSetting, kSearchOrder, 7);  // somebody else's change
  session.restoreSystemState();
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(7));
}

TEST_F(DriverSearch, FailedWriteIsLoggedAndNothingIsKept) {
  plantDword(kSetting, kSearchOrder, 1);
  isKeyRefused = true;
  const CapturedLog log;
  session.disableDriverSearch();
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"DEBUG PrecheckSystem : Failed to set key"}));
  EXPECT_FALSE(session.searchOrderConfigSaved);
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(1));
}

TEST_F(DriverSearch, FailedRestoreIsLogged) {
  plantDword(kSetting, kSearchOrder, 1);
  session.disableDriverSearch();
  isKeyRefused = true;
  const CapturedLog log;
  session.restoreSystemState();
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"DEBUG PrecheckSystem : Failed to set key"}));
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(0));
}

TEST_F(DriverSearch, OlderWindowsHasTheOlderSettingReadAndTheNewerOneWritten) {
  isOldWindows = true;
  plantDword(kSetting, kDontSearch, 0);
  plantDword(kSetting, kSearchOrder, 3);
  session.disableDriverSearch();
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(1));
  EXPECT_EQ(readDword(kSetting, kDontSearch), Number(0));
  EXPECT_TRUE(session.dontSearchWindowsUpdateSaved);
  EXPECT_FALSE(session.searchOrderConfigSaved);
  plantDword(kSetting, kDontSearch, 5);
  session.restoreSystemState();
  EXPECT_EQ(readDword(kSetting, kDontSearch), Number(0));
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(1));
}

TEST_F(DriverSearch, OlderWindowsThatSearchesNotIsLeftAlone) {
  isOldWindows = true;
  for (const Number value : {Number(1), Number()}) {
    removeKey(kSetting);
    plantDword(kSetting, kSearchOrder, 3);
    if (value) {
      plantDword(kSetting, kDontSearch, *value);
    }
    session.disableDriverSearch();
    EXPECT_FALSE(session.dontSearchWindowsUpdateSaved);
    EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(3));
  }
}
