// windows_update_test - whether the update client runs, as WMI tells it, and every way in which it cannot be asked.

#include "system/windows_update.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <thread>

#include <windows.h>

#include <objbase.h>
#include <wbemidl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/link_seam.h"
#include "support/program_named.h"
#include "support/test_child.h"

namespace {

HRESULT locatorResult = S_OK;  // S_OK lets the real call do it
HRESULT blanketResult = S_OK;
bool connectionRefused = false;
bool queryRefused = false;

HRESULT STDMETHODCALLTYPE refuseQuery(IWbemServices*, const BSTR, const BSTR, LONG, IWbemContext*,
                                      IEnumWbemClassObject**) {
  return WBEM_E_INVALID_QUERY;
}

// Takes the place of one function in the table of a connection's functions.
void refuseQueries(IUnknown* services) {
  constexpr std::size_t kFunctions = 26;  // of IWbemServices, in the order of its declaration
  constexpr std::size_t kExecQuery = 20;
  static std::array<void*, kFunctions> functions;
  void**& table = *reinterpret_cast<void***>(services);
  std::copy_n(table, kFunctions, functions.begin());
  functions[kExecQuery] = reinterpret_cast<void*>(&refuseQuery);
  table = functions.data();
}

// A locator that no connection can be had from.
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
  return realFunction<decltype(&::CoCreateInstance)>(L"ole32.dll", "CoCreateInstance")(id, outer, context, interfaceId,
                                                                                       made);
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
  }

  // On a thread of its own, whose apartments are no matter to any other test.
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

int main(int argumentCount, char** arguments) {
  if (const std::optional<int> exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  ::testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
