#include "manifest/tracker_manifest.h"

#include <cstdint>
#include <cstdlib>
#include <map>

#include <windows.h>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "manifest/json_reader_path.h"
#include "system/file_status.h"
#include "system/handles.h"
#include "system/log.h"
#include "system/machine_facts.h"

namespace {

using boost::property_tree::wptree;

constexpr wchar_t kInstallManagerKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\ORV Brimwood Install Manager";
constexpr wchar_t kInstallDirName[] = L"InstallDir";
constexpr DWORD kInstallDirBytes = 260;
constexpr wchar_t kConfigFolder[] = L"Config";
constexpr wchar_t kTrackerFile[] = L"PKMTracker.JSON";
constexpr wchar_t kCommandsKey[] = L"Commands";
constexpr std::size_t kVariableCharacters = 260;

// The list that a section is read into, and whether its rows are expanded.
struct TrackerSection {
  const wchar_t* key;
  RowsOf<ScrubListData> list;
  bool expand;
};

constexpr TrackerSection kSections[] = {
    {L"Services", &ScrubListData::Services, false},
    {L"Process", &ScrubListData::Process, false},
    {L"Files", &ScrubListData::Files, true},
    {L"RegistryKeys", &ScrubListData::RegistryKeys, false},
    {L"RegistryValues", &ScrubListData::RegistryValues, false},
    {L"Shortcuts", &ScrubListData::Shortcuts, false},
    {L"ScheduledTasks", &ScrubListData::ScheduledTasks, false},
    {L"DirectoriesForce", &ScrubListData::Directories, true},
    {L"Directories", &ScrubListData::TrackerDirectories, true},
};

// The JSON tree, the values of the variables found so far, and where the rows are added.
struct TrackerContext {
  wptree tree;
  std::map<std::wstring, std::wstring> variables;
  ScrubListData& data;
};

std::wstring resolveTrackerVariable(TrackerContext& context, const std::wstring& name) {
  if (const auto known = context.variables.find(name); known != context.variables.end()) {
    return known->second;
  }
  std::wstring value;
  if (name == kInstallDirName) {
    getPkmInstallDir(value);
    value.resize(std::min(value.rfind(L'\\'), value.size()));
  } else {
    wchar_t text[kVariableCharacters] = {};
    std::size_t characters = 0;
    if (::_wgetenv_s(&characters, text, kVariableCharacters, name.c_str()) == 0) {
      value = text;
    }
  }
  context.variables.emplace(name, value);
  return value;
}

// Replaces the row up to its last percent sign by the variable's value. Text before the variable is lost, and the
// length of its name is only right if the row begins with it, which is how the install manager writes rows.
std::wstring resolveVariableRow(TrackerContext& context, const std::wstring& row) {
  const std::size_t first = row.find(L'%');
  if (first == std::wstring::npos) {
    return row;
  }
  const std::size_t last = row.rfind(L'%');
  return resolveTrackerVariable(context, row.substr(first + 1, last - 1)) + row.substr(last + 1);
}

std::wstring expandTrackerRow(TrackerContext& context, const std::wstring& row) {
  // A row with a drive gets a second one; no such path exists, so nothing is removed.
  return row.find(L"Program Files") != std::wstring::npos ? GetOSDrive() + row : resolveVariableRow(context, row);
}

void readTrackerCommands(TrackerContext& context, const std::wstring& path, std::vector<TrackerCommand>& commands) {
  try {
    for (const auto& [key, child] : context.tree.get_child(path)) {
      TrackerCommand command;
      command.Process = resolveVariableRow(context, child.get<std::wstring>(L"process"));
      command.CommandLine = child.get<std::wstring>(L"commandLine");
      command.Timeout = child.get<std::int32_t>(L"timeout");
      commands.push_back(command);
    }
  } catch (...) {
    // The commands read before the bad one stay. Those after it may depend on it and are dropped.
    LogDebug(L" PKMTrackerParser method -> %s Element not found", path.c_str());
  }
}

void readTrackerList(TrackerContext& context, const std::wstring& path, std::vector<std::wstring>& list, bool expand) {
  try {
    for (const auto& [key, child] : context.tree.get_child(path)) {
      const std::wstring& row = child.data();
      list.push_back(expand ? expandTrackerRow(context, row) : row);
    }
  } catch (...) {
    // The rows read so far stay.
  }
}

void routeTrackerSection(TrackerContext& context, const std::wstring& path, const std::wstring& key) {
  for (const TrackerSection& section : kSections) {
    if (key == section.key) {
      readTrackerList(context, path, context.data.*section.list, section.expand);
      return;
    }
  }
}

void readTrackerOperations(TrackerContext& context, const std::wstring& path) {
  for (const auto& [key, section] : context.tree.get_child(path)) {
    const std::wstring sectionPath = path + L'.' + key;
    if (key == kCommandsKey) {
      readTrackerCommands(context, sectionPath, context.data.Commands);
    } else {
      routeTrackerSection(context, sectionPath, key);
    }
  }
}

// `occasion` is a member of the document's only object.
void readOccasion(TrackerContext& context, const wchar_t* occasion) {
  const std::wstring path = std::wstring(L"PKMBinaries.") + occasion;
  readTrackerOperations(context, path + L".PreOperations");
  readTrackerOperations(context, path + L".PostOperations");
}

}  // namespace

bool getPkmInstallDir(std::wstring& out) {
  RegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kInstallManagerKey, 0, KEY_ALL_ACCESS, key.put()) != ERROR_SUCCESS) {
    return false;
  }
  // The value may fill only half of the buffer, so there is always a terminator.
  wchar_t text[kInstallDirBytes] = {};
  DWORD size = kInstallDirBytes;
  if (::RegQueryValueExW(key.get(), kInstallDirName, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size) !=
      ERROR_SUCCESS) {
    return false;
  }
  out = text;
  return true;
}

bool PKMTrackerParser(const std::wstring& path, ScrubListData& data, bool launchedForFactoryReset) {
  LogDebug(L" PKMTrackerParser method started ....");
  TrackerContext context{{}, {}, data};
  try {
    boost::property_tree::read_json(jsonReaderPath(path), context.tree);
  } catch (const boost::property_tree::json_parser_error&) {
    return false;
  }
  if (context.tree.empty()) {
    return false;
  }
  readOccasion(context, L"Generic");
  if (launchedForFactoryReset) {
    try {
      readOccasion(context, L"FactoryReset");
    } catch (...) {
      // Without a complete part for a factory reset the ordinary one is used; what was read so far stays.
      readOccasion(context, L"Cleanup");
    }
  } else {
    readOccasion(context, L"Cleanup");
  }
  // Not an error: this is the level at which readers of the log expect the line.
  LogError(L"PKMTrackerParser method ended ....");
  return true;
}

void performPKMTrackerParsing(ScrubListData& data, bool launchedForFactoryReset) {
  std::wstring installDir;
  if (!getPkmInstallDir(installDir)) {
    LogDebug(L"performPKMTrackerParsing - driver not installed ....");
    LogDebug(L"performPKMTrackerParsing method ended ....");
    return;
  }
  const std::wstring configFolder = installDir + L'\\' + kConfigFolder;
  if (!fileExists(configFolder)) {
    LogError(L"Config Folder is not present: %s", kConfigFolder);
    return;
  }
  const std::wstring trackerFile = configFolder + L'\\' + kTrackerFile;
  if (!fileExists(trackerFile)) {
    LogError(L"PKMTracker file is not present: %s", kTrackerFile);
    return;
  }
  if (!PKMTrackerParser(trackerFile, data, launchedForFactoryReset)) {
    LogError(L"PKMTracker.JSON Failed to Parse");
  }
  LogDebug(L"performPKMTrackerParsing method ended ....");
}
