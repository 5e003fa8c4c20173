#include "support/test_devices.h"

#include "device_registry.h"

namespace {

bool isFile(const std::wstring& path) {
  return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring stemOf(const std::wstring& fileName) {
  return fileName.substr(0, fileName.rfind(L'.'));
}

void forgetPlantedDevices() {
  for (const std::wstring& enumerator : bench::subkeysOf(bench::kEnumKey)) {
    for (const std::wstring& device : bench::subkeysOf(bench::kEnumKey + enumerator)) {
      const std::wstring hardware = enumerator + L"\\" + device;
      for (const std::wstring& instance : bench::subkeysOf(bench::kEnumKey + hardware)) {
        const std::wstring id = hardware + L"\\" + instance;
        if (deviceExists(id)) {
          const std::wstring driver = bench::readText(bench::deviceKey(id), L"Driver");
          if (!driver.empty()) {
            bench::deleteTree(bench::kClassKey + driver);
          }
          bench::deleteTree(bench::deviceKey(id));
        }
      }
    }
  }
}

void forgetPackages() {
  WIN32_FIND_DATAW found = {};
  const FindHandle find(::FindFirstFileW((kInfFolder + L"oem*").c_str(), &found));
  if (!find) {
    return;
  }
  do {
    const std::wstring name = found.cFileName;
    ::DeleteFileW((kInfFolder + name).c_str());
    ::DeleteFileW((kCatalogFolder + stemOf(name) + L".cat").c_str());
  } while (::FindNextFileW(find.get(), &found));
}

}  // namespace

void forgetDevices() {
  forgetPlantedDevices();
  forgetPackages();
  for (const wchar_t* key : {L"SOFTWARE\\Bench Devices", L"SOFTWARE\\Bench Packages", L"SOFTWARE\\Bench Driver Users",
                             L"SOFTWARE\\Bench Restore Points"}) {
    bench::deleteTree(key);
  }
}

bool deviceExists(const std::wstring& id) {
  return bench::keyExists(bench::benchKey(id));
}

bool packageExists(const std::wstring& name) {
  return isFile(kInfFolder + name);
}

bool packageIsWiped(const std::wstring& name) {
  return !isFile(kInfFolder + name) && !isFile(kInfFolder + stemOf(name) + L".PNF") &&
         !isFile(kCatalogFolder + stemOf(name) + L".cat");
}

std::vector<std::wstring> recordedCalls() {
  return bench::readTexts(bench::kDevicesKey, L"Calls");
}

void forgetCalls() {
  bench::deleteValue(bench::kDevicesKey, L"Calls");
}
