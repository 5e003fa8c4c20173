#include "system/windows_update.h"

#include <string>

#include <windows.h>

#include <comutil.h>
#include <objbase.h>
#include <wbemidl.h>

#include "system/directory_walk.h"
#include "system/file_status.h"
#include "system/handles.h"
#include "system/log.h"
#include "system/long_path.h"
#include "system/process_launch.h"

namespace {

constexpr wchar_t kNamespace[] = L"ROOT\\CIMV2";
constexpr wchar_t kQueryLanguage[] = L"WQL";
constexpr wchar_t kQuery[] = L"SELECT * FROM Win32_Process";
constexpr wchar_t kNameProperty[] = L"Name";
constexpr wchar_t kUpdateClient[] = L"wuauclt";

constexpr wchar_t kCacheFolder[] = L"\\SoftwareDistribution\\Download\\";
// Only a full graphics driver package is as large, so the slow listing runs for very few files.
constexpr LONGLONG kSmallFileBytes = 250'000'000;
constexpr const char* kDriverNames[] = {"ktlgpukg", "orvgpukg"};

// A COM apartment that this thread has entered, and leaves at the end of the scope.
class Apartment {
 public:
  // The thread may hold an apartment of the other kind, so that one is left first.
  Apartment() {
    ::CoUninitialize();
    entered_ = ::CoInitialize(nullptr);
  }
  ~Apartment() { ::CoUninitialize(); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
  // Entering it a second time counts as a failure too.
  bool isNew() const { return entered_ == S_OK; }

 private:
  HRESULT entered_;
};

ComPointer<IWbemServices> connectToWmi() {
  ComPointer<IWbemLocator> locator;
  ComPointer<IWbemServices> services;
  if (FAILED(::CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_ALL, IID_IWbemLocator,
                                reinterpret_cast<void**>(locator.put()))) ||
      FAILED(locator.get()->ConnectServer(_bstr_t(kNamespace), nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                                          services.put())) ||
      FAILED(::CoSetProxyBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                                 RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE))) {
    services.reset();
  }
  return services;
}

bool isUpdateClient(IWbemClassObject* process) {
  VARIANT name;
  ::VariantInit(&name);
  const bool found = SUCCEEDED(process->Get(kNameProperty, 0, &name, nullptr, nullptr)) && name.vt == VT_BSTR &&
                     name.bstrVal && std::wstring(name.bstrVal).find(kUpdateClient) != std::wstring::npos;
  ::VariantClear(&name);
  return found;
}

bool isLargeFile(const std::wstring& systemPath) {
  const FileHandle file(::CreateFileW(systemPath.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  LARGE_INTEGER size = {};
  return file && ::GetFileSizeEx(file.get(), &size) && size.QuadPart > kSmallFileBytes;
}

// Whatever the file is: what cannot be listed prints no driver's name.
bool listsDriver(const std::wstring& path) {
  const std::string listing = RunCommandCaptureOutput(L"expand " + path + L" -d");
  for (const char* name : kDriverNames) {
    if (listing.find(name) != std::string::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool isWindowsUpdateRunning() {
  const Apartment apartment;
  if (!apartment.isNew()) {
    return false;
  }
  const ComPointer<IWbemServices> services = connectToWmi();
  ComPointer<IEnumWbemClassObject> processes;
  if (!services || FAILED(services.get()->ExecQuery(_bstr_t(kQueryLanguage), _bstr_t(kQuery),
                                                    WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                                                    processes.put()))) {
    return false;
  }
  for (;;) {
    ComPointer<IWbemClassObject> process;
    ULONG returned = 0;
    processes.get()->Next(static_cast<LONG>(WBEM_INFINITE), 1, process.put(), &returned);
    if (returned == 0) {
      return false;
    }
    if (isUpdateClient(process.get())) {
      return true;
    }
  }
}

void DeleteCachedWindowsUpdateDrivers() {
  wchar_t windows[MAX_PATH] = {};
  ::GetWindowsDirectoryW(windows, MAX_PATH);
  const std::wstring cache = std::wstring(windows) + kCacheFolder;
  if (!fileExists(cache)) {
    return;
  }
  // A cache that was moved to another drive has a link in its place.
  visitEntries(
      cache,
      [](const DirectoryEntry& entry) {
        // A name that `expand` would read as another one is passed over: its listing would be that of another file.
        if (!entry.isDirectory() && isNormalised(entry.path) && isLargeFile(entry.systemPath) &&
            listsDriver(entry.path)) {
          LogDebug(L"Found an ORV driver in the Windows Update Cache: %s", entry.path.c_str());
          ::DeleteFileW(entry.systemPath.c_str());
        }
      },
      LinkInPlace::IsFollowed);
}
