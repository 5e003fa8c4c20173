// tracker_variables_test - how variables and Program Files in the rows of a tracker file are expanded.

#include "manifest/tracker_manifest.h"

#include <stdlib.h>

#include <map>
#include <new>
#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "manifest/tracker_document.h"
#include "support/captured_log.h"
#include "support/link_seam.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::map<std::wstring, int> timesAsked;               // how often the environment was asked for a variable
constexpr wchar_t kChanging[] = L"TRACKER_CHANGING";  // gets another value as soon as it has been read
constexpr wchar_t kBreaking[] = L"TRACKER_BREAKING";  // memory runs out when it is read

}  // namespace

LINK_SEAM(errno_t, _wgetenv_s, (PSIZE_T characters, wchar_t* text, size_t size, const wchar_t* name)) {
  ++timesAsked[name];
  if (std::wstring(name) == kBreaking) {
    throw std::bad_alloc();
  }
  const errno_t result = realFunction<errno_t(CDECL*)(size_t*, wchar_t*, size_t, const wchar_t*)>(
      L"msvcrt.dll", "_wgetenv_s")(characters, text, size, name);
  if (std::wstring(name) == kChanging) {
    ::_wputenv_s(kChanging, L"changed");
  }
  return result;
}

namespace {

class TrackerVariables : public testing::Test {
 protected:
  TrackerVariables() { timesAsked.clear(); }

  // How rows in the section Files are expanded. Backslashes are doubled in the document.
  std::vector<std::wstring> expanded(const std::vector<std::string>& rows, const InstallManager& manager,
                                     const std::string& section = "Files") {
    std::string texts;
    for (const std::string& row : rows) {
      texts += (texts.empty() ? "\"" : ", \"") + escaped(row) + "\"";
    }
    TrackerDocument document;
    document.genericPre = "\"" + section + "\": [" + texts + "]";
    manager.writeTracker(document.text());
    data_ = {};
    performPKMTrackerParsing(data_, false);
    return section == "Directories"        ? data_.TrackerDirectories
           : section == "DirectoriesForce" ? data_.Directories
                                           : data_.Files;
  }

  static std::string escaped(const std::string& text) {
    std::string result;
    for (const char character : text) {
      result += character == '\\' ? "\\\\" : std::string(1, character);
    }
    return result;
  }

  ScrubListData data_;
};

}  // namespace

TEST_F(TrackerVariables, InstallDirIsCutAtItsLastBackslash) {
  const InstallManager closed(L"\\");
  EXPECT_THAT(expanded({R"(%InstallDir%\Example)"}, closed), ElementsAre(closed.folder() + L"\\Example"));
  const InstallManager open;
  EXPECT_THAT(expanded({R"(%InstallDir%\Example)"}, open), ElementsAre(open.base() / L"Example"));
}

TEST_F(TrackerVariables, InstallDirWithoutABackslashIsTakenWhole) {
  plantString(kInstallManagerEntry, L"InstallDir", L"PKM");
  const TestFolder folder;
  TrackerDocument document;
  document.genericPre = R"("Files": ["%InstallDir%\\x"])";
  ScrubListData data;
  PKMTrackerParser(folder.makeFile(L"tracker.json", document.text()), data, false);
  EXPECT_THAT(data.Files, ElementsAre(L"PKM\\x"));
}

TEST_F(TrackerVariables, InstallDirOfNoInstallManagerIsEmpty) {
  removeKey(kInstallManagerEntry);
  const TestFolder folder;
  TrackerDocument document;
  document.genericPre = R"("Files": ["%InstallDir%\\x"])";
  ScrubListData data;
  EXPECT_TRUE(PKMTrackerParser(folder.makeFile(L"tracker.json", document.text()), data, false));
  EXPECT_THAT(data.Files, ElementsAre(L"\\x"));
}

TEST_F(TrackerVariables, InstallDirInOtherLettersIsAnEnvironmentVariable) {
  const InstallManager manager(L"\\");
  EXPECT_THAT(expanded({R"(%installdir%\x)"}, manager), ElementsAre(L"\\x")) << "not set";
  ::_wputenv_s(L"installdir", L"D:\\environment");
  EXPECT_THAT(expanded({R"(%installdir%\x)", R"(%InstallDir%\x)", R"(%INSTALLDIR%\x)"}, manager),
              ElementsAre(L"D:\\environment\\x", manager.folder() + L"\\x", L"D:\\environment\\x"));
  ::_wputenv_s(L"installdir", L"");
}

TEST_F(TrackerVariables, SecondRowTakesTheValueFromTheCache) {
  const InstallManager manager;
  ::_wputenv_s(kChanging, L"first");
  EXPECT_THAT(expanded({R"(%TRACKER_CHANGING%\a)", R"(%TRACKER_CHANGING%\b)"}, manager),
              ElementsAre(L"first\\a", L"first\\b"));
  EXPECT_EQ(timesAsked[kChanging], 1);
  EXPECT_THAT(expanded({R"(%TRACKER_CHANGING%\a)"}, manager), ElementsAre(L"changed\\a"))
      << "the cache lives as long as one reading";
}

TEST_F(TrackerVariables, MissingVariableIsRememberedToo) {
  const InstallManager manager;
  EXPECT_THAT(expanded({R"(%TRACKER_UNSET%\a)", R"(%TRACKER_UNSET%\b)"}, manager), ElementsAre(L"\\a", L"\\b"));
  EXPECT_EQ(timesAsked[L"TRACKER_UNSET"], 1);
}

TEST_F(TrackerVariables, ValueBeyondTheBufferIsEmpty) {
  const InstallManager manager;
  const std::wstring fits(259, L'v');
  ::_wputenv_s(L"TRACKER_LONG", fits.c_str());
  EXPECT_THAT(expanded({R"(%TRACKER_LONG%\x)"}, manager), ElementsAre(fits + L"\\x"));
  ::_wputenv_s(L"TRACKER_LONG", (fits + L"v").c_str());
  EXPECT_THAT(expanded({R"(%TRACKER_LONG%\x)"}, manager), ElementsAre(L"\\x"));
}

TEST_F(TrackerVariables, TextBeforeTheVariableIsLost) {
  const InstallManager manager;
  // One extra character makes the name too long by one.
  ::_wputenv_s(L"TRACKER_NAME", L"right");
  ::_wputenv_s(L"TRACKER_NAME%", L"too long");
  EXPECT_THAT(expanded({R"(x%TRACKER_NAME%\y)", R"(%TRACKER_NAME%\y)"}, manager),
              ElementsAre(L"too long\\y", L"right\\y"));
}

TEST_F(TrackerVariables, LastPercentSignEndsTheName) {
  const InstallManager manager;
  ::_wputenv_s(L"TRACKER_A", L"a");
  EXPECT_THAT(expanded({R"(%TRACKER_A%\%TRACKER_A%\y)"}, manager), ElementsAre(L"\\y"));
}

TEST_F(TrackerVariables, ProgramFilesGetsTheSystemDrive) {
  const InstallManager manager(L"\\");
  const std::wstring programFiles = ::_wgetenv(L"ProgramFiles");
  for (const char* section : {"Files", "Directories", "DirectoriesForce"}) {
    EXPECT_THAT(expanded({R"(Program Files\ORV\x)", R"(C:\Program Files\x)", R"(Program Files (x86)\ORV\x)",
                          R"(%InstallDir%\Program Files\x)", R"(%ProgramFiles%\x)", R"(program files\x)",
                          R"(INSTALL_DIR\x)", R"(C:\ORV\x)"},
                         manager, section),
                ElementsAre(L"C:\\Program Files\\ORV\\x", L"C:\\C:\\Program Files\\x",
                            L"C:\\Program Files (x86)\\ORV\\x", L"C:\\%InstallDir%\\Program Files\\x",
                            programFiles + L"\\x", L"program files\\x", L"INSTALL_DIR\\x", L"C:\\ORV\\x"))
        << section;
  }
}

TEST_F(TrackerVariables, OtherSectionsAreTakenAsTheyStand) {
  const InstallManager manager;
  TrackerDocument document;
  const std::string rows = R"(["%InstallDir%\\x", "Program Files\\x"])";
  document.genericPre = R"("Services": )" + rows + R"(, "Process": )" + rows + R"(, "RegistryKeys": )" + rows +
                        R"(, "RegistryValues": )" + rows + R"(, "Shortcuts": )" + rows + R"(, "ScheduledTasks": )" +
                        rows;
  manager.writeTracker(document.text());
  ScrubListData data;
  performPKMTrackerParsing(data, false);
  for (const auto* list : {&data.Services, &data.Process, &data.RegistryKeys, &data.RegistryValues, &data.Shortcuts,
                           &data.ScheduledTasks}) {
    EXPECT_THAT(*list, ElementsAre(L"%InstallDir%\\x", L"Program Files\\x"));
  }
}

TEST_F(TrackerVariables, ProgramOfACommandKnowsVariablesAlone) {
  const InstallManager manager(L"\\");
  TrackerDocument document;
  document.genericPre = R"("Commands": [
      {"process": "%InstallDir%\\stop.exe", "commandLine": "%InstallDir%", "timeout": 1},
      {"process": "Program Files\\ORV\\stop.exe", "commandLine": "Program Files", "timeout": 1}])";
  manager.writeTracker(document.text());
  ScrubListData data;
  performPKMTrackerParsing(data, false);
  ASSERT_EQ(data.Commands.size(), 2u);
  EXPECT_EQ(data.Commands[0].Process, manager.folder() + L"\\stop.exe");
  EXPECT_EQ(data.Commands[0].CommandLine, L"%InstallDir%");
  EXPECT_EQ(data.Commands[1].Process, L"Program Files\\ORV\\stop.exe");
  EXPECT_EQ(data.Commands[1].CommandLine, L"Program Files");
}

TEST_F(TrackerVariables, RowThatBreaksCutsItsSectionShort) {
  const InstallManager manager;
  const CapturedLog log;
  EXPECT_THAT(expanded({"before", R"(%TRACKER_BREAKING%\x)", "behind"}, manager), ElementsAre(L"before"));
  EXPECT_THAT(log.lines(),
              ElementsAre("DEBUG  PKMTrackerParser method started ....", "ERROR PKMTrackerParser method ended ....",
                          "DEBUG performPKMTrackerParsing method ended ...."));
}

TEST_F(TrackerVariables, LonePercentSignIsNoTrouble) {
  const InstallManager manager;
  ::_wputenv_s(L"TRACKER_A", L"a");
  EXPECT_THAT(expanded({"%", "100%", "%%", "%TRACKER_A"}, manager), ElementsAre(L"", L"", L"", L"aTRACKER_A"));
}
