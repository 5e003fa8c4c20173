#include "devices/driver_store_cleaner.h"

#include <algorithm>
#include <array>
#include <cwchar>

#include <objbase.h>
#include <shlwapi.h>

#include "devices/device_records.h"
#include "devices/driver_package.h"
#include "devices/maker_words.h"
#include "devices/setup.h"
#include "system/handles.h"
#include "system/log.h"
#include "system/machine_facts.h"
#include "system/text_case.h"

namespace {

constexpr DWORD kFieldCharacters = 8192;

// Catalog files of the maker's packages in classes that others use too. The three words with capitals never occur in a
// name in lower case; a package of theirs can still be taken up as a camera.
constexpr std::array<const wchar_t*, 27> kCatalogWords = {
    L"orvjournal",   L"orvshieldfd", L"orvqz",        L"orvtonefd_comp", L"orvtonefdcomp", L"orvearsetcomp",
    L"orvtonebus",   L"orvtonebus2", L"apxtwin",      L"orvnoisefd",     L"orvglrt",       L"orvvlk",
    L"orvmnt",       L"orvclrt",     L"orvdesk",      L"npulinkdrv",     L"orvstoremini",  L"orvwirectl",
    L"sensorqa01x",  L"sensorqb02y", L"sensorqc2750", L"sensorqd9240",   L"sensorQE1100",  L"sensorQF08Z",
    L"sensorQG55H0", L"orvearset",   L"orvtonebtx",
};

// All texts in lower case.
bool isCandidate(const InfRecord& inf) {
  return inf.className == L"display" || inf.className == L"ssg" || inf.className == L"extension" ||
         std::any_of(kCatalogWords.begin(), kCatalogWords.end(),
                     [&inf](const wchar_t* word) { return contains(inf.catalogFile, word); }) ||
         inf.className == L"media" || inf.className == L"camera";
}

// The line for a package that a factory reset keeps, or null.
const wchar_t* factoryResetLine(const InfRecord& inf) {
  if (contains(inf.catalogFile, L"orvdispext")) {
    return L"CleanDriverStore::Skipping ORVDISPEXT driver as it is factory reset";
  }
  if (contains(inf.catalogFile, L"orvbridgeextension")) {
    return L"CleanDriverStore::Skipping orvbridgeextension driver";
  }
  if (contains(inf.className, L"display")) {
    return L"CleanDriverStore::Skipping display driver in factory reset";
  }
  return nullptr;
}

InfRecord readInf(const std::wstring& path) {
  InfRecord inf;
  inf.infPath = path;
  UINT errorLine = 0;
  const InfFile file(::SetupOpenInfFileW(path.c_str(), nullptr, INF_STYLE_WIN4, &errorLine));
  if (!file) {
    LogError(L"SetupOpenInfFile Failed for inf: %s. Error code is: %d", path.c_str(), ::GetLastError());
  }
  InfVersionSection section;
  ReadInfVersionSection(file.get(), section);
  inf.className = section.className;
  inf.classGuid = section.classGuid;
  inf.signature = section.signature;
  inf.provider = section.provider;
  inf.catalogFile = section.catalogFile;
  return inf;
}

// True when the package is still in use by a graphics device that was spared.
bool isKeptByGpu(DWORD error, bool gpuExclusionApplied, const InfRecord& inf) {
  return (error & 0x8000FFFF) == 0x8000023D && gpuExclusionApplied && inf.className == L"display";
}

// False when nothing more is to be said of the package.
bool removePackage(const InfRecord& inf, bool gpuExclusionApplied) {
  bool needReboot = false;
  if (uninstallDriverPackage(inf.infPath, &needReboot) == PackageUninstall::Done) {
    LogDebug(L"Uninstall successful");
    if (needReboot) {
      LogDebug(L"\tReboot is requested by driver.");
      deviceRebootNeeded = true;
    }
    return true;
  }
  const wchar_t* fileName = ::PathFindFileNameW(inf.infPath.c_str());
  if (::SetupUninstallOEMInfW(fileName, SUOI_FORCEDELETE, nullptr)) {
    LogDebug(L"CleanDriverStore::Uninstalled INF File : %s", fileName);
    return true;
  }
  const DWORD error = ::GetLastError();
  LogError(L"CleanDriverStore::SetupUninstallOEMInf Failed for INF: %s, Error code is : %d", fileName, error);
  return !isKeptByGpu(error, gpuExclusionApplied, inf);
}

}  // namespace

std::vector<std::wstring> ListOemInfFiles() {
  std::vector<std::wstring> paths;
  wchar_t windows[MAX_PATH] = {};
  ::GetWindowsDirectoryW(windows, MAX_PATH);
  std::wstring folder = std::wstring(windows) + L"\\INF";
  if (!::PathIsDirectoryW(folder.c_str())) {
    return paths;
  }
  if (!folder.ends_with(L'\\') && !folder.ends_with(L'/')) {
    folder += L'\\';
  }
  WIN32_FIND_DATAW found = {};
  const FindHandle find(::FindFirstFileW((folder + L"oem*.inf").c_str(), &found));
  if (!find) {
    return paths;
  }
  do {
    const std::wstring name = found.cFileName;
    if (name != L"." && name != L"..") {
      paths.push_back(folder + name);
    }
  } while (::FindNextFileW(find.get(), &found));
  return paths;
}

void ReadInfVersionSection(HINF infHandle, InfVersionSection& section) {
  INFCONTEXT context = {};
  if (infHandle == INVALID_HANDLE_VALUE || !::SetupFindFirstLineW(infHandle, L"Version", nullptr, &context)) {
    return;
  }
  std::vector<wchar_t> buffer(kFieldCharacters);
  do {
    std::vector<std::wstring> fields;
    for (DWORD index = 0; ::SetupGetStringFieldW(&context, index, buffer.data(), kFieldCharacters, nullptr); ++index) {
      fields.emplace_back(buffer.data());
    }
    if (fields.size() < 2) {
      continue;
    }
    const std::wstring& key = fields[0];
    if (key == L"Signature") {
      section.signature = fields[1];
    } else if (key == L"Class") {
      section.className = fields[1];
    } else if (key == L"ClassGUID") {
      ::IIDFromString(fields[1].c_str(), &section.classGuid);
    } else if (key == L"Provider") {
      section.provider = fields[1];
    } else if (key == L"DriverVer") {
      section.driverDate = fields[1];
      section.driverVersion = fields.size() > 2 ? fields[2] : L"";
    } else if (key == L"CatalogFile") {
      section.catalogFile = fields[1];
    }
  } while (::SetupFindNextLine(&context, &context));
}

bool CleanDriverStore(bool gpuExclusionApplied, bool factoryReset) {
  bool displayExtensionHandled = false;
  LogDebug(L"----------CleanDriverStore::Started-------------");
  for (const std::wstring& path : ListOemInfFiles()) {
    InfRecord inf = readInf(path);
    LogDebug(L"Inf Name: %s, Class Name: %s, Signature: %s, Provider: %s, Catalog Name: %s", inf.infPath.c_str(),
             inf.className.c_str(), inf.signature.c_str(), inf.provider.c_str(), inf.catalogFile.c_str());
    inf.className = toLower(inf.className);
    inf.provider = toLower(inf.provider);
    inf.catalogFile = toLower(inf.catalogFile);
    if (!isCandidate(inf) || !containsMakerWord(inf.provider)) {
      continue;
    }
    if (const wchar_t* line = factoryReset ? factoryResetLine(inf) : nullptr) {
      LogError(line);
      continue;
    }
    if (removePackage(inf, gpuExclusionApplied) &&
        (contains(inf.catalogFile, L"orvdispext") || contains(inf.catalogFile, L"orvgpuke"))) {
      displayExtensionHandled = true;
    }
  }
  LogDebug(L"----------CleanDriverStore::Ended-------------");
  return IsVirtualMachine() || displayExtensionHandled;
}
