// eligibility - which packages of the manifest are to go. What is not chosen is protected: everything that it lists
// goes to the exclusions, so that no other row can name it.

#include <filesystem>
#include <unordered_set>

#include <windows.h>

#include <msi.h>

#include "app/cleanup_session.h"
#include "applications/forced_removal.h"
#include "system/file_operations.h"
#include "system/file_status.h"
#include "system/log.h"
#include "system/system_message.h"
#include "system/registry.h"

namespace {

constexpr wchar_t kProgrammeKey[] = L"Software\\UXF";
constexpr wchar_t kProgrammeInstallKey[] = L"Software\\KTL Systems\\Install\\PPC";
constexpr wchar_t kControlPanelKey[] = L"Software\\ORV\\LM";
constexpr wchar_t kTuningStatus[] = L"KO_UXFStatus";
constexpr wchar_t kGraphicsStatus[] = L"HLX_UXFStatus";
constexpr wchar_t kProgrammeTask[] = L"StartUXF";

// One branding package of one version cannot be uninstalled in the ordinary way.
constexpr wchar_t kWipedPackage[] = L"LMBranding64";
constexpr int kWipedMajor = 21;
constexpr int kWipedMinor = 40;

void appendAll(std::vector<std::wstring>& target, const std::vector<std::wstring>& rows) {
  target.insert(target.end(), rows.begin(), rows.end());
}

void protect(CleanupSession& session, const ApplicationPackage& package) {
  appendAll(session.excludedRegistryKeys, package.RegistryKeys);
  appendAll(session.scrubListData->ExcludedDirectories, package.Directories);
  appendAll(session.excludedRegistryValues, package.RegistryValues);
  appendAll(session.scrubListData->ExcludedFiles, package.Files);
  appendAll(session.excludedProcesses, package.Process);
}

void protect(CleanupSession& session, const DriverPackage& package) {
  appendAll(session.excludedRegistryKeys, package.RegistryKeys);
  appendAll(session.scrubListData->ExcludedDirectories, package.Directories);
  appendAll(session.excludedRegistryValues, package.RegistryValues);
  appendAll(session.excludedServices, package.Services);
}

void excludeApplication(CleanupSession& session, const ApplicationPackage& package) {
  LogDebug(L"Excluding:\t%s", package.Name.c_str());
  protect(session, package);
}

// The user's choices in the experience programme: 1 for opted in.
struct ProgrammeStatus {
  DWORD tuning = 0;
  DWORD graphics = 0;
};

DWORD readDword(HKEY key, const wchar_t* valueName) {
  DWORD number = 0;
  DWORD size = sizeof(number);
  const LSTATUS status = ::RegGetValueW(key, nullptr, valueName, RRF_RT_REG_DWORD, nullptr, &number, &size);
  if (status != ERROR_SUCCESS) {
    throw RegKeyError(status, "Unable to get registry value");
  }
  return number;
}

ProgrammeStatus readProgrammeStatus() {
  ProgrammeStatus status;
  try {
    const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kProgrammeKey, KEY_READ);
    status.tuning = readDword(key.get(), kTuningStatus);
    status.graphics = readDword(key.get(), kGraphicsStatus);
  } catch (...) {
    // What was read so far holds; the rest counts as not opted in.
  }
  return status;
}

void writeProgrammePackage(HKEY key, const std::wstring& path) {
  const LSTATUS status = ::RegSetValueExW(key, L"OriginalDB", 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()),
                                          static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
  if (status != ERROR_SUCCESS) {
    char text[260] = {};
    ::_snprintf(text, sizeof(text) - 1, "Unable to write to uninstall registry for value = %ls data = %ls.",
                L"OriginalDB", path.c_str());
    throw RegKeyError(status, text);
  }
}

// Takes the programme's installer package out of the control panel's folder, which is about to go.
void moveProgrammePackage(HKEY key, const std::wstring& package) {
  const std::wstring installDir = GetRegistryString(key, nullptr, L"InstallDir");
  LogDebug(L"Meridia MSI is present in LUMIO location - %s, need to copy to Meridia location - %s", package.c_str(),
           installDir.c_str());
  const std::wstring target = installDir + L"\\UXF64.msi";
  if (fileExists(target) && !clearReadOnly(target)) {
    throw std::filesystem::filesystem_error(
        "permissions", target, std::error_code(static_cast<int>(::GetLastError()), std::system_category()));
  }
  LogDebug(L"Copying Meridia MSI is from %s to %s", package.c_str(), target.c_str());
  if (!::CopyFileW(package.c_str(), target.c_str(), FALSE)) {
    // A failed copy changes nothing in what follows.
    const DWORD error = ::GetLastError();
    LogError(L"Unable to copy file from %s to %s. Error code: %d %s", package.c_str(), target.c_str(), error,
             systemMessage(error).c_str());
  }
  writeProgrammePackage(key, target);
}

// Whether the package that carries the experience programme goes. The programme survives the control panel that has
// brought it when its user has opted in.
bool isCommonApplicationEligible(CleanupSession& session, const ApplicationPackage& package) {
  const ProgrammeStatus status = readProgrammeStatus();
  if (status.tuning != 1) {
    return true;
  }
  try {
    const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kProgrammeInstallKey, KEY_ALL_ACCESS);
    const std::wstring installerPackage = GetRegistryString(key.get(), nullptr, L"OriginalDB");
    if (installerPackage.find(L"Lumio") != std::wstring::npos) {
      moveProgrammePackage(key.get(), installerPackage);
      excludeApplication(session, package);
      session.excludedScheduledTasks.emplace_back(kProgrammeTask);
    }
    if (status.graphics == 1) {
      // Also behind the merge above: the product is uninstalled while what it lists stays.
      return true;
    }
    LogDebug(L"HLX not opted to :\t%s", package.Name.c_str());
    return false;
  } catch (...) {
    // A programme that cannot be kept whole is not kept: the opt-in goes and the package with it.
    ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kProgrammeKey, kTuningStatus);
    return true;
  }
}

// The version of the control panel, 0.0 when there is none.
struct Version {
  int major = 0;
  int minor = 0;
};

// A value that is no text is none. Throws std::out_of_range for a text of less than three characters.
Version readControlPanelVersion() {
  Version version;
  RegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kControlPanelKey, 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
    return version;
  }
  constexpr DWORD kVersionBytes = 520;
  wchar_t buffer[kVersionBytes / sizeof(wchar_t) + 1] = {};
  DWORD size = kVersionBytes;
  DWORD type = REG_NONE;
  if (::RegQueryValueExW(key.get(), L"LMVersion", nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) ==
          ERROR_SUCCESS &&
      (type == REG_SZ || type == REG_EXPAND_SZ)) {
    const std::wstring text = buffer;
    version.major = static_cast<int>(std::wcstol(text.substr(0, 2).c_str(), nullptr, 10));
    version.minor = static_cast<int>(std::wcstol(text.substr(3, 5).c_str(), nullptr, 10));
  }
  return version;
}

bool isInstalled(const std::wstring& upgradeCode) {
  wchar_t productCode[39] = {};
  // Every result but this one counts as present, errors included.
  return ::MsiEnumRelatedProductsW(upgradeCode.c_str(), 0, 0, productCode) != ERROR_NO_MORE_ITEMS;
}

}  // namespace

void CleanupSession::selectEligibleApplications() {
  LogDebug(L"-----------Applications Eligible to Unistall-------------");
  const std::unordered_set<std::wstring> included(scrubListData->InclusionApplications.begin(),
                                                  scrubListData->InclusionApplications.end());
  for (const ApplicationPackage& package : scrubListData->ApplicationPackages) {
    if (!included.contains(package.Name)) {
      excludeApplication(*this, package);
    } else if (!package.CommonApp || isCommonApplicationEligible(*this, package)) {
      LogDebug(L"%s", package.Name.c_str());
      eligibleApplications.push_back(package);
    }
  }
}

void CleanupSession::selectEligibleDrivers() {
  LogDebug(L"-----------Drivers Eligible to Unistall-------------");
  const std::unordered_set<std::wstring> included(scrubListData->InclusionDrivers.begin(),
                                                  scrubListData->InclusionDrivers.end());
  for (const DriverPackage& package : scrubListData->DriverPackages) {
    if (included.contains(package.Name)) {
      LogDebug(L"%s", package.Name.c_str());
      eligibleDrivers.push_back(package);
    } else {
      protect(*this, package);  // without a line, unlike an application
    }
  }
}

void CleanupSession::filterInstalledApplications() {
  std::unordered_set<std::wstring> upgradeCodes;
  std::erase_if(eligibleApplications, [&upgradeCodes](const ApplicationPackage& package) {
    return !isInstalled(package.UpgradeID) || !upgradeCodes.insert(package.UpgradeID).second;
  });

  const Version version = readControlPanelVersion();
  LogDebug(L"Application List to Uninstall:-------------");
  for (ApplicationPackage& package : eligibleApplications) {
    LogDebug(L"%s - %s", package.Name.c_str(), package.UpgradeID.c_str());
    if (package.Name == kWipedPackage && version.major == kWipedMajor && version.minor == kWipedMinor) {
      package.UninstallResult = ForceRemoveRelatedProducts(package.UpgradeID);
      LogDebug(L"Wiped LMBranding application\t:\t%s\t:\t%d", package.Name.c_str(), package.UninstallResult);
    }
  }

  LogDebug(L"UWP Apps to Uninstall:-------------");
  for (const std::wstring& pattern : scrubListData->InclusionUWP) {
    LogDebug(L"%s", pattern.c_str());
  }
}
