// windows_update_test - whether the update client is running, according to WMI, and every way in which the query fails.

#include "system/windows_update.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <windows.h>

#include <objbase.h>
#include <wbemidl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/link_seam.h"
#include "support/program_named.h"
#include "support/test_child.h"

namespace {

HRESULT locatorResult = S_OK;  // with S_OK, the real call is made
HRESULT blanketResult = S_OK;
bool connectionRefused = false;
bool queryRefused = false;

// The queries to WMI, each kind once, while `questionsAreRecorded`.
bool questionsAreRecorded = false;
std::vector<std::wstring> questions;

void record(const std::wstring& question) {
  if (questionsAreRecorded && std::find(questions.begin(), questions.end(), question) == questions.end()) {
    questions.push_back(question);
  }
}

std::wstring textOf(const wchar_t* text) {
  return text ? text : L"none";
}

std::wstring textOf(const void* object) {
  return object ? L"given" : L"none";
}

std::wstring textOf(const GUID& id) {
  wchar_t text[40] = {};
  ::StringFromGUID2(id, text, 40);
  return text;
}

// Replacements for some of WMI's functions, and the original functions.
HRESULT STDMETHODCALLTYPE refuseQuery(IWbemServices*, const BSTR, const BSTR, LONG, IWbemContext*,
                                      IEnumWbemClassObject**) {
  return WBEM_E_INVALID_QUERY;
}

using ConnectServer = HRESULT(STDMETHODCALLTYPE*)(IWbemLocator*, const BSTR, const BSTR, const BSTR, const BSTR, LONG,
                                                  const BSTR, IWbemContext*, IWbemServices**);
using ExecQuery = HRESULT(STDMETHODCALLTYPE*)(IWbemServices*, const BSTR, const BSTR, LONG, IWbemContext*,
                                              IEnumWbemClassObject**);
using Next = HRESULT(STDMETHODCALLTYPE*)(IEnumWbemClassObject*, LONG, ULONG, IWbemClassObject**, ULONG*);
using Get = HRESULT(STDMETHODCALLTYPE*)(IWbemClassObject*, LPCWSTR, LONG, VARIANT*, CIMTYPE*, LONG*);
ConnectServer realConnectServer = nullptr;
ExecQuery realExecQuery = nullptr;
Next realNext = nullptr;
Get realGet = nullptr;

// Replaces one entry of an object's virtual function table, which has `kFunctions` entries in the order of their
// declaration, and returns the original one.
template <std::size_t kFunctions, class Interface, class Function>
Function replaceFunction(Interface* object, std::size_t index, Function function) {
  static std::array<void*, kFunctions> functions;
  void**& table = *reinterpret_cast<void***>(object);
  if (table != functions.data()) {
    std::copy_n(table, kFunctions, functions.begin());
    table = functions.data();
  }
  return reinterpret_cast<Function>(std::exchange(functions[index], reinterpret_cast<void*>(function)));
}

constexpr std::size_t kServicesFunctions = 26;
constexpr std::size_t kExecQuery = 20;

void refuseQueries(IUnknown* services) {
  replaceFunction<kServicesFunctions>(static_cast<IWbemServices*>(services), kExecQuery, &refuseQuery);
}

HRESULT STDMETHODCALLTYPE recordGet(IWbemClassObject* object, LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type,
                                    LONG* flavour) {
  record(L"Get " + textOf(name) + L" flags " + std::to_wstring(flags) + L" type " + textOf(type) + L" flavour " +
         textOf(flavour));
  return realGet(object, name, flags, value, type, flavour);
}

HRESULT STDMETHODCALLTYPE recordNext(IEnumWbemClassObject* list, LONG timeout, ULONG count, IWbemClassObject** objects,
                                     ULONG* returned) {
  record(L"Next timeout " + std::to_wstring(timeout) + L" count " + std::to_wstring(count));
  const HRESULT result = realNext(list, timeout, count, objects, returned);
  if (SUCCEEDED(result) && *returned == 1) {
    realGet = replaceFunction<27>(*objects, 4, &recordGet);
  }
  return result;
}

HRESULT STDMETHODCALLTYPE recordQuery(IWbemServices* services, const BSTR language, const BSTR query, LONG flags,
                                      IWbemContext* context, IEnumWbemClassObject** list) {
  record(L"ExecQuery " + textOf(language) + L": " + textOf(query) + L" flags " + std::to_wstring(flags) + L" context " +
         textOf(context));
  const HRESULT result = realExecQuery(services, language, query, flags, context, list);
  if (SUCCEEDED(result)) {
    realNext = replaceFunction<8>(*list, 4, &recordNext);
  }
  return result;
}

HRESULT STDMETHODCALLTYPE recordConnection(IWbemLocator* locator, const BSTR resource, const BSTR user,
                                           const BSTR password, const BSTR locale, LONG flags, const BSTR authority,
                                           IWbemContext* context, IWbemServices** services) {
  record(L"ConnectServer " + textOf(resource) + L" user " + textOf(user) + L" password " + textOf(password) +
         L" locale " + textOf(locale) + L" flags " + std::to_wstring(flags) + L" authority " + textOf(authority) +
         L" context " + textOf(context));
  const HRESULT result =
      realConnectServer(locator, resource, user, password, locale, flags, authority, context, services);
  if (SUCCEEDED(result)) {
    realExecQuery = replaceFunction<kServicesFunctions>(*services, kExecQuery, &recordQuery);
  }
  return result;
}

// A locator that cannot connect.
class RefusingLocator : public IWbemLocator {
 public:
  virtual ~RefusingLocator() = default;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override {
    ++releases;
    return 0;
  }
  HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR resource, const BSTR, const BSTR, const BSTR, LONG, const BSTR,
                                          IWbemContext*, IWbemServices**) override {
    asked = resource;
    return WBEM_E_ACCESS_DENIED;
  }

  std::wstring asked;
  int releases = 0;
};

RefusingLocator refusingLocator;

}  // namespace

LINK_SEAM(HRESULT, CoCreateInstance, (REFCLSID id, LPUNKNOWN outer, DWORD context, REFIID interfaceId, LPVOID* made)) {
  if (FAILED(locatorResult)) {
    return locatorResult;
  }
  if (connectionRefused) {
    *made = static_cast<IWbemLocator*>(&refusingLocator);
    return S_OK;
  }
  const HRESULT result = realFunction<decltype(&::CoCreateInstance)>(L"ole32.dll", "CoCreateInstance")(
      id, outer, context, interfaceId, made);
  if (questionsAreRecorded && SUCCEEDED(result) && ::IsEqualGUID(interfaceId, IID_IWbemLocator)) {
    record(L"CoCreateInstance " + textOf(id) + L" outer " + textOf(outer) + L" context " + std::to_wstring(context) +
           L" " + textOf(interfaceId));
    realConnectServer = replaceFunction<4>(static_cast<IWbemLocator*>(*made), 3, &recordConnection);
  }
  return result;
}

LINK_SEAM(HRESULT, CoSetProxyBlanket,
          (IUnknown * proxy, DWORD authentication, DWORD authorisation, OLECHAR* principal, DWORD level,
           DWORD impersonation, RPC_AUTH_IDENTITY_HANDLE identity, DWORD capabilities)) {
  if (FAILED(blanketResult)) {
    return blanketResult;
  }
  if (queryRefused) {
    refuseQueries(proxy);
  }
  record(L"CoSetProxyBlanket authentication " + std::to_wstring(authentication) + L" authorisation " +
         std::to_wstring(authorisation) + L" principal " + textOf(principal) + L" level " + std::to_wstring(level) +
         L" impersonation " + std::to_wstring(impersonation) + L" identity " + textOf(identity) + L" capabilities " +
         std::to_wstring(capabilities));
  return realFunction<decltype(&::CoSetProxyBlanket)>(L"ole32.dll", "CoSetProxyBlanket")(
      proxy, authentication, authorisation, principal, level, impersonation, identity, capabilities);
}

namespace {

class WindowsUpdate : public testing::Test {
 protected:
  ~WindowsUpdate() override {
    locatorResult = S_OK;
    blanketResult = S_OK;
    connectionRefused = false;
    queryRefused = false;
    questionsAreRecorded = false;
    questions.clear();
  }

  // On a thread of its own, so that its COM apartment does not affect other tests.
  template <class Prepare>
  static bool isRunning(Prepare prepare) {
    bool running = false;
    std::thread([&] {
      prepare();
      running = isWindowsUpdateRunning();
    }).join();
    return running;
  }
  static bool isRunning() {
    return isRunning([] {});
  }
};

}  // namespace

TEST_F(WindowsUpdate, RunsWhileItsClientDoes) {
  EXPECT_FALSE(isRunning());
  {
    const ProgramNamed client(L"wuauclt.exe");
    ASSERT_TRUE(client.runs());
    EXPECT_TRUE(isRunning());
  }
  EXPECT_FALSE(isRunning());
}

TEST_F(WindowsUpdate, ClientIsFoundByAPartOfItsName) {
  const ProgramNamed client(L"my wuauclt helper.exe");
  ASSERT_TRUE(client.runs());
  EXPECT_TRUE(isRunning());
}

TEST_F(WindowsUpdate, ClientInCapitalsIsNotFound) {
  const ProgramNamed client(L"WUAUCLT.EXE");
  ASSERT_TRUE(client.runs());
  EXPECT_FALSE(isRunning());
}

TEST_F(WindowsUpdate, NearlyTheClientIsNotFound) {
  const ProgramNamed other(L"wuaucl.exe");
  ASSERT_TRUE(other.runs());
  EXPECT_FALSE(isRunning());
}

TEST_F(WindowsUpdate, IsNotFoundWhereNothingCanBeAsked) {
  const ProgramNamed client(L"wuauclt.exe");
  ASSERT_TRUE(client.runs());
  const auto enter = [](DWORD kind, int times) {
    return [kind, times] {
      for (int time = 0; time < times; ++time) {
        ::CoInitializeEx(nullptr, kind);
      }
    };
  };
  EXPECT_TRUE(isRunning(enter(COINIT_MULTITHREADED, 1))) << "the other apartment is left first";
  EXPECT_TRUE(isRunning(enter(COINIT_APARTMENTTHREADED, 1)));
  EXPECT_FALSE(isRunning(enter(COINIT_APARTMENTTHREADED, 2))) << "entered already: S_FALSE is no success";
  EXPECT_FALSE(isRunning(enter(COINIT_MULTITHREADED, 2))) << "the other apartment holds";
  locatorResult = REGDB_E_CLASSNOTREG;
  EXPECT_FALSE(isRunning());
  locatorResult = S_OK;
  blanketResult = E_ACCESSDENIED;
  EXPECT_FALSE(isRunning());
  blanketResult = S_OK;
  EXPECT_TRUE(isRunning());
}

TEST_F(WindowsUpdate, IsNotFoundWhereTheQueryIsRefused) {
  const ProgramNamed client(L"wuauclt.exe");
  ASSERT_TRUE(client.runs());
  queryRefused = true;
  EXPECT_FALSE(isRunning());
  queryRefused = false;
  EXPECT_TRUE(isRunning()) << "the next connection is asked again";
}

TEST_F(WindowsUpdate, IsNotFoundWhereTheConnectionIsRefused) {
  const ProgramNamed client(L"wuauclt.exe");
  ASSERT_TRUE(client.runs());
  connectionRefused = true;
  EXPECT_FALSE(isRunning());
  EXPECT_EQ(refusingLocator.asked, L"ROOT\\CIMV2");
  EXPECT_EQ(refusingLocator.releases, 1);
}

TEST_F(WindowsUpdate, AsksForTheNamesOfAllProcesses) {
  questionsAreRecorded = true;
  EXPECT_FALSE(isRunning());
  EXPECT_THAT(
      questions,
      testing::ElementsAre(
          L"CoCreateInstance {4590F811-1D3A-11D0-891F-00AA004B2E24} outer none context 23 "
          L"{DC12A687-737F-11CF-884D-00AA004B2E24}",
          L"ConnectServer ROOT\\CIMV2 user none password none locale none flags 0 authority none context none",
          // RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, EOAC_NONE
          L"CoSetProxyBlanket authentication 10 authorisation 0 principal none level 3 impersonation 3 identity none "
          L"capabilities 0",
          // WBEM_FLAG_FORWARD_ONLY and WBEM_FLAG_RETURN_IMMEDIATELY
          L"ExecQuery WQL: SELECT * FROM Win32_Process flags 48 context none", L"Next timeout -1 count 1",
          L"Get Name flags 0 type none flavour none"));
}

int main(int argumentCount, char** arguments) {
  if (const std::optional<int> exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
