// cleanup_session_test - what the session does to the machine when it is made: the installer's windows and the progress
// value of the maker's installer.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

#include <msi.h>

#include "app/cleanup_session.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"

namespace {

constexpr wchar_t kProgressKey[] = L"SOFTWARE\\QBX Installer\\Install\\Cleanup";
constexpr wchar_t kWholeProgressKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\QBX Installer\\Install\\Cleanup";
constexpr wchar_t kProgressValue[] = L"ProgressPercentage";

struct InternalUi {
  INSTALLUILEVEL level;
  HWND* window;

  bool operator==(const InternalUi&) const = default;
};

std::vector<InternalUi> internalUis;
std::vector<REGSAM> asked;  // the rights that the progress key was opened with
HKEY progressKey = nullptr;
bool settingFails = false;
bool closingFails = false;
int closings = 0;

}  // namespace

LINK_SEAM(INSTALLUILEVEL, MsiSetInternalUI, (INSTALLUILEVEL level, HWND* window)) {
  internalUis.push_back({level, window});
  return realFunction<decltype(&::MsiSetInternalUI)>(L"msi.dll", "MsiSetInternalUI")(level, window);
}

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, LPCWSTR subkey, DWORD options, REGSAM access, PHKEY key)) {
  const LSTATUS status =
      realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(root, subkey, options, access, key);
  if (subkey && std::wstring_view(subkey) == kProgressKey) {
    asked.push_back(access);
    progressKey = status == ERROR_SUCCESS ? *key : nullptr;
  }
  return status;
}

LINK_SEAM(LSTATUS, RegSetValueExW, (HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size)) {
  return settingFails ? ERROR_ACCESS_DENIED
                      : realFunction<decltype(&::RegSetValueExW)>(L"advapi32.dll", "RegSetValueExW")(
                            key, name, reserved, type, data, size);
}

LINK_SEAM(LSTATUS, RegCloseKey, (HKEY key)) {
  const LSTATUS status = realFunction<decltype(&::RegCloseKey)>(L"advapi32.dll", "RegCloseKey")(key);
  if (key != progressKey) {
    return status;
  }
  ++closings;
  progressKey = nullptr;
  return closingFails ? ERROR_INVALID_HANDLE : status;
}

namespace {

using Lines = std::vector<std::string>;

class Session : public testing::Test {
 protected:
  Session() {
    settingFails = closingFails = false;
    removeKey(kWholeProgressKey);
    internalUis.clear();
    forget();
  }

  static void forget() {
    asked.clear();
    progressKey = nullptr;
    closings = 0;
  }

  // The lines of a session's making.
  Lines make() {
    const CapturedLog log;
    const CleanupSession session(::GetModuleHandleW(nullptr), arguments_, SW_SHOW);
    return log.lines();
  }

 private:
  wchar_t arguments_[1] = L"";
};

}  // namespace

TEST_F(Session, InstallerShowsNothingFromTheStart) {
  make();
  EXPECT_EQ(internalUis, (std::vector<InternalUi>{{INSTALLUILEVEL_NONE, nullptr}}));
  EXPECT_EQ(INSTALLUILEVEL_NONE, 2);
}

TEST_F(Session, EachFailureOfTheProgressValueHasItsLine) {
  constexpr char kSet[] = "ERROR Setting CleanUpProgressPercentage - 0";
  constexpr char kNotSet[] = "ERROR Failed Setting CleanUpProgressPercentage";
  constexpr char kNotClosed[] = "ERROR Failed closing registry key of CleanUpProgressPercentage";
  const struct {
    bool settingFails;
    bool closingFails;
    DWORD left;
    Lines lines;
  } rows[] = {
      {false, false, 0, {kSet}},
      {true, false, 73, {kNotSet}},
      {false, true, 0, {kSet, kNotClosed}},
      {true, true, 73, {kNotSet, kNotClosed}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    settingFails = false;
    plantDword(kWholeProgressKey, kProgressValue, 73);
    forget();
    settingFails = row.settingFails;
    closingFails = row.closingFails;
    EXPECT_EQ(make(), row.lines);
    EXPECT_EQ(asked, (std::vector<REGSAM>{0xF003F}));
    EXPECT_EQ(closings, 1);
    EXPECT_EQ(readDword(kWholeProgressKey, kProgressValue), std::optional<DWORD>(row.left));
  }
}

TEST_F(Session, MissingProgressKeyIsToldAndNotCreated) {
  EXPECT_EQ(make(), (Lines{"ERROR Failed Opening Registry Key of CleanUpProgressPercentage registry value"}));
  EXPECT_EQ(closings, 0);
  EXPECT_FALSE(keyExists(kWholeProgressKey));
}

TEST_F(Session, BeginsAsAnInteractiveRunThatKeepsNothing) {
  wchar_t arguments[] = L"";
  const CleanupSession session(::GetModuleHandleW(nullptr), arguments, SW_SHOWMAXIMIZED);
  EXPECT_EQ(session.showCommand, SW_SHOWMAXIMIZED);
  EXPECT_EQ(session.uiLanguage, ::GetUserDefaultUILanguage());
  EXPECT_TRUE(session.cleanupEnabled);
  EXPECT_FALSE(session.switches.silent);
  EXPECT_TRUE(session.switches.removeInstallManager);
  EXPECT_FALSE(session.switches.safeModeRequested);
  EXPECT_FALSE(session.switches.factoryReset);
  EXPECT_FALSE(session.switches.gpuExclusion.excludeGpus);
  EXPECT_FALSE(session.switches.rebootAfterRun);
  EXPECT_FALSE(session.driverSearch.savedSearchOrderConfig);
  EXPECT_FALSE(session.driverSearch.savedDontSearchWindowsUpdate);
  EXPECT_FALSE(session.quitRequested);
  EXPECT_FALSE(session.finishDialog);
  EXPECT_FALSE(session.mainWindow.accelerators);
}

TEST_F(Session, CommandLineIsReadAndEachWordLogged) {
  wchar_t arguments[] = L"reboot silent saveORV silent gpu A&B";
  CleanupSession session(::GetModuleHandleW(nullptr), arguments, SW_SHOW);
  const CapturedLog log;
  session.parseCommandLine();
  EXPECT_EQ(log.lines(),
            (Lines{"DEBUG ---------------------CleanUp will restart the machine after running--------------------",
                   "DEBUG ---------------------CleanUp will run silently--------------------",
                   "DEBUG ---------------------CleanUp will run silently--------------------",
                   "DEBUG ---------------------CleanUp is launched by instaler with GPU's to exclude"
                   "--------------------"}));
  EXPECT_TRUE(session.switches.silent);
  EXPECT_TRUE(session.switches.rebootAfterRun);
  EXPECT_FALSE(session.switches.removeInstallManager);
  EXPECT_EQ(session.switches.gpuExclusion.gpus, (std::vector<GraphicsDevice>{{L"A", L"B"}}));
}
