#include "devices/driver_store.h"

#include <objbase.h>
#include <shlwapi.h>

#include "system/handles.h"
#include "system/log.h"

namespace {

constexpr DWORD kFieldCharacters = 8192;

}  // namespace

std::vector<std::wstring> ListOemInfFiles() {
  std::vector<std::wstring> paths;
  wchar_t windows[MAX_PATH] = {};
  ::GetWindowsDirectoryW(windows, MAX_PATH);
  const std::wstring folder = std::wstring(windows) + L"\\INF";
  if (!::PathIsDirectoryW(folder.c_str())) {
    return paths;
  }
  WIN32_FIND_DATAW found = {};
  const FindHandle find(::FindFirstFileW((folder + L"\\oem*.inf").c_str(), &found));
  if (!find) {
    return paths;
  }
  do {
    paths.push_back(folder + L"\\" + found.cFileName);
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

InfRecord ReadDriverPackage(const std::wstring& infPath) {
  UINT errorLine = 0;
  const InfFile file(::SetupOpenInfFileW(infPath.c_str(), nullptr, INF_STYLE_WIN4, &errorLine));
  if (!file) {
    LogError(L"SetupOpenInfFile Failed for inf: %s. Error code is: %d", infPath.c_str(), ::GetLastError());
  }
  InfVersionSection section;
  ReadInfVersionSection(file.get(), section);
  InfRecord inf;
  inf.infPath = infPath;
  inf.className = section.className;
  inf.classGuid = section.classGuid;
  inf.signature = section.signature;
  inf.provider = section.provider;
  inf.catalogFile = section.catalogFile;
  return inf;
}
