// tracker_manifest_test - which rows and commands a tracker file adds, in which order, and what a missing, broken or
// incomplete one causes. Variables in the rows: tracker_variables_test. How the file is found: tracker_lookup_test.

#include "manifest/tracker_manifest.h"

#include <string>
#include <tuple>
#include <vector>

#include <boost/property_tree/exceptions.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "manifest/manifest_document.h"
#include "manifest/tracker_document.h"
#include "support/captured_log.h"

using boost::property_tree::ptree_bad_path;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr bool kFactoryReset = true;
constexpr char kStarted[] = "DEBUG  PKMTrackerParser method started ....";
constexpr char kParserEnded[] = "ERROR PKMTrackerParser method ended ....";
constexpr char kFailed[] = "ERROR PKMTracker.JSON Failed to Parse";
constexpr char kEnded[] = "DEBUG performPKMTrackerParsing method ended ....";

}  // namespace

static bool operator==(const TrackerCommand& one, const TrackerCommand& other) {
  return std::tie(one.Process, one.CommandLine, one.Timeout) ==
         std::tie(other.Process, other.CommandLine, other.Timeout);
}

namespace {

TrackerCommand command(const std::wstring& process, const std::wstring& commandLine = L"-q",
                       std::int32_t timeout = 60) {
  return {timeout, commandLine, process};
}

std::string commandText(const std::string& process) {
  return R"({"process": ")" + process + R"(", "commandLine": "-q", "timeout": "60"})";
}

class TrackerManifest : public testing::Test {
 protected:
  // What the product adds for a document, starting from the registry.
  ScrubListData read(const std::string& document, bool factoryReset = false) {
    manager_.writeTracker(document);
    const CapturedLog log;
    ScrubListData data;
    performPKMTrackerParsing(data, factoryReset);
    lines_ = log.lines();
    return data;
  }

  // The text of the ptree_bad_path thrown by the reader.
  std::string badPathOf(const std::string& document, bool factoryReset = false) {
    try {
      read(document, factoryReset);
      return "nothing was raised";
    } catch (const ptree_bad_path& failure) {
      return failure.what();
    }
  }

  InstallManager manager_;
  std::vector<std::string> lines_;
};

// Every list that may receive rows, so that a row on a wrong list is detected.
std::vector<std::pair<std::string, std::vector<std::wstring>>> filledLists(const ScrubListData& data) {
  const std::vector<std::pair<std::string, std::vector<std::wstring>>> all = {
      {"ScheduledTasks", data.ScheduledTasks},
      {"Services", data.Services},
      {"Files", data.Files},
      {"RegistryKeys", data.RegistryKeys},
      {"RegistryKeysEmpty", data.RegistryKeysEmpty},
      {"RegistryValues", data.RegistryValues},
      {"Process", data.Process},
      {"Directories", data.Directories},
      {"TrackerDirectories", data.TrackerDirectories},
      {"Shortcuts", data.Shortcuts},
      {"ExcludedFiles", data.ExcludedFiles},
      {"ExcludedDirectories", data.ExcludedDirectories},
  };
  std::vector<std::pair<std::string, std::vector<std::wstring>>> filled;
  for (const auto& list : all) {
    if (!list.second.empty()) {
      filled.push_back(list);
    }
  }
  return filled;
}

}  // namespace

TEST_F(TrackerManifest, EachSectionFillsItsListInEachObject) {
  struct Row {
    std::string section;
    std::string list;
  };
  const Row rows[] = {
      {"Services", "Services"},
      {"Process", "Process"},
      {"Files", "Files"},
      {"RegistryKeys", "RegistryKeys"},
      {"RegistryValues", "RegistryValues"},
      {"Shortcuts", "Shortcuts"},
      {"ScheduledTasks", "ScheduledTasks"},
      {"DirectoriesForce", "Directories"},
      {"Directories", "TrackerDirectories"},
  };
  for (const Row& row : rows) {
    for (const auto object : {&TrackerDocument::genericPre, &TrackerDocument::genericPost, &TrackerDocument::cleanupPre,
                              &TrackerDocument::cleanupPost, &TrackerDocument::resetPre, &TrackerDocument::resetPost}) {
      TrackerDocument document;
      document.*object = "\"" + row.section + R"(": ["first", "second", "first"])";
      const bool factoryReset = object == &TrackerDocument::resetPre || object == &TrackerDocument::resetPost;
      EXPECT_THAT(filledLists(read(document.text(), factoryReset)),
                  ElementsAre(std::pair(row.list, std::vector<std::wstring>{L"first", L"second", L"first"})))
          << row.section;
    }
  }
}

TEST_F(TrackerManifest, OrdinaryReadingIsLogged) {
  read(TrackerDocument().text());
  EXPECT_THAT(lines_, ElementsAre(kStarted, kParserEnded, kEnded));
}

TEST_F(TrackerManifest, SectionKeysAreComparedWithCase) {
  TrackerDocument document;
  document.genericPre = R"("services": ["a"], "FILES": ["b"], "commands": [)" + commandText("c.exe") + "]";
  const ScrubListData data = read(document.text());
  EXPECT_THAT(filledLists(data), IsEmpty());
  EXPECT_THAT(data.Commands, IsEmpty());
}

TEST_F(TrackerManifest, UnknownSectionIsPassedOverWithoutALine) {
  TrackerDocument document;
  document.genericPre = R"("Drivers": ["a"], "RegistryKeysEmpty": ["b"], "Services": ["c"])";
  EXPECT_THAT(filledLists(read(document.text())),
              ElementsAre(std::pair(std::string("Services"), std::vector<std::wstring>{L"c"})));
  EXPECT_THAT(lines_, ElementsAre(kStarted, kParserEnded, kEnded));
}

TEST_F(TrackerManifest, CommandsStandInTheOrderOfReading) {
  TrackerDocument document;
  document.cleanupPost = R"("Commands": [)" + commandText("6.exe") + "]";
  document.cleanupPre = R"("Commands": [)" + commandText("5.exe") + "]";
  document.resetPost = R"("Commands": [)" + commandText("8.exe") + "]";
  document.resetPre = R"("Commands": [)" + commandText("7.exe") + "]";
  document.genericPost = R"("Commands": [)" + commandText("4.exe") + "]";
  document.genericPre = R"("Services": ["s"], "Commands": [)" + commandText("1.exe") + ", " + commandText("2.exe") +
                        ", " + commandText("3.exe") + "]";
  EXPECT_THAT(read(document.text()).Commands, ElementsAre(command(L"1.exe"), command(L"2.exe"), command(L"3.exe"),
                                                          command(L"4.exe"), command(L"5.exe"), command(L"6.exe")));
  EXPECT_THAT(read(document.text(), kFactoryReset).Commands,
              ElementsAre(command(L"1.exe"), command(L"2.exe"), command(L"3.exe"), command(L"4.exe"), command(L"7.exe"),
                          command(L"8.exe")));
}

TEST_F(TrackerManifest, TimeoutIsANumberOrItsText) {
  TrackerDocument document;
  document.genericPre = R"("Commands": [
      {"process": "a", "commandLine": "-x \"two words\" %InstallDir%", "timeout": "60"},
      {"timeout": 5, "process": "b", "commandLine": "", "unknown": 1},
      {"process": "c", "commandLine": "", "timeout": "-1"}])";
  EXPECT_THAT(read(document.text()).Commands, ElementsAre(command(L"a", L"-x \"two words\" %InstallDir%", 60),
                                                          command(L"b", L"", 5), command(L"c", L"", -1)));
}

TEST_F(TrackerManifest, BadCommandEndsItsArrayWithALine) {
  const std::string badCommands[] = {
      R"({"commandLine": "", "timeout": "1"})",
      R"({"process": "x", "timeout": "1"})",
      R"({"process": "x", "commandLine": ""})",
      R"({"process": "x", "commandLine": "", "timeout": "soon"})",
      R"({"process": "x", "commandLine": "", "timeout": "60s"})",
      R"({"process": "x", "commandLine": "", "timeout": 1.5})",
      R"({"process": "x", "commandLine": "", "timeout": ""})",
      R"({"process": "x", "commandLine": "", "timeout": 2147483648})",
      R"({"Process": "x", "commandLine": "", "timeout": "1"})",
      R"("just a text")",
  };
  for (const std::string& bad : badCommands) {
    TrackerDocument document;
    document.genericPre = R"("Commands": [)" + commandText("before.exe") + ", " + bad + ", " +
                          commandText("behind.exe") + R"(], "Services": ["s"])";
    document.genericPost = R"("Commands": [)" + commandText("other.exe") + "]";
    const ScrubListData data = read(document.text());
    EXPECT_THAT(data.Commands, ElementsAre(command(L"before.exe"), command(L"other.exe"))) << bad;
    EXPECT_THAT(data.Services, ElementsAre(L"s")) << bad;
    EXPECT_THAT(lines_,
                ElementsAre(kStarted,
                            "DEBUG  PKMTrackerParser method -> PKMBinaries.Generic.PreOperations.Commands Element not "
                            "found",
                            kParserEnded, kEnded))
        << bad;
  }
}

TEST_F(TrackerManifest, SectionWithoutRowsAddsNone) {
  TrackerDocument document;
  document.genericPre = R"("Services": "text", "Files": [], "Process": {}, "Commands": "text")";
  const ScrubListData data = read(document.text());
  EXPECT_THAT(filledLists(data), IsEmpty());
  EXPECT_THAT(data.Commands, IsEmpty());
  EXPECT_THAT(lines_, ElementsAre(kStarted, kParserEnded, kEnded));
}

TEST_F(TrackerManifest, FactoryResetTakesItsOwnObjectsAlone) {
  TrackerDocument document;
  document.genericPre = R"("Services": ["generic"])";
  document.resetPre = R"("Services": ["reset pre"])";
  document.resetPost = R"("Services": ["reset post"])";
  document.cleanupPre = R"("Services": ["cleanup"])";
  EXPECT_THAT(read(document.text(), kFactoryReset).Services, ElementsAre(L"generic", L"reset pre", L"reset post"));
  EXPECT_THAT(read(document.text()).Services, ElementsAre(L"generic", L"cleanup"));
}

TEST_F(TrackerManifest, FactoryResetFallsBackToCleanup) {
  const std::string generic = R"({"PKMBinaries": {"Generic": {"PreOperations": {}, "PostOperations": {}}, )";
  const std::string cleanup = R"("Cleanup": {"PreOperations": {"Services": ["pre"]},
                                             "PostOperations": {"Services": ["post"]}}}})";
  struct Case {
    std::string factoryReset;
    std::vector<std::wstring> services;
  };
  const Case cases[] = {
      {"", {L"pre", L"post"}},
      {R"("FactoryReset": {}, )", {L"pre", L"post"}},
      {R"("FactoryReset": {"PreOperations": {"Services": ["half"]}}, )", {L"half", L"pre", L"post"}},
      {R"("FactoryReset": {"PostOperations": {"Services": ["never reached"]}}, )", {L"pre", L"post"}},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(read(generic + row.factoryReset + cleanup, kFactoryReset).Services, row.services) << row.factoryReset;
    EXPECT_THAT(lines_, ElementsAre(kStarted, kParserEnded, kEnded));
  }
}

TEST_F(TrackerManifest, FactoryResetNeedsNoCleanupUnlessItFallsBack) {
  const std::string generic = R"({"PKMBinaries": {"Generic": {"PreOperations": {}, "PostOperations": {}})";
  const std::string reset = R"(, "FactoryReset": {"PreOperations": {}, "PostOperations": {"Process": ["p"]}})";
  EXPECT_THAT(read(generic + reset + "}}", kFactoryReset).Process, ElementsAre(L"p"));
  EXPECT_EQ(badPathOf(generic + "}}", kFactoryReset), "No such node (PKMBinaries.Cleanup.PreOperations)");
}

TEST_F(TrackerManifest, MissingObjectRaises) {
  const std::string whole = TrackerDocument().text();
  const std::string pair = R"("PreOperations": {}, "PostOperations": {})";
  struct Case {
    std::string from;
    std::string to;
    std::string path;
  };
  const Case cases[] = {
      {"PKMBinaries", "Binaries", "PKMBinaries.Generic.PreOperations"},
      {"\"Generic\"", "\"generic\"", "PKMBinaries.Generic.PreOperations"},
      {"\"Generic\": {" + pair, R"("Generic": {"PostOperations": {})", "PKMBinaries.Generic.PreOperations"},
      {"\"Generic\": {" + pair, R"("Generic": {"PreOperations": {})", "PKMBinaries.Generic.PostOperations"},
      {"\"Cleanup\": {" + pair, R"("Cleanup": {"PostOperations": {})", "PKMBinaries.Cleanup.PreOperations"},
      {"\"Cleanup\": {" + pair, R"("Cleanup": {"PreOperations": {})", "PKMBinaries.Cleanup.PostOperations"},
      {"\"Cleanup\"", "\"cleanup\"", "PKMBinaries.Cleanup.PreOperations"},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(badPathOf(withReplaced(whole, row.from, row.to)), "No such node (" + row.path + ")") << row.from;
  }
}

TEST_F(TrackerManifest, MalformedOrEmptyDocumentAddsNothing) {
  for (const char* text :
       {"", "not JSON", "{", R"({"PKMBinaries": {"Generic": )", "{}", "[]", "\"text\"", R"({"PKMBinaries": {}},)"}) {
    const ScrubListData data = read(text);
    EXPECT_THAT(filledLists(data), IsEmpty()) << text;
    EXPECT_THAT(data.Commands, IsEmpty()) << text;
    EXPECT_THAT(lines_, ElementsAre(kStarted, kFailed, kEnded)) << text;
  }
}
