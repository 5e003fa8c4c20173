#include "app/installed_applications.h"

#include <cwchar>
#include <unordered_set>

#include <windows.h>

#include <msi.h>

#include "system/handles.h"

namespace {

constexpr wchar_t kControlPanelKey[] = L"Software\\ORV\\LM";
constexpr DWORD kVersionBytes = 520;

constexpr wchar_t kWipedPackage[] = L"LMBranding64";
constexpr int kWipedMajor = 21;
constexpr int kWipedMinor = 40;

constexpr std::size_t kProductCodeCharacters = 39;  // with the terminator

}  // namespace

std::vector<bool> FindInstalled(const std::vector<ApplicationPackage>& applications) {
  std::vector<bool> isInstalled;
  for (const ApplicationPackage& application : applications) {
    wchar_t productCode[kProductCodeCharacters] = {};
    isInstalled.push_back(::MsiEnumRelatedProductsW(application.UpgradeID.c_str(), 0, 0, productCode) !=
                          ERROR_NO_MORE_ITEMS);
  }
  return isInstalled;
}

std::vector<ApplicationPackage> PlanInstalled(std::vector<ApplicationPackage> applications,
                                              const std::vector<bool>& isInstalled) {
  std::vector<ApplicationPackage> plan;
  std::unordered_set<std::wstring> upgradeCodes;
  for (std::size_t position = 0; position < applications.size(); ++position) {
    if (isInstalled[position] && upgradeCodes.insert(applications[position].UpgradeID).second) {
      plan.push_back(std::move(applications[position]));
    }
  }
  return plan;
}

ControlPanelVersion FindControlPanelVersion() {
  ControlPanelVersion version;
  RegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kControlPanelKey, 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
    return version;
  }
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

bool isToBeWiped(const ApplicationPackage& application, const ControlPanelVersion& version) {
  return application.Name == kWipedPackage && version.major == kWipedMajor && version.minor == kWipedMinor;
}
