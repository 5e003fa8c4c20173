#include <algorithm>
#include <cctype>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <windows.h>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "manifest/scrub_list.h"
#include "manifest_document.h"
#include "manifest_rules.h"
#include "resource_ids.h"
#include "system/binary_resource.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

using namespace manifest_rules;
using boost::property_tree::ptree;
using Names = std::vector<std::string>;
using Rows = std::vector<std::wstring>;

std::string_view shippedBytes() {
  const HRSRC resource = ::FindResourceW(nullptr, MAKEINTRESOURCEW(IDR_SCRUB_LIST), L"BINARY");
  const HGLOBAL loaded = resource ? ::LoadResource(nullptr, resource) : nullptr;
  return loaded
             ? std::string_view(static_cast<const char*>(::LockResource(loaded)), ::SizeofResource(nullptr, resource))
             : std::string_view();
}

const ptree& shippedTree() {
  static const ptree tree = [] {
    ptree result;
    std::istringstream stream{std::string(shippedBytes())};
    boost::property_tree::read_json(stream, result);
    return result;
  }();
  return tree;
}

Names keysOf(const ptree& object) {
  Names keys;
  for (const auto& [key, child] : object) {
    keys.push_back(key);
  }
  return keys;
}

Rows rowsOf(const ptree& array) {
  Rows rows;
  for (const auto& [key, row] : array) {
    rows.emplace_back(row.data().begin(), row.data().end());
  }
  return rows;
}

// Each list of the document with its dotted path: the generic rows and those of every package.
std::vector<std::pair<std::string, Rows>> workLists() {
  std::vector<std::pair<std::string, Rows>> lists;
  const auto add = [&lists](const std::string& path, const ptree& object) {
    for (const auto& [key, child] : object) {
      if (key != "Info") {
        lists.emplace_back(path + "." + key, rowsOf(child));
      }
    }
  };
  add("Generic", shippedTree().get_child("Generic"));
  for (const char* kind : {"Packages.ORVDrivers", "Packages.ORVApplications"}) {
    for (const auto& [name, package] : shippedTree().get_child(kind)) {
      add(std::string(kind) + "." + name, package);
    }
  }
  return lists;
}

// The rows of all work lists of one kind.
Rows workRows(const std::string& kind) {
  Rows rows;
  for (const auto& [path, list] : workLists()) {
    if (path.ends_with("." + kind)) {
      rows.insert(rows.end(), list.begin(), list.end());
    }
  }
  return rows;
}

TEST(ShippedManifest, IsPlainAsciiWithWindowsLineEnds) {
  const std::string_view bytes = shippedBytes();
  EXPECT_EQ(207224u, bytes.size());
  EXPECT_EQ(5443, std::count(bytes.begin(), bytes.end(), '\n'));
  ASSERT_FALSE(bytes.empty());
  EXPECT_EQ('{', bytes.front()) << "nothing stands before the document";
  EXPECT_TRUE(bytes.ends_with("}\r\n"));
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char c = bytes[i];
    ASSERT_TRUE((c >= ' ' && c < '\x7F') || c == '\r' || c == '\n') << "byte " << i;
    ASSERT_EQ(c == '\n', i > 0 && bytes[i - 1] == '\r') << "byte " << i;
  }
}

// The two empty texts of BasicINF stand on one line.
TEST(ShippedManifest, HasOneElementALineAndTwoSpacesALevel) {
  const std::regex line(R"(( *)(("([^"\\]|\\.)*": )?([\[{]|"([^"\\]|\\.)*",?|true,?|false,?|\[\],?|\{\},?)|[\]}],?|)"
                        R"("BasicINF": \{ "LoadBasicDriver": "", "BasicINFName": "" \}))");
  std::istringstream stream{std::string(shippedBytes())};
  std::size_t level = 0;
  std::size_t number = 0;
  for (std::string text; std::getline(stream, text);) {
    ++number;
    text.pop_back();
    std::smatch match;
    ASSERT_TRUE(std::regex_match(text, match, line)) << "line " << number << ": " << text;
    const char last = text.back() == ',' ? text[text.size() - 2] : text.back();
    const char first = text[match[1].str().size()];
    level -= first == ']' || first == '}' ? 1 : 0;
    ASSERT_EQ(2 * level, match[1].str().size()) << "line " << number << ": " << text;
    level += last == '[' || last == '{' ? 1 : 0;
  }
  EXPECT_EQ(0u, level);
}

TEST(ShippedManifest, KeysStandInTheShippedOrder) {
  const ptree& tree = shippedTree();
  EXPECT_THAT(keysOf(tree), ElementsAre("Generic", "ExclusionList", "InclusionList", "Packages"));
  EXPECT_THAT(keysOf(tree.get_child("Generic")),
              ElementsAre("ScheduledTasks", "Services", "Shortcuts", "Files", "RegistryKeys", "RegistryKeysEmpty",
                          "RegistryValues", "Process", "Directories"));
  EXPECT_THAT(
      keysOf(tree.get_child("ExclusionList")),
      ElementsAre("ScheduledTasks", "Services", "Files", "RegistryKeys", "RegistryValues", "Process", "Directories"));
  EXPECT_THAT(keysOf(tree.get_child("InclusionList")), ElementsAre("Drivers", "Applications", "UWP"));
}

TEST(ShippedManifest, ListsAreComplete) {
  const std::pair<const char*, std::size_t> counts[] = {
      {"Generic.ScheduledTasks", 11},    {"Generic.Services", 1},
      {"Generic.Shortcuts", 3},          {"Generic.Files", 8},
      {"Generic.RegistryKeys", 33},      {"Generic.RegistryKeysEmpty", 1},
      {"Generic.RegistryValues", 3},     {"Generic.Process", 6},
      {"Generic.Directories", 51},       {"ExclusionList.ScheduledTasks", 0},
      {"ExclusionList.Services", 0},     {"ExclusionList.Files", 1},
      {"ExclusionList.RegistryKeys", 4}, {"ExclusionList.RegistryValues", 0},
      {"ExclusionList.Process", 0},      {"ExclusionList.Directories", 2},
      {"InclusionList.Drivers", 37},     {"InclusionList.Applications", 203},
      {"InclusionList.UWP", 7},          {"Packages", 3},
      {"Packages.ORVDrivers", 41},       {"Packages.ORVApplications", 203},
  };
  for (const auto& [path, count] : counts) {
    EXPECT_EQ(count, shippedTree().get_child(path).size()) << path;
  }
}

TEST(ShippedManifest, PackagesHoldTheirRows) {
  const std::tuple<const char*, const char*, std::size_t> counts[] = {
      {"Packages.ORVDrivers", "RegistryKeys", 77},         {"Packages.ORVDrivers", "RegistryValues", 42},
      {"Packages.ORVDrivers", "Directories", 0},           {"Packages.ORVDrivers", "Services", 69},
      {"Packages.ORVApplications", "Files", 1201},         {"Packages.ORVApplications", "RegistryKeys", 116},
      {"Packages.ORVApplications", "RegistryValues", 156}, {"Packages.ORVApplications", "Process", 22},
      {"Packages.ORVApplications", "Directories", 59},
  };
  for (const auto& [kind, list, count] : counts) {
    std::size_t rows = 0;
    for (const auto& [name, package] : shippedTree().get_child(kind)) {
      rows += package.get_child(list).size();
    }
    EXPECT_EQ(count, rows) << kind << " " << list;
  }
}

TEST(ShippedManifest, DriversAreFoundByTheseFields) {
  const std::pair<const char*, int> counts[] = {
      {"ID", 1},
      {"ProductVersion", 0},
      {"InfName", 0},
      {"PID", 0},
      {"ClassName", 41},
      {"CompatibleId", 0},
      {"DeviceID", 12},
      {"SibblingClassName", 1},
      {"SibblingCompatibleId", 1},
      {"DeviceDesc", 31},
      {"BasicINF.LoadBasicDriver", 0},
      {"BasicINF.BasicINFName", 0},
  };
  const ptree& drivers = shippedTree().get_child("Packages.ORVDrivers");
  for (const auto& [field, count] : counts) {
    EXPECT_EQ(count, std::count_if(drivers.begin(), drivers.end(),
                                   [path = std::string("Info.") + field](const auto& driver) {
                                     return !driver.second.template get<std::string>(path).empty();
                                   }))
        << field;
  }
}

TEST(ShippedManifest, EveryPackageIsComplete) {
  for (const auto& [name, package] : shippedTree().get_child("Packages.ORVDrivers")) {
    EXPECT_THAT(keysOf(package), ElementsAre("Info", "RegistryKeys", "RegistryValues", "Directories", "Services"))
        << name;
    EXPECT_THAT(keysOf(package.get_child("Info")),
                ElementsAre("ID", "ProductVersion", "InfName", "PID", "ClassName", "CompatibleId", "SibblingClassName",
                            "SibblingCompatibleId", "DeviceID", "DeviceDesc", "BasicINF"))
        << name;
    EXPECT_THAT(keysOf(package.get_child("Info.BasicINF")), ElementsAre("LoadBasicDriver", "BasicINFName")) << name;
    EXPECT_NE("", package.get<std::string>("Info.ClassName")) << name << " would match no device";
    EXPECT_EQ(std::string::npos, name.find('.')) << name;
  }
  for (const auto& [name, package] : shippedTree().get_child("Packages.ORVApplications")) {
    Names keys = keysOf(package);
    if (keys.size() == 7) {  // application services may be there and are never read
      EXPECT_EQ("Services", keys.back()) << name;
      keys.pop_back();
    }
    EXPECT_THAT(keys, ElementsAre("Info", "Files", "RegistryKeys", "RegistryValues", "Process", "Directories")) << name;
    Names info = keysOf(package.get_child("Info"));
    if (info.size() == 3) {
      EXPECT_EQ("CommonApp", info.back()) << name;
      info.pop_back();
    }
    EXPECT_THAT(info, ElementsAre("UpgradeID", "CommandLine")) << name;
    EXPECT_EQ(std::string::npos, name.find('.')) << name;
  }
}

TEST(ShippedManifest, InclusionListsNameThePackages) {
  const Names drivers = keysOf(shippedTree().get_child("Packages.ORVDrivers"));
  EXPECT_THAT(drivers, ::testing::IsSupersetOf({"DisplayDriver", "DisplayDriver64"}));
  const Rows included = rowsOf(shippedTree().get_child("InclusionList.Drivers"));
  EXPECT_FALSE(contains(included, L"DisplayDriver")) << "an ordinary run adds it, a factory reset must not";
  EXPECT_FALSE(contains(included, L"DisplayDriver64"));
  for (const std::wstring& name : included) {
    const std::string narrow(name.begin(), name.end());
    EXPECT_TRUE(shippedTree().get_child_optional("Packages.ORVDrivers." + narrow) ||
                shippedTree().get_child_optional("Packages." + narrow))
        << narrow;
  }
  EXPECT_EQ(5, std::count_if(drivers.begin(), drivers.end(), [&included](const std::string& name) {
              return !contains(included, std::wstring(name.begin(), name.end()));
            }));
  const Names applications = keysOf(shippedTree().get_child("Packages.ORVApplications"));
  EXPECT_EQ(Rows(rowsOf(shippedTree().get_child("InclusionList.Applications"))), [&] {
    Rows rows;
    for (const std::string& name : applications) {
      rows.emplace_back(name.begin(), name.end());
    }
    return rows;
  }());
  for (const std::wstring& pattern : rowsOf(shippedTree().get_child("InclusionList.UWP"))) {
    EXPECT_TRUE(pattern.starts_with(L"OrvaneDevicesInc-2.") && pattern.ends_with(L"*") && pattern.size() > 25)
        << ::testing::PrintToString(pattern);
  }
}

// A device found by its class counts for the first package of that class, and one of an extension for none. What the
// other packages list would stay on every machine.
TEST(ShippedManifest, PackagesThatNoDeviceCountsForListNothing) {
  Rows included = rowsOf(shippedTree().get_child("InclusionList.Drivers"));
  included.insert(included.end(), {L"DisplayDriver", L"DisplayDriver64"});
  std::set<std::string> taken;
  Names without;
  for (const auto& [name, package] : shippedTree().get_child("Packages.ORVDrivers")) {
    std::string deviceClass = package.get<std::string>("Info.ClassName");
    if (!contains(included, std::wstring(name.begin(), name.end())) || deviceClass == "system" ||
        !package.get<std::string>("Info.DeviceID").empty()) {
      continue;
    }
    std::transform(deviceClass.begin(), deviceClass.end(), deviceClass.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (deviceClass.find("extension") == std::string::npos && taken.insert(deviceClass).second) {
      continue;
    }
    without.push_back(name);
    for (const char* list : {"RegistryKeys", "RegistryValues", "Directories", "Services"}) {
      EXPECT_THAT(rowsOf(package.get_child(list)), IsEmpty()) << name << " " << list;
    }
  }
  EXPECT_THAT(without, ElementsAre("DisplayDriver64", "AudioCoprocessorDriver64", "DisplayExtensionDriver64",
                                   "GraphicsExtensionDriver64", "AudioExtensionDriver64", "PanelComponentDriver64"));
}

// Store apps on the list go on every run; this one stays where its user has opted in.
TEST(ShippedManifest, TheExperienceProgrammesStoreAppIsNotOnTheList) {
  const Rows patterns = rowsOf(shippedTree().get_child("InclusionList.UWP"));
  EXPECT_THAT(patterns, SizeIs(7));
  for (const std::wstring& pattern : patterns) {
    EXPECT_EQ(std::wstring::npos, pattern.find(L"Meridia")) << ::testing::PrintToString(pattern);
  }
}

TEST(ShippedManifest, OnePackageIsCommonAndOneHasServicesThatNobodyReads) {
  Names common;
  Names withServices;
  for (const auto& [name, package] : shippedTree().get_child("Packages.ORVApplications")) {
    if (package.get<bool>("Info.CommonApp", false)) {
      common.push_back(name);
    }
    if (const auto services = package.get_child_optional("Services")) {
      withServices.push_back(name);
      EXPECT_TRUE(services->empty());
    }
  }
  EXPECT_THAT(common, SizeIs(1));
  EXPECT_THAT(withServices, SizeIs(1));
}

TEST(ShippedManifest, UpgradeCodesAreWellFormedAndUnique) {
  const std::regex code(R"(\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\})");
  std::set<std::string> codes;
  for (const auto& [name, package] : shippedTree().get_child("Packages.ORVApplications")) {
    const auto text = package.get<std::string>("Info.UpgradeID");
    EXPECT_TRUE(std::regex_match(text, code)) << name;
    EXPECT_TRUE(codes.insert(text).second) << name;
    EXPECT_EQ("", package.get<std::string>("Info.CommandLine")) << name;
  }
}

TEST(ShippedManifest, NoListHoldsARowTwiceInAnyCase) {
  auto lists = workLists();
  for (const char* parent : {"ExclusionList", "InclusionList"}) {
    for (const auto& [key, list] : shippedTree().get_child(parent)) {
      lists.emplace_back(std::string(parent) + "." + key, rowsOf(list));
    }
  }
  for (const auto& [path, rows] : lists) {
    std::set<std::wstring> seen;
    for (const std::wstring& row : rows) {
      EXPECT_TRUE(seen.insert(lowerCase(row)).second) << path << ": " << ::testing::PrintToString(row);
    }
  }
}

TEST(ShippedManifest, EveryRowNamesTheMakersThingsOnly) {
  struct Rule {
    const char* kind;
    bool (*isSafe)(const std::wstring&);
  };
  const Rule rules[] = {
      {"ScheduledTasks", isSafeName}, {"Services", isSafeService},      {"Shortcuts", isSafeShortcut},
      {"Files", isSafeFile},          {"RegistryKeys", isSafeKey},      {"RegistryValues", isSafeValue},
      {"Process", isSafeProcess},     {"Directories", isSafeDirectory},
  };
  for (const Rule& rule : rules) {
    const Rows rows = workRows(rule.kind);
    EXPECT_THAT(rows, ::testing::Not(IsEmpty())) << rule.kind;
    for (const std::wstring& row : rows) {
      EXPECT_TRUE(rule.isSafe(row)) << rule.kind << ": " << ::testing::PrintToString(row);
      EXPECT_FALSE(namesChipset(row)) << rule.kind << ": " << ::testing::PrintToString(row);
    }
  }
  EXPECT_THAT(workRows("RegistryKeysEmpty"), ElementsAre(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV"));
}

TEST(ShippedManifest, UsesEveryFormOfAPathRow) {
  const auto count = [](const Rows& rows, const char* form) {
    return std::count_if(rows.begin(), rows.end(), [expression = std::regex(form)](const std::wstring& row) {
      const std::wstring lower = lowerCase(row);
      return std::regex_match(std::string(lower.begin(), lower.end()), expression);
    });
  };
  const std::tuple<const char*, int, int> forms[] = {
      {R"(install_dir\\.*)", 967, 19},    {R"(install_dir32\\.*)", 169, 5}, {R"(%localappdata%\\.*)", 12, 29},
      {R"(%appdata%\\.*)", 0, 11},        {R"(%systemroot%\\.*)", 0, 1},    {R"(c:\\.*)", 0, 1},
      {R"((windows|program).*)", 61, 44},
  };
  const Rows files = workRows("Files");
  const Rows directories = workRows("Directories");
  for (const auto& [form, fileRows, directoryRows] : forms) {
    EXPECT_EQ(fileRows, count(files, form)) << form;
    EXPECT_EQ(directoryRows, count(directories, form)) << form;
  }
  for (const char* form : {R"(program files\\.*)", R"(program files \(x86\)\\.*)", R"(programdata\\.*)",
                           R"(windows\\system32\\.*)", R"(windows\\syswow64\\.*)"}) {
    EXPECT_GT(count(files, form), 0) << form;
    EXPECT_GT(count(directories, form), 0) << form;
  }
  EXPECT_GT(count(files, R"(.*\*.*)"), 10);
}

// The install manager's own keys tell the last stage of a run which folders to keep; only that stage may end them.
TEST(ShippedManifest, LeavesTheInstallersKeysAlone) {
  for (const char* kind : {"RegistryKeys", "RegistryValues", "RegistryKeysEmpty"}) {
    for (const std::wstring& row : workRows(kind)) {
      EXPECT_EQ(std::wstring::npos, lowerCase(row).find(L"\\software\\qbx")) << ::testing::PrintToString(row);
    }
  }
}

// Protection is by equal rows only, so an excluded row that a work list could never hold protects nothing.
TEST(ShippedManifest, EveryExclusionLiesInsideOrBesideWhatIsRemoved) {
  const auto liesIn = [](const Rows& rows, const std::wstring& row) {
    return std::any_of(rows.begin(), rows.end(),
                       [&row](const std::wstring& listed) { return row.starts_with(listed + L"\\"); });
  };
  const Rows keys = rowsOf(shippedTree().get_child("ExclusionList.RegistryKeys"));
  Rows listedKeys = workRows("RegistryKeys");
  EXPECT_TRUE(std::any_of(keys.begin(), keys.end(), [&](const std::wstring& row) { return liesIn(listedKeys, row); }));
  listedKeys.insert(listedKeys.end(),
                    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV", L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\ORV"});
  for (const std::wstring& row : keys) {
    EXPECT_TRUE(liesIn(listedKeys, row)) << ::testing::PrintToString(row);
    EXPECT_TRUE(isSafeKey(row)) << ::testing::PrintToString(row);
  }
  const Rows directories = rowsOf(shippedTree().get_child("ExclusionList.Directories"));
  Rows listedDirectories = workRows("Directories");
  EXPECT_TRUE(std::any_of(directories.begin(), directories.end(),
                          [&](const std::wstring& row) { return liesIn(listedDirectories, row); }));
  listedDirectories.push_back(L"Program Files\\ORV");
  for (const std::wstring& row : directories) {
    EXPECT_TRUE(liesIn(listedDirectories, row)) << ::testing::PrintToString(row);
  }
  for (const std::wstring& row : rowsOf(shippedTree().get_child("ExclusionList.Files"))) {
    EXPECT_TRUE(liesIn(listedDirectories, row)) << ::testing::PrintToString(row);
  }
}

TEST(ShippedManifest, ReaderTakesTheWholeDocument) {
  const TemporaryFolder temporary;
  temporary.writeManifest("");
  extractBinaryResource(nullptr, IDR_SCRUB_LIST, temporary.manifestPath());
  EXPECT_TRUE(readFile(temporary.manifestPath()) == shippedBytes());
  ScrubList list;
  list.parseScrubList(false, temporary.openManifest().get());
  EXPECT_EQ(shippedTree().get_child("Packages.ORVDrivers").size(), list.data().DriverPackages.size());
  EXPECT_EQ(shippedTree().get_child("Packages.ORVApplications").size(), list.data().ApplicationPackages.size());
  EXPECT_EQ(workRows("Services").size(), [&list] {
    std::size_t count = list.data().Services.size();
    for (const DriverPackage& driver : list.data().DriverPackages) {
      count += driver.Services.size();
    }
    return count;
  }());
  EXPECT_EQ(rowsOf(shippedTree().get_child("ExclusionList.Directories")), list.data().ExcludedDirectories);
}

}  // namespace
