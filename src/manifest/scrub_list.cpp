#include "manifest/scrub_list.h"

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <utility>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "manifest/json_reader_path.h"
#include "manifest/tracker_manifest.h"
#include "system/file_content.h"
#include "system/log.h"
#include "system/temporary_folder.h"

namespace {

using boost::property_tree::wptree;

constexpr wchar_t kManifestName[] = L"CleanUp\\ScrubList.JSON";

// The display driver packages, which a factory reset keeps.
constexpr wchar_t kDisplayDriver[] = L"DisplayDriver";
constexpr wchar_t kDisplayDriver64[] = L"DisplayDriver64";
// The installer that starts a factory reset needs this value afterwards.
constexpr wchar_t kGraphicTypeValue[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Install\\GraphicType";

std::wstring manifestPath() {
  const std::wstring folder = temporaryFolder();
  return folder.empty() ? folder : folder + kManifestName;
}

// The document is read through its handle, because the file at the path could have been replaced. The path still has to
// be one that the JSON reader can open, as for the tracker file.
bool isReaderPath(const std::wstring& path) {
  const std::string narrow = jsonReaderPath(path);
  return std::equal(path.begin(), path.end(), narrow.begin(),
                    [](wchar_t wide, char byte) { return wide == static_cast<unsigned char>(byte); }) &&
         std::ifstream(narrow).is_open();
}

// The document is plain ASCII. Empty when it cannot be read; the JSON reader then rejects it.
std::wistringstream readDocument(HANDLE document) {
  std::wstring text;
  if (isReaderPath(manifestPath())) {
    for (const char byte : readWhole(document)) {
      text.push_back(static_cast<unsigned char>(byte));
    }
  }
  return std::wistringstream(text);
}

// Nothing is trimmed; the part after the last comma is included even if it is empty.
std::vector<std::wstring> splitAtCommas(const std::wstring& text) {
  std::vector<std::wstring> pieces;
  std::size_t start = 0;
  for (std::size_t comma; (comma = text.find(L',', start)) != std::wstring::npos; start = comma + 1) {
    pieces.push_back(text.substr(start, comma - start));
  }
  pieces.push_back(text.substr(start));
  return pieces;
}

void fillApplicationInfo(const wptree& package, ApplicationPackage* record) {
  record->Type = L"Application";
  record->CommandLine = package.get<std::wstring>(L"Info.CommandLine");
  record->UpgradeID = package.get<std::wstring>(L"Info.UpgradeID");
  record->BasicInf.emplace(L"", L"");
  record->CommonApp = package.get_optional<bool>(L"Info.CommonApp").value_or(false);
}

void fillDriverInfo(const wptree& package, DriverPackage* record) {
  record->Id = package.get<std::wstring>(L"Info.ID");
  if (record->Id.empty()) {
    LogDebug(L"Getting Drivers Data ------------- HWID's Empty-------");
  } else {
    LogDebug(L"Getting Drivers Data ------------- HWID's %s-------", record->Id.c_str());
    record->HardwareIds = splitAtCommas(record->Id);
  }
  record->Type = L"Driver";
  const std::pair<const wchar_t*, std::wstring PackageRecord::*> fields[] = {
      {L"Info.InfName", &PackageRecord::InfName},
      {L"Info.PID", &PackageRecord::PID},
      {L"Info.ClassName", &PackageRecord::ClassName},
      {L"Info.ProductVersion", &PackageRecord::ProductVersion},
      {L"Info.CompatibleId", &PackageRecord::CompatibleId},
      {L"Info.SibblingCompatibleId", &PackageRecord::SibblingCompatibleId},
      {L"Info.SibblingClassName", &PackageRecord::SibblingClassName},
      {L"Info.DeviceDesc", &PackageRecord::DeviceDesc},
      {L"Info.DeviceID", &PackageRecord::DeviceID},
  };
  for (const auto& [path, field] : fields) {
    record->*field = package.get<std::wstring>(path);
  }
  const auto infName = package.get<std::wstring>(L"Info.BasicINF.BasicINFName");
  const auto load = package.get<std::wstring>(L"Info.BasicINF.LoadBasicDriver");
  record->BasicInf.emplace(load, infName);
}

// Where one kind of rows is found below a package, and the list that it is read into.
template <class Package>
struct PackageList {
  const wchar_t* key;
  RowsOf<Package> rows;
};

// Reads each package of the object at `path`. Its lists are read in the order given, so that the first missing one is
// reported.
template <class Package>
void readPackages(const ScrubList& document, const wptree& root, const std::wstring& path,
                  void (*fillInfo)(const wptree& package, Package* record),
                  std::initializer_list<PackageList<Package>> lists, std::vector<Package>& packages) {
  for (const auto& [name, package] : root.get_child(path)) {
    Package record;
    record.Name = name;
    fillInfo(package, &record);
    for (const PackageList<Package>& list : lists) {
      // Uses the full dotted path, so a package with a dot in its name cannot be read.
      document.readStringList(path + L'.' + name + list.key, record.*list.rows);
    }
    packages.push_back(std::move(record));
  }
}

}  // namespace

struct ScrubList::Tree {
  wptree root;
};

ScrubList::ScrubList() : tree_(std::make_unique<Tree>()), data_(std::make_unique<ScrubListData>()) {}

ScrubList::~ScrubList() = default;

void ScrubList::parseScrubList(bool launchedForFactoryReset, HANDLE document) {
  LogDebug(L"Parsing ScrubList.JSON File");
  loadScrubListFile(document);
  readGenericData();
  readInclusionData(launchedForFactoryReset);
  readExclusionData();
  readApplicationPackages();
  readDriverPackages();
  performPKMTrackerParsing(*data_, launchedForFactoryReset);
}

void ScrubList::readStringList(const std::wstring& path, std::vector<std::wstring>& list) const {
  for (const auto& [key, row] : tree_->root.get_child(path)) {
    list.push_back(row.data());
  }
}

void ScrubList::loadScrubListFile(HANDLE document) {
  LogDebug(L"Loading ScrubList.JSON File");
  try {
    std::wistringstream text = readDocument(document);
    boost::property_tree::read_json(text, tree_->root);
  } catch (const boost::property_tree::json_parser_error&) {
    // The first required path will be missing, which ends the run.
    LogDebug(L"Loading ScrubList.JSON File Failed!!!");
    tree_->root.clear();
  }
}

void ScrubList::readGenericData() {
  LogDebug(L"Getting Generic Data from ScrubList.JSON File");
  readStringList(L"Generic.ScheduledTasks", data_->ScheduledTasks);
  readStringList(L"Generic.Services", data_->Services);
  readStringList(L"Generic.Shortcuts", data_->Shortcuts);
  readStringList(L"Generic.Files", data_->Files);
  readStringList(L"Generic.RegistryKeys", data_->RegistryKeys);
  readStringList(L"Generic.RegistryKeysEmpty", data_->RegistryKeysEmpty);
  readStringList(L"Generic.RegistryValues", data_->RegistryValues);
  readStringList(L"Generic.Process", data_->Process);
  readStringList(L"Generic.Directories", data_->Directories);
}

void ScrubList::readInclusionData(bool launchedForFactoryReset) {
  LogDebug(L"Getting Inclusion List Data from ScrubList.JSON File");
  readStringList(L"InclusionList.Drivers", data_->InclusionDrivers);
  readStringList(L"InclusionList.Applications", data_->InclusionApplications);
  readStringList(L"InclusionList.UWP", data_->InclusionUWP);
  if (launchedForFactoryReset) {
    data_->ExcludedRegistryValues.emplace_back(kGraphicTypeValue);
  } else {
    data_->InclusionDrivers.insert(data_->InclusionDrivers.begin(), {kDisplayDriver, kDisplayDriver64});
  }
}

void ScrubList::readExclusionData() {
  readStringList(L"ExclusionList.ScheduledTasks", data_->ExcludedScheduledTasks);
  readStringList(L"ExclusionList.Services", data_->ExcludedServices);
  readStringList(L"ExclusionList.Files", data_->ExcludedFiles);
  readStringList(L"ExclusionList.RegistryKeys", data_->ExcludedRegistryKeys);
  readStringList(L"ExclusionList.RegistryValues", data_->ExcludedRegistryValues);
  readStringList(L"ExclusionList.Process", data_->ExcludedProcess);
  readStringList(L"ExclusionList.Directories", data_->ExcludedDirectories);
}

void ScrubList::readApplicationPackages() {
  LogDebug(L"Getting Applications Data from ScrubList.JSON File");
  readPackages<ApplicationPackage>(*this, tree_->root, L"Packages.ORVApplications", fillApplicationInfo,
                                   {{L".Files", &ApplicationPackage::Files},
                                    {L".RegistryKeys", &ApplicationPackage::RegistryKeys},
                                    {L".RegistryValues", &ApplicationPackage::RegistryValues},
                                    {L".Process", &ApplicationPackage::Process},
                                    {L".Directories", &ApplicationPackage::Directories}},
                                   data_->ApplicationPackages);
}

void ScrubList::readDriverPackages() {
  LogDebug(L"Getting Drivers Data from ScrubList.JSON File");
  readPackages<DriverPackage>(*this, tree_->root, L"Packages.ORVDrivers", fillDriverInfo,
                              {{L".RegistryKeys", &DriverPackage::RegistryKeys},
                               {L".RegistryValues", &DriverPackage::RegistryValues},
                               {L".Services", &DriverPackage::Services},
                               {L".Directories", &DriverPackage::Directories}},
                              data_->DriverPackages);
}
