#include "device_plan.h"

#include <algorithm>
#include <cwchar>
#include <stdexcept>

#include "device_registry.h"

using namespace bench;

namespace {

struct KnownClass {
  const wchar_t* name;
  const wchar_t* guid;
};

constexpr KnownClass kKnownClasses[] = {
    {L"Camera", L"{ca3e7ab9-b4c3-4ae6-8251-579ef933890f}"},
    {L"Display", L"{4d36e968-e325-11ce-bfc1-08002be10318}"},
    {L"Extension", L"{e2f84ce7-8efa-411c-aa69-97454ca4cb57}"},
    {L"HDC", L"{4d36e96a-e325-11ce-bfc1-08002be10318}"},
    {L"HIDClass", L"{745a17a0-74d3-11d0-b6fe-00a0c90f57da}"},
    {L"MEDIA", L"{4d36e96c-e325-11ce-bfc1-08002be10318}"},
    {L"Monitor", L"{4d36e96e-e325-11ce-bfc1-08002be10318}"},
    {L"Net", L"{4d36e972-e325-11ce-bfc1-08002be10318}"},
    {L"SCSIAdapter", L"{4d36e97b-e325-11ce-bfc1-08002be10318}"},
    {L"SecurityDevices", L"{d94ee5d8-d189-4994-83d2-f68d7d41b0e6}"},
    {L"Sensor", L"{5175d334-c371-4806-b3ba-71fd53c9258d}"},
    {L"SoftwareComponent", L"{5c4c3332-344d-483c-8739-259e934c9cc8}"},
    {L"System", L"{4d36e97d-e325-11ce-bfc1-08002be10318}"},
    {L"USB", L"{36fc9e60-c465-11cf-8056-444553540000}"},
};

std::wstring classGuidOf(const std::wstring& guid, const std::wstring& className) {
  if (!guid.empty() || className.empty()) {
    return guid;
  }
  for (const KnownClass& known : kKnownClasses) {
    if (equalsNoCase(known.name, className)) {
      return known.guid;
    }
  }
  throw std::runtime_error("a planted device or package of a class of its own needs a class GUID");
}

void writeUnlessEmpty(const std::wstring& key, const wchar_t* name, const std::wstring& text) {
  if (!text.empty()) {
    writeText(key, name, text);
  }
}

void writeUnlessEmpty(const std::wstring& key, const wchar_t* name, const std::vector<std::wstring>& texts) {
  if (!texts.empty()) {
    writeTexts(key, name, texts);
  }
}

std::wstring numbered(const wchar_t* format, int number) {
  wchar_t text[16];
  std::swprintf(text, 16, format, number);
  return text;
}

}  // namespace

std::wstring plantDriverKey(const std::wstring& classGuid, const std::wstring& nodeKey) {
  const std::wstring classKey = kClassKey + classGuid;
  int number = 0;
  while (keyExists(classKey + L"\\" + numbered(L"%04d", number))) {
    ++number;
  }
  const std::wstring name = classGuid + L"\\" + numbered(L"%04d", number);
  const std::wstring key = kClassKey + name;
  const std::wstring inf = readText(nodeKey, L"Inf");
  writeText(key, L"DriverDesc", readText(nodeKey, L"Description"));
  writeText(key, L"ProviderName", readText(nodeKey, L"Provider"));
  writeText(key, L"DriverVersion", readText(nodeKey, L"Version"));
  writeText(key, L"DriverDate", readText(nodeKey, L"Date"));
  writeText(key, L"InfPath", inf.substr(inf.rfind(L'\\') + 1));
  writeText(key, L"InfSection", readText(nodeKey, L"Section"));
  writeText(key, L"MatchingDeviceId", readText(nodeKey, L"HardwareId"));
  return name;
}

namespace {

DWORD nextNumber() {
  const DWORD number = readNumber(kDevicesKey, L"Next DevInst", 2);  // 1 is the root
  writeNumber(kDevicesKey, L"Next DevInst", number + 1);
  return number;
}

void plantFailure(const std::wstring& key, const std::wstring& call, DWORD code, DWORD times) {
  writeNumber(key + L"\\Fail", call, code);
  if (times != 0) {
    writeNumber(key + L"\\Fail", call + L" times", times);
  }
}

void plantFile(const std::wstring& path, const std::wstring& text) {
  for (size_t end = path.find(L'\\', 3); end != std::wstring::npos; end = path.find(L'\\', end + 1)) {
    ::CreateDirectoryW(path.substr(0, end).c_str(), nullptr);
  }
  const FileHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  const std::wstring content = L'\xFEFF' + text;
  DWORD written = 0;
  if (!file || !::WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size() * sizeof(wchar_t)), &written,
                            nullptr)) {
    throw std::runtime_error("a file of a driver package cannot be written: error " + std::to_string(::GetLastError()));
  }
}

std::wstring infText(const PlantedPackage& package) {
  std::wstring text = L"[Version]\r\nSignature = \"$WINDOWS NT$\"\r\n";
  const auto line = [&text](const wchar_t* key, const std::wstring& value) {
    if (!value.empty()) {
      text += std::wstring(key) + L" = " + value + L"\r\n";
    }
  };
  line(L"Class", package.className);
  line(L"ClassGUID", classGuidOf(package.classGuid, package.className));
  line(L"Provider", package.provider.empty() ? L"" : L"%ProviderName%");
  line(L"CatalogFile", package.catalog);
  line(L"DriverVer", package.driverVer);
  text += L"\r\n[Strings]\r\n";
  line(L"ProviderName", L"\"" + package.provider + L"\"");
  return text;
}

}  // namespace

DWORD plantDevice(const PlantedDevice& device) {
  if (std::count(device.id.begin(), device.id.end(), L'\\') != 2) {
    throw std::runtime_error("an instance id has three parts");
  }
  if (!device.parent.empty() && !keyExists(benchKey(device.parent))) {
    throw std::runtime_error("a device's parent must be planted before it");
  }
  const std::wstring key = deviceKey(device.id);
  const std::wstring bench = benchKey(device.id);
  const std::wstring classGuid = classGuidOf(device.classGuid, device.className);
  if (const std::wstring driver = readText(key, L"Driver"); !driver.empty()) {
    deleteTree(kClassKey + driver);
  }
  deleteTree(key);
  writeUnlessEmpty(key, L"DeviceDesc", device.description);
  writeUnlessEmpty(key, L"FriendlyName", device.friendlyName);
  writeUnlessEmpty(key, L"HardwareID", device.hardwareIds);
  writeUnlessEmpty(key, L"CompatibleIDs", device.compatibleIds);
  writeUnlessEmpty(key, L"LowerFilters", device.lowerFilters);
  writeUnlessEmpty(key, L"Class", device.className);
  writeUnlessEmpty(key, L"ClassGUID", classGuid);
  writeUnlessEmpty(key, L"Mfg", device.manufacturer);
  writeNumber(key, L"ConfigFlags", device.configFlags);
  writeNumber(key, L"Capabilities", device.capabilities);

  const DWORD number = nextNumber();
  writeNumber(bench, L"DevInst", number);
  writeText(bench, L"Parent", device.parent);
  writeNumber(bench, L"Present", device.present);
  writeNumber(bench, L"Status", device.status);
  writeNumber(bench, L"Problem", device.problem);
  writeNumber(bench, L"InstallState", device.installState);
  writeNumber(bench, L"NeedReboot", device.rebootFlags);
  writeNumber(bench, L"NeedRebootFallback", device.fallbackNeedsReboot);
  if (device.installedDriver >= 0) {
    // Becomes the installed driver when it is planted, now or later.
    writeText(bench, L"Installed", numbered(L"%02d", device.installedDriver));
  }
  for (const PlantedDriver& driver : device.drivers) {
    plantDriverNode(device.id, driver);
  }
  return number;
}

void plantDriverNode(const std::wstring& deviceId, const PlantedDriver& driver) {
  const std::wstring device = deviceKey(deviceId);
  const std::wstring bench = benchKey(deviceId);
  if (!keyExists(bench)) {
    throw std::runtime_error("a driver's device must be planted before it");
  }
  const auto otherwise = [](const std::wstring& text, const std::wstring& fallback) {
    return text.empty() ? fallback : text;
  };
  const std::vector<std::wstring> hardwareIds = readTexts(device, L"HardwareID");
  const std::vector<std::wstring> others = subkeysOf(bench + L"\\Drivers");
  const std::wstring last = others.empty() ? L"-1" : *std::max_element(others.begin(), others.end());
  const std::wstring name = numbered(L"%02d", std::stoi(last) + 1);
  const std::wstring key = bench + L"\\Drivers\\" + name;
  writeText(key, L"Inf", driver.inf);
  writeNumber(kUsersKey + driver.inf.substr(driver.inf.rfind(L'\\') + 1), deviceId, 1);
  writeText(key, L"Provider", driver.provider);
  writeText(key, L"Manufacturer", otherwise(driver.manufacturer, readText(device, L"Mfg")));
  writeText(key, L"Description", otherwise(driver.description, readText(device, L"DeviceDesc")));
  writeText(key, L"Version", driver.version);
  writeText(key, L"Section", driver.section);
  writeText(key, L"HardwareId", otherwise(driver.hardwareId, hardwareIds.empty() ? L"" : hardwareIds.front()));
  writeText(key, L"Date", driver.date);
  writeTexts(key, L"Files", driver.files);
  writeNumber(key, L"Excluded", driver.excluded.value_or(!equalsNoCase(deviceId.substr(0, 5), L"ROOT\\")));
  const std::wstring classGuid = readText(device, L"ClassGUID");
  if (readText(bench, L"Installed") == name && !classGuid.empty()) {
    writeText(device, L"Driver", plantDriverKey(classGuid, key));
  }
}

void plantDriverPackage(const PlantedPackage& package) {
  const std::wstring stem = package.name.substr(0, package.name.rfind(L'.'));
  plantFile(kInfFolder + package.name, package.text.empty() ? infText(package) : package.text);
  plantFile(kInfFolder + stem + L".PNF", L"The precompiled form of " + package.name);
  plantFile(kCatalogFolder + stem + L".cat", L"The catalog of " + package.name);
  deleteTree(kPackagesKey + package.name);
  writeNumber(kPackagesKey + package.name, L"NeedReboot", package.needsReboot);
}

void failDeviceCall(const std::wstring& deviceId, const std::wstring& call, DWORD code, DWORD times) {
  if (!keyExists(benchKey(deviceId))) {
    throw std::runtime_error("a failing call's device must be planted before it");
  }
  plantFailure(benchKey(deviceId), call, code, times);
}

void failPackageCall(const std::wstring& name, const std::wstring& call, DWORD code, DWORD times) {
  plantFailure(kPackagesKey + name, call, code, times);
}

void failCall(const std::wstring& call, DWORD code, DWORD times) {
  plantFailure(kDevicesKey, call, code, times);
}
