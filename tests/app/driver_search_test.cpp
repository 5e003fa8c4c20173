// driver_search_test - the system's driver search during a run: switched off, and put back as it was.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

#include "app/driver_search.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"

namespace {

bool isOldWindows = false;
// Which of the passes over the setting are refused: the first one, the second one, both.
struct Refusals {
  bool first = false;
  bool second = false;
};

// Stands in for one call on the setting: counts it and says whether it is refused.
struct Passes {
  Refusals refusals;
  int calls = 0;

  bool refuseNext() {
    ++calls;
    return calls == 1 ? refusals.first : refusals.second;
  }
};

Passes openings;
Passes creations;
Passes settings;
std::vector<REGSAM> asked;  // the rights that the key was opened or created with, in order

constexpr wchar_t kSetting[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\DriverSearching";
constexpr wchar_t kSearchOrder[] = L"SearchOrderConfig";
constexpr wchar_t kDontSearch[] = L"DontSearchWindowsUpdate";

using Number = std::optional<DWORD>;
using Lines = std::vector<std::string>;

constexpr Refusals kBoth = {true, true};

bool isSetting(const wchar_t* subkey) {
  return subkey && std::wstring_view(subkey).ends_with(L"DriverSearching");
}

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

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, LPCWSTR subkey, DWORD options, REGSAM access, PHKEY key)) {
  if (isSetting(subkey)) {
    asked.push_back(access);
    if (openings.refuseNext()) {
      return ERROR_ACCESS_DENIED;
    }
  }
  return realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(root, subkey, options, access, key);
}

LINK_SEAM(LSTATUS, RegSetValueExW, (HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size)) {
  if (name && std::wstring_view(name) == kSearchOrder && settings.refuseNext()) {
    return ERROR_ACCESS_DENIED;
  }
  return realFunction<decltype(&::RegSetValueExW)>(L"advapi32.dll", "RegSetValueExW")(key, name, reserved, type, data,
                                                                                      size);
}

LINK_SEAM(LSTATUS, RegCreateKeyExW,
          (HKEY root, LPCWSTR subkey, DWORD reserved, LPWSTR keyClass, DWORD options, REGSAM access,
           const LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition)) {
  if (isSetting(subkey)) {
    asked.push_back(access);
    if (creations.refuseNext()) {
      return ERROR_ACCESS_DENIED;
    }
  }
  return realFunction<decltype(&::RegCreateKeyExW)>(L"advapi32.dll", "RegCreateKeyExW")(
      root, subkey, reserved, keyClass, options, access, security, key, disposition);
}

namespace {

class DriverSearch : public testing::Test {
 protected:
  DriverSearch() {
    isOldWindows = false;
    forget();
    removeKey(kSetting);
  }

  // Every call works, and none has been made.
  static void forget() {
    openings = creations = settings = {};
    asked.clear();
  }

  void plant(DWORD value) {
    forget();
    plantDword(kSetting, kSearchOrder, value);
    forget();
  }

  static Number searchOrder() {
    forget();
    return readDword(kSetting, kSearchOrder);
  }

  SavedDriverSearch saved;
};

}  // namespace

TEST_F(DriverSearch, SettingIsSwitchedOffAndPutBack) {
  plantDword(kSetting, kSearchOrder, 3);
  const CapturedLog log;
  saved = disableDriverSearch();
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(0));
  EXPECT_EQ(saved.savedSearchOrderConfig, Number(3));
  restoreDriverSearch(saved);
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(3));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(DriverSearch, MissingSettingChangesAndRestoresNothing) {
  saved = disableDriverSearch();
  EXPECT_EQ(saved.savedSearchOrderConfig, Number());
  EXPECT_EQ(saved.savedDontSearchWindowsUpdate, Number());
  restoreDriverSearch(saved);
  EXPECT_FALSE(keyExists(kSetting));
}

TEST_F(DriverSearch, TextCountsAsNotFound) {
  plantString(kSetting, kSearchOrder, L"1");
  saved = disableDriverSearch();
  EXPECT_EQ(saved.savedSearchOrderConfig, Number());
  restoreDriverSearch(saved);
  EXPECT_EQ(readString(kSetting, kSearchOrder), std::optional<std::wstring>(L"1"));
}

TEST_F(DriverSearch, LongTextDoesNotRunOverTheNumber) {
  const std::wstring longText(4000, L'x');
  plantString(kSetting, kSearchOrder, longText);
  saved = disableDriverSearch();
  EXPECT_EQ(saved.savedSearchOrderConfig, Number());
  EXPECT_EQ(readString(kSetting, kSearchOrder), std::optional<std::wstring>(longText));
}

TEST_F(DriverSearch, SearchThatIsOffAlreadyIsNotRestored) {
  plantDword(kSetting, kSearchOrder, 0);
  saved = disableDriverSearch();
  EXPECT_EQ(saved.savedSearchOrderConfig, Number());
  plantDword(kSetting, kSearchOrder, 7);  // somebody else's change
  restoreDriverSearch(saved);
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(7));
}

TEST_F(DriverSearch, EachPassOpensTheKeyAnewWithTheRightsThatItNeeds) {
  plant(1);
  saved = disableDriverSearch();
  EXPECT_EQ(asked, (std::vector<REGSAM>{1, 1, 0xF003F, 0xF003F}));
  EXPECT_EQ(settings.calls, 2);
  forget();
  restoreDriverSearch(saved);
  EXPECT_EQ(asked, (std::vector<REGSAM>{0xF003F, 0xF003F}));
  EXPECT_EQ(settings.calls, 2);
}

TEST_F(DriverSearch, OnePassThatWorksIsEnough) {
  const struct {
    Refusals creations;
    Refusals settings;
    bool isSwitchedOff;
  } rows[] = {
      {{true, false}, {}, true},
      {{false, true}, {}, true},
      {kBoth, {}, false},
      {{}, {true, false}, true},
      {{}, {false, true}, true},
      {{}, kBoth, false},
      {{true, false}, {true, false}, false},  // the one that gets the key is refused the value
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    plant(3);
    creations.refusals = row.creations;
    settings.refusals = row.settings;
    const CapturedLog log;
    saved = disableDriverSearch();
    EXPECT_EQ(log.lines(), row.isSwitchedOff ? Lines() : Lines{"DEBUG PrecheckSystem : Failed to set key"});
    EXPECT_EQ(saved.savedSearchOrderConfig, row.isSwitchedOff ? Number(3) : Number());
    EXPECT_EQ(searchOrder(), Number(row.isSwitchedOff ? 0 : 3));
  }
}

TEST_F(DriverSearch, OnePassThatWorksIsEnoughToRestore) {
  const struct {
    Refusals creations;
    Refusals settings;
    bool isRestored;
  } rows[] = {{{true, false}, {}, true}, {kBoth, {}, false}, {{}, {true, false}, true}, {{}, kBoth, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    plant(3);
    saved = disableDriverSearch();
    forget();
    creations.refusals = row.creations;
    settings.refusals = row.settings;
    const CapturedLog log;
    restoreDriverSearch(saved);
    EXPECT_EQ(log.lines(), row.isRestored ? Lines() : Lines{"DEBUG PrecheckSystem : Failed to set key"});
    EXPECT_EQ(searchOrder(), Number(row.isRestored ? 3 : 0));
  }
}

// The first reading learns the size and the second one reads: without either, the setting is not known.
TEST_F(DriverSearch, ReadingThatIsRefusedOnceLeavesTheSettingAlone) {
  for (const Refusals& refusals : {Refusals{true, false}, Refusals{false, true}, kBoth}) {
    plant(3);
    openings.refusals = refusals;
    saved = disableDriverSearch();
    EXPECT_EQ(openings.calls, 2);
    EXPECT_EQ(saved.savedSearchOrderConfig, Number());
    EXPECT_EQ(searchOrder(), Number(3));
  }
}

TEST_F(DriverSearch, OlderWindowsHasTheOlderSettingReadAndTheNewerOneWritten) {
  isOldWindows = true;
  plantDword(kSetting, kDontSearch, 0);
  plantDword(kSetting, kSearchOrder, 3);
  saved = disableDriverSearch();
  EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(1));
  EXPECT_EQ(readDword(kSetting, kDontSearch), Number(0));
  EXPECT_EQ(saved.savedDontSearchWindowsUpdate, Number(0));
  EXPECT_EQ(saved.savedSearchOrderConfig, Number());
  plantDword(kSetting, kDontSearch, 5);
  restoreDriverSearch(saved);
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
    saved = disableDriverSearch();
    EXPECT_EQ(saved.savedDontSearchWindowsUpdate, Number());
    EXPECT_EQ(readDword(kSetting, kSearchOrder), Number(3));
  }
}
