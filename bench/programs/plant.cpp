// plant LIST - creates what a list names: files, folders, registry keys and values, services, scheduled tasks,
// shortcuts. Uses Windows calls, so that everything lands where Windows would put it, whatever the case and length of
// its path. Stops at the first line that fails.
//
//   folder         PATH
//   file           PATH [TEXT]         with its parent folders; read-only-file is the same with the attribute
//   key            KEY
//   value          KEY NAME DATA       REG_SZ; an empty NAME is the key's default value
//   number         KEY NAME DECIMAL    REG_DWORD
//   texts          KEY NAME A|B|C      REG_MULTI_SZ
//   service        NAME COMMAND_LINE
//   driver         NAME PATH           a kernel driver's entry
//   task           NAME
//   shortcut       PATH TARGET
//
// Devices and driver packages (bench/devices/device_plan.h). After the fixed columns, fields are NAME=VALUE in any
// order, with | between the items of lists. A missing field is absent or has a default.
//   device         ID CLASS DESCRIPTION [FIELD...]      hwids, compatible, filters, parent (planted before), friendly,
//                                                       maker, guid, absent=1, status, problem, reboot,
//                                                       fallback-reboot=1, installed (index of the driver node; -1 for
//                                                       none)
//   driver-node    ID INF PROVIDER MAKER VERSION [FIELD...]   a driver of the device, the best first. INF is a file in
//                                                       the INF folder. Fields: description, section, hwid, date,
//                                                       files, excluded=0 or 1 (from selection by hand)
//   package        OEMN.INF CLASS PROVIDER CATALOG [FIELD...]  guid, driver-ver, reboot=1
//   device-fails   ID CALL CODE [TIMES]                 numbers are decimal or 0x...
//   package-fails  OEMN.INF CALL CODE [TIMES]
//   call-fails     CALL CODE [TIMES]

#include <algorithm>
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include <windows.h>
#include <objbase.h>
#include <shlobj.h>

#include "bench_list.h"
#include "device_plan.h"
#include "system/handles.h"

namespace {

// The extended form of a path, which may have any length.
std::wstring unlimited(const std::wstring& path) {
  return L"\\\\?\\" + path;
}

void plantFolder(const BenchLine& line, const std::wstring& path) {
  for (size_t end = path.find(L'\\', 3); end != std::wstring::npos; end = path.find(L'\\', end + 1)) {
    ::CreateDirectoryW(unlimited(path.substr(0, end)).c_str(), nullptr);
  }
  if (!::CreateDirectoryW(unlimited(path).c_str(), nullptr) && ::GetLastError() != ERROR_ALREADY_EXISTS) {
    failLine(line, "folder", ::GetLastError());
  }
}

void plantFile(const BenchLine& line, const std::wstring& path, const std::wstring& text, DWORD attributes) {
  plantFolder(line, path.substr(0, path.rfind(L'\\')));
  const FileHandle file(
      ::CreateFileW(unlimited(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, attributes, nullptr));
  // A file without a given text contains its path, so that no two planted files are equal.
  const std::string content = toUtf8(text.empty() ? path : text);
  DWORD written = 0;
  if (!file || !::WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr)) {
    failLine(line, "file", ::GetLastError());
  }
}

RegistryKey plantKey(const BenchLine& line, const std::wstring& path) {
  std::wstring subkey;
  const HKEY root = splitKeyPath(line, path, subkey);
  RegistryKey key;
  const LSTATUS status =
      ::RegCreateKeyExW(root, subkey.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.put(), nullptr);
  if (status != ERROR_SUCCESS) {
    failLine(line, "key", static_cast<DWORD>(status));
  }
  return key;
}

void plantValue(const BenchLine& line, DWORD type, const void* data, size_t sizeBytes) {
  const RegistryKey key = plantKey(line, line.argument(0));
  const LSTATUS status = ::RegSetValueExW(key.get(), line.argument(1).c_str(), 0, type, static_cast<const BYTE*>(data),
                                          static_cast<DWORD>(sizeBytes));
  if (status != ERROR_SUCCESS) {
    failLine(line, "value", static_cast<DWORD>(status));
  }
}

void plantText(const BenchLine& line, DWORD type) {
  std::wstring text = line.argument(2);
  if (type == REG_MULTI_SZ) {
    for (wchar_t& unit : text) {
      unit = unit == L'|' ? L'\0' : unit;
    }
    text.push_back(L'\0');
  }
  plantValue(line, type, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

void plantService(const BenchLine& line, DWORD type) {
  const ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  const ServiceHandle service(::CreateServiceW(manager.get(), line.argument(0).c_str(), line.argument(0).c_str(),
                                               SERVICE_ALL_ACCESS, type, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                               line.argument(1).c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
  if (!service) {
    failLine(line, "service", ::GetLastError());
  }
}

void plantTask(const BenchLine& line) {
  wchar_t temp[MAX_PATH];
  ::GetTempPathW(MAX_PATH, temp);
  const std::wstring document = std::wstring(temp) + L"planted_task.xml";
  plantFile(line, document,
            L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
            L"<Task version=\"1.2\" xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\">"
            L"<RegistrationInfo/><Triggers/><Settings/>"
            L"<Actions><Exec><Command>C:\\windows\\notepad.exe</Command></Exec></Actions></Task>\r\n",
            FILE_ATTRIBUTE_NORMAL);
  std::wstring command = L"schtasks.exe /create /tn \"" + line.argument(0) + L"\" /xml \"" + document + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                        &started)) {
    failLine(line, "schtasks", ::GetLastError());
  }
  const KernelHandle process(started.hProcess);
  const KernelHandle thread(started.hThread);
  DWORD exitCode = 0;
  ::WaitForSingleObject(process.get(), INFINITE);
  ::GetExitCodeProcess(process.get(), &exitCode);
  ::DeleteFileW(document.c_str());
  if (exitCode != 0) {
    failLine(line, "schtasks ended with its exit code", exitCode);
  }
}

void plantShortcut(const BenchLine& line) {
  plantFolder(line, line.argument(0).substr(0, line.argument(0).rfind(L'\\')));
  IShellLinkW* link = nullptr;
  IPersistFile* file = nullptr;
  HRESULT result = ::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                      reinterpret_cast<void**>(&link));
  if (SUCCEEDED(result)) {
    link->SetPath(line.argument(1).c_str());
    result = link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file));
  }
  if (SUCCEEDED(result)) {
    result = file->Save(line.argument(0).c_str(), TRUE);
    file->Release();
  }
  if (link) {
    link->Release();
  }
  if (FAILED(result)) {
    failLine(line, "shortcut", static_cast<DWORD>(result));
  }
}

std::vector<std::wstring> listOf(const std::wstring& text) {
  std::vector<std::wstring> items;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find(L'|', begin), text.size());
    items.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return items;
}

DWORD numberOf(const std::wstring& text) {
  return text.empty() ? 0 : static_cast<DWORD>(std::stoul(text, nullptr, 0));
}

// The NAME=VALUE columns of a line. Each must be used: an unknown one is a typing error.
class Fields {
 public:
  Fields(const BenchLine& line, size_t fixedColumns) : line_(line) {
    for (size_t i = fixedColumns + 1; i < line.words.size(); ++i) {
      const size_t equals = line.words[i].find(L'=');
      if (equals == std::wstring::npos) {
        failLine(line, "a field without =", ERROR_INVALID_PARAMETER);
      }
      fields_[line.words[i].substr(0, equals)] = line.words[i].substr(equals + 1);
    }
  }

  std::wstring take(const wchar_t* name, const std::wstring& absent = L"") {
    const auto found = fields_.find(name);
    const std::wstring value = found == fields_.end() ? absent : found->second;
    fields_.erase(name);
    return value;
  }
  std::vector<std::wstring> takeList(const wchar_t* name) { return listOf(take(name)); }
  DWORD takeNumber(const wchar_t* name, DWORD absent = 0) {
    const std::wstring text = take(name);
    return text.empty() ? absent : numberOf(text);
  }
  void requireNoMore() const {
    if (!fields_.empty()) {
      failLine(line_, "an unknown field", ERROR_INVALID_PARAMETER);
    }
  }

 private:
  const BenchLine& line_;
  std::map<std::wstring, std::wstring> fields_;
};

void plantDeviceLine(const BenchLine& line) {
  Fields fields(line, 3);
  PlantedDevice device;
  device.id = line.argument(0);
  device.className = line.argument(1);
  device.description = line.argument(2);
  device.classGuid = fields.take(L"guid");
  device.friendlyName = fields.take(L"friendly");
  device.manufacturer = fields.take(L"maker");
  device.hardwareIds = fields.takeList(L"hwids");
  device.compatibleIds = fields.takeList(L"compatible");
  device.lowerFilters = fields.takeList(L"filters");
  device.parent = fields.take(L"parent");
  device.present = fields.takeNumber(L"absent") == 0;
  device.status = fields.takeNumber(L"status", device.status);
  device.problem = fields.takeNumber(L"problem");
  device.rebootFlags = fields.takeNumber(L"reboot");
  device.fallbackNeedsReboot = fields.takeNumber(L"fallback-reboot") != 0;
  device.installedDriver = std::stoi(fields.take(L"installed", L"0"));
  fields.requireNoMore();
  plantDevice(device);
}

void plantDriverNodeLine(const BenchLine& line) {
  Fields fields(line, 5);
  PlantedDriver driver;
  driver.inf = kInfFolder + line.argument(1);
  driver.provider = line.argument(2);
  driver.manufacturer = line.argument(3);
  driver.version = line.argument(4);
  driver.description = fields.take(L"description");
  driver.section = fields.take(L"section", driver.section);
  driver.hardwareId = fields.take(L"hwid");
  driver.date = fields.take(L"date", driver.date);
  driver.files = fields.takeList(L"files");
  if (const std::wstring excluded = fields.take(L"excluded"); !excluded.empty()) {
    driver.excluded = excluded != L"0";
  }
  fields.requireNoMore();
  plantDriverNode(line.argument(0), driver);
}

void plantPackageLine(const BenchLine& line) {
  Fields fields(line, 4);
  PlantedPackage package;
  package.name = line.argument(0);
  package.className = line.argument(1);
  package.provider = line.argument(2);
  package.catalog = line.argument(3);
  package.classGuid = fields.take(L"guid");
  package.driverVer = fields.take(L"driver-ver", package.driverVer);
  package.needsReboot = fields.takeNumber(L"reboot") != 0;
  fields.requireNoMore();
  plantDriverPackage(package);
}

// False for a verb that does not concern devices.
bool plantedForDevices(const BenchLine& line) {
  const std::wstring& verb = line.verb();
  if (verb == L"device") {
    plantDeviceLine(line);
  } else if (verb == L"driver-node") {
    plantDriverNodeLine(line);
  } else if (verb == L"package") {
    plantPackageLine(line);
  } else if (verb == L"device-fails") {
    failDeviceCall(line.argument(0), line.argument(1), numberOf(line.argument(2)), numberOf(line.argument(3)));
  } else if (verb == L"package-fails") {
    failPackageCall(line.argument(0), line.argument(1), numberOf(line.argument(2)), numberOf(line.argument(3)));
  } else if (verb == L"call-fails") {
    failCall(line.argument(0), numberOf(line.argument(1)), numberOf(line.argument(2)));
  } else {
    return false;
  }
  return true;
}

void plantLine(const BenchLine& line) {
  const std::wstring& verb = line.verb();
  if (verb == L"folder") {
    plantFolder(line, line.argument(0));
  } else if (verb == L"file") {
    plantFile(line, line.argument(0), line.argument(1), FILE_ATTRIBUTE_NORMAL);
  } else if (verb == L"read-only-file") {
    plantFile(line, line.argument(0), line.argument(1), FILE_ATTRIBUTE_READONLY);
  } else if (verb == L"key") {
    plantKey(line, line.argument(0));
  } else if (verb == L"value") {
    plantText(line, REG_SZ);
  } else if (verb == L"texts") {
    plantText(line, REG_MULTI_SZ);
  } else if (verb == L"number") {
    const DWORD number = std::stoul(line.argument(2));
    plantValue(line, REG_DWORD, &number, sizeof number);
  } else if (verb == L"service") {
    plantService(line, SERVICE_WIN32_OWN_PROCESS);
  } else if (verb == L"driver") {
    plantService(line, SERVICE_KERNEL_DRIVER);
  } else if (verb == L"task") {
    plantTask(line);
  } else if (verb == L"shortcut") {
    plantShortcut(line);
  } else if (!plantedForDevices(line)) {
    failLine(line, "unknown verb", ERROR_INVALID_PARAMETER);
  }
}

}  // namespace

int wmain(int argumentCount, wchar_t** arguments) {
  if (argumentCount != 2) {
    std::fprintf(stderr, "usage: plant LIST\n");
    return 2;
  }
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  for (const BenchLine& line : readBenchList(arguments[1])) {
    try {
      plantLine(line);
    } catch (const std::exception& error) {
      failLine(line, error.what(), 0);
    }
  }
  ::CoUninitialize();
  return 0;
}
