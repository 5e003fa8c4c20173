#include "driver_store.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <map>

#include <setupapi.h>

#include "device_plan.h"
#include "device_registry.h"

namespace bench {

namespace {

constexpr DWORD kProblemNoDriver = 28;
constexpr DWORD kHasProblem = 0x400;

DWORDLONG versionOf(const std::wstring& text) {
  unsigned part[4] = {};
  std::swscanf(text.c_str(), L"%u.%u.%u.%u", &part[0], &part[1], &part[2], &part[3]);
  DWORDLONG version = 0;
  for (const unsigned number : part) {
    version = version << 16 | (number & 0xFFFF);
  }
  return version;
}

FILETIME dateOf(const std::wstring& text) {
  unsigned part[3] = {};
  std::swscanf(text.c_str(), L"%u-%u-%u", &part[0], &part[1], &part[2]);
  SYSTEMTIME day = {};
  day.wYear = static_cast<WORD>(part[0]);
  day.wMonth = static_cast<WORD>(part[1]);
  day.wDay = static_cast<WORD>(part[2]);
  FILETIME time = {};
  ::SystemTimeToFileTime(&day, &time);
  return time;
}

std::wstring fileNameOf(const std::wstring& path) {
  return path.substr(path.rfind(L'\\') + 1);
}

// oemN.inf, in any case.
bool isOemInfName(const std::wstring& name) {
  const size_t digits = name.size() > 7 ? name.size() - 7 : 0;
  return digits > 0 && equalsNoCase(name.substr(0, 3), L"oem") && equalsNoCase(name.substr(3 + digits), L".inf") &&
         std::all_of(name.begin() + 3, name.begin() + 3 + static_cast<std::ptrdiff_t>(digits),
                     [](wchar_t unit) { return std::iswdigit(unit) != 0; });
}

bool isFile(const std::wstring& path) {
  return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// The ids of the devices that ever had a driver node of that INF and are still on the machine, in the order of their
// numbers.
std::map<DWORD, std::wstring> usersOf(const std::wstring& infName) {
  std::map<DWORD, std::wstring> users;
  for (const std::wstring& id : valuesOf(kUsersKey + infName)) {
    if (const DWORD number = readNumber(benchKey(id), L"DevInst"); number != 0) {
      users[number] = id;
    }
  }
  return users;
}

// A device that is not present counts as using the package too.
bool isInUse(const std::wstring& infName) {
  for (const auto& [number, id] : usersOf(infName)) {
    for (const DriverNode& node : driverNodesOf(id)) {
      if (node.installed && equalsNoCase(fileNameOf(node.inf), infName)) {
        return true;
      }
    }
  }
  return false;
}

// The device loses its installed driver and has none.
void leaveDriverless(const std::wstring& deviceId) {
  const std::wstring bench = benchKey(deviceId);
  deleteTree(kClassKey + readText(deviceKey(deviceId), L"Driver"));
  deleteValue(deviceKey(deviceId), L"Driver");
  deleteValue(bench, L"Installed");
  writeNumber(bench, L"Status", readNumber(bench, L"Status") | kHasProblem);
  writeNumber(bench, L"Problem", kProblemNoDriver);
}

// Installs the device with the first of its driver nodes.
void installBestDriver(const std::wstring& deviceId) {
  const std::vector<DriverNode> nodes = driverNodesOf(deviceId);
  const std::wstring classGuid = readText(deviceKey(deviceId), L"ClassGUID");
  if (nodes.empty() || classGuid.empty()) {
    return;
  }
  const std::wstring& key = nodes.front().key;
  const std::wstring bench = benchKey(deviceId);
  writeText(bench, L"Installed", key.substr(key.rfind(L'\\') + 1));
  writeText(deviceKey(deviceId), L"Driver", plantDriverKey(classGuid, key));
  writeNumber(bench, L"Status", readNumber(bench, L"Status") & ~kHasProblem);
  writeNumber(bench, L"Problem", 0);
}

enum class LeftDevices { Driverless, WithTheNextDriver };

void takeNodesFromDevices(const std::wstring& infName, LeftDevices left) {
  for (const auto& [number, id] : usersOf(infName)) {
    bool wasInstalled = false;
    for (const DriverNode& node : driverNodesOf(id)) {
      if (equalsNoCase(fileNameOf(node.inf), infName)) {
        deleteTree(node.key);
        wasInstalled = wasInstalled || node.installed;
      }
    }
    if (wasInstalled) {
      leaveDriverless(id);
      if (left == LeftDevices::WithTheNextDriver) {
        installBestDriver(id);
      }
    }
  }
}

void removePackage(const std::wstring& infName, LeftDevices left) {
  const std::wstring stem = infName.substr(0, infName.rfind(L'.'));
  ::DeleteFileW((kInfFolder + infName).c_str());
  ::DeleteFileW((kInfFolder + stem + L".PNF").c_str());
  ::DeleteFileW((kCatalogFolder + stem + L".cat").c_str());
  takeNodesFromDevices(infName, left);
  deleteTree(kPackagesKey + infName);
}

DWORD failureOf(const std::wstring& infName, const std::wstring& call) {
  const DWORD failure = plannedFailure(kPackagesKey + infName, call);
  if (failure != 0) {
    return failure;
  }
  if (!isOemInfName(infName)) {
    return static_cast<DWORD>(ERROR_NOT_AN_INSTALLED_OEM_INF);
  }
  return isFile(kInfFolder + infName) ? 0 : ERROR_FILE_NOT_FOUND;
}

}  // namespace

std::vector<DriverNode> driverNodesOf(const std::wstring& deviceId) {
  std::vector<DriverNode> nodes;
  const std::wstring installed = readText(benchKey(deviceId), L"Installed");
  const std::wstring folder = benchKey(deviceId) + L"\\Drivers";
  std::vector<std::wstring> names = subkeysOf(folder);
  std::sort(names.begin(), names.end());
  for (const std::wstring& name : names) {
    const std::wstring key = folder + L"\\" + name;
    nodes.push_back({key, readText(key, L"Inf"), readText(key, L"Provider"), readText(key, L"Manufacturer"),
                     readText(key, L"Description"), readText(key, L"Section"), readText(key, L"HardwareId"),
                     readTexts(key, L"Files"), versionOf(readText(key, L"Version")), dateOf(readText(key, L"Date")),
                     name == installed, readNumber(key, L"Excluded") != 0});
  }
  return nodes;
}

DWORD uninstallOemInf(const std::wstring& fileName, bool force) {
  DWORD error = failureOf(fileName, L"SetupUninstallOEMInfW");
  if (error == 0 && !force && isInUse(fileName)) {
    error = static_cast<DWORD>(ERROR_INF_IN_USE_BY_DEVICES);
  }
  if (error == 0) {
    removePackage(fileName, LeftDevices::Driverless);
  }
  recordCall(L"SetupUninstallOEMInfW", fileName, error);
  return error;
}

DWORD uninstallDriver(const std::wstring& infPath, bool* needsReboot) {
  const std::wstring fileName = fileNameOf(infPath);
  DWORD error = failureOf(fileName, L"DiUninstallDriverW");
  if (error == 0 && !isFile(infPath)) {
    error = ERROR_FILE_NOT_FOUND;
  }
  if (error == 0) {
    *needsReboot = readNumber(kPackagesKey + fileName, L"NeedReboot") != 0;
    removePackage(fileName, LeftDevices::WithTheNextDriver);
  }
  recordCall(L"DiUninstallDriverW", infPath, error);
  return error;
}

}  // namespace bench
