#include "system/windows_update.h"

#include <string>

#include <windows.h>

#include <comutil.h>
#include <objbase.h>
#include <wbemidl.h>

#include "system/handles.h"

namespace {

constexpr wchar_t kNamespace[] = L"ROOT\\CIMV2";
constexpr wchar_t kQueryLanguage[] = L"WQL";
constexpr wchar_t kQuery[] = L"SELECT * FROM Win32_Process";
constexpr wchar_t kNameProperty[] = L"Name";
constexpr wchar_t kUpdateClient[] = L"wuauclt";

// Enters a COM apartment and leaves it at the end of the scope.
class Apartment {
 public:
  // The thread may be in an apartment of the other kind, which it leaves first.
  Apartment() {
    ::CoUninitialize();
    entered_ = ::CoInitialize(nullptr);
  }
  ~Apartment() { ::CoUninitialize(); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
  // Entering it for a second time (S_FALSE) counts as a failure, too.
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
