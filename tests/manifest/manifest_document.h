// manifest_document - a small, complete cleanup manifest for tests, in which every list and field names its own place,
// and helpers to put it where the loader looks.
#pragma once

#include <stdexcept>
#include <string>

#include <windows.h>

#include "support/test_folder.h"

inline const std::string kManifestDocument = R"({
  "Generic": {
    "ScheduledTasks": ["generic task 1", "generic task 2"],
    "Services": ["generic service 1", "generic service 2"],
    "Shortcuts": ["generic shortcut 1", "generic shortcut 2"],
    "Files": ["generic file 1", "generic file 2"],
    "RegistryKeys": ["generic key 1", "generic key 2"],
    "RegistryKeysEmpty": ["generic empty key 1", "generic empty key 2"],
    "RegistryValues": ["generic value 1", "generic value 2"],
    "Process": ["generic process 1", "generic process 2"],
    "Directories": ["generic directory 1", "generic directory 2"]
  },
  "ExclusionList": {
    "ScheduledTasks": ["excluded task 1", "excluded task 2"],
    "Services": ["excluded service 1", "excluded service 2"],
    "Files": ["excluded file 1", "excluded file 2"],
    "RegistryKeys": ["excluded key 1", "excluded key 2"],
    "RegistryValues": ["excluded value 1", "excluded value 2"],
    "Process": ["excluded process 1", "excluded process 2"],
    "Directories": ["excluded directory 1", "excluded directory 2"]
  },
  "InclusionList": {
    "Drivers": ["AudioDriver", "FilterDriver"],
    "Applications": ["ControlPanel", "Tuning"],
    "UWP": ["OrvaneDevicesInc-2.One*", "OrvaneDevicesInc-2.Two*"]
  },
  "Packages": {
    "ORVDrivers": {
      "FilterDriver": {
        "Info": {
          "ID": "PCI\\VEN_7A11&DEV_0A01,PCI\\VEN_7A11&DEV_0A02", "ProductVersion": "driver version",
          "InfName": "driver inf", "PID": "driver pid", "ClassName": "driver class", "CompatibleId": "driver compatible",
          "SibblingClassName": "sibling class", "SibblingCompatibleId": "sibling compatible",
          "DeviceID": "driver device id", "DeviceDesc": "driver description",
          "BasicINF": { "LoadBasicDriver": "basic load", "BasicINFName": "basic name" }
        },
        "RegistryKeys": ["driver key 1", "driver key 2"],
        "RegistryValues": ["driver value 1", "driver value 2"],
        "Directories": ["driver directory 1", "driver directory 2"],
        "Services": ["driver service 1", "driver service 2"]
      },
      "AudioDriver": {
        "Info": {
          "ID": "", "ProductVersion": "", "InfName": "", "PID": "", "ClassName": "media", "CompatibleId": "",
          "SibblingClassName": "", "SibblingCompatibleId": "", "DeviceID": "", "DeviceDesc": "",
          "BasicINF": { "LoadBasicDriver": "", "BasicINFName": "" }
        },
        "RegistryKeys": [], "RegistryValues": [], "Directories": [], "Services": []
      }
    },
    "ORVApplications": {
      "Tuning": {
        "Info": { "UpgradeID": "tuning upgrade", "CommandLine": "tuning command" , "CommonApp": true },
        "Files": ["tuning file 1", "tuning file 2"],
        "RegistryKeys": ["tuning key 1", "tuning key 2"],
        "RegistryValues": ["tuning value 1", "tuning value 2"],
        "Process": ["tuning process 1", "tuning process 2"],
        "Directories": ["tuning directory 1", "tuning directory 2"]
      },
      "ControlPanel": {
        "Info": { "UpgradeID": "panel upgrade", "CommandLine": "" },
        "Files": [], "RegistryKeys": [], "RegistryValues": [], "Process": [], "Directories": [],
        "Services": ["panel service"]
      }
    }
  }
})";

// The text with the only occurrence of `from` replaced.
inline std::string withReplaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t position = text.find(from);
  if (position == std::string::npos || text.find(from, position + 1) != std::string::npos) {
    throw std::invalid_argument("a test changes a text that does not stand in the manifest exactly once: " + from);
  }
  return text.replace(position, from.size(), to);
}

// Makes a folder of the test the temporary folder for its own lifetime.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::wstring& relative = L"Temp") : path_(folder_.makeDirectory(relative)) {
    ::GetEnvironmentVariableW(L"TMP", before_, MAX_PATH);
    ::SetEnvironmentVariableW(L"TMP", path_.c_str());
  }
  ~TemporaryFolder() { ::SetEnvironmentVariableW(L"TMP", before_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const TestFolder& base() const { return folder_; }
  std::wstring manifestPath() const { return path_ + L"\\CleanUp\\ScrubList.JSON"; }
  void writeManifest(const std::string& document) const {
    folder_.makeFile(manifestPath().substr(folder_.path().size() + 1), document);
  }
  // The document opened for the reader; empty if there is none.
  FileHandle openManifest() const {
    return FileHandle(::CreateFileW(manifestPath().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
  }

 private:
  TestFolder folder_;
  std::wstring path_;
  wchar_t before_[MAX_PATH] = L"";
};
