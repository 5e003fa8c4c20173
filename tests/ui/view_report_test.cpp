// view_report_test - how the report is opened, with and without a default browser.

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include <windows.h>

#include <shellapi.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"
#include "ui/finish_dialog.h"
#include "ui/program_module.h"
#include "ui/view_report.h"
#include "ui/window_fixture.h"

namespace {

std::vector<std::wstring> opened;  // verb|file|parameters
int shellAnswer = 42;
bool shellThrows = false;
bool registryThrows = false;

std::wstring textOrNone(LPCWSTR text) {
  return text ? text : L"none";
}

}  // namespace

LINK_SEAM(HINSTANCE, ShellExecuteW,
          (HWND owner, LPCWSTR verb, LPCWSTR file, LPCWSTR parameters, LPCWSTR folder, INT show)) {
  if (shellThrows) {
    throw std::bad_alloc();
  }
  EXPECT_EQ(owner, nullptr);
  EXPECT_EQ(folder, nullptr);
  EXPECT_EQ(show, SW_SHOWNORMAL);
  opened.push_back(textOrNone(verb) + L"|" + textOrNone(file) + L"|" + textOrNone(parameters));
  return reinterpret_cast<HINSTANCE>(static_cast<INT_PTR>(shellAnswer));
}

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, LPCWSTR subkey, DWORD options, REGSAM access, PHKEY key)) {
  if (registryThrows) {
    throw std::bad_alloc();
  }
  return realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(root, subkey, options, access, key);
}

namespace {

constexpr wchar_t kBrowserKey[] = L"HKEY_CLASSES_ROOT\\HTTP\\shell\\open\\ddeexec\\Application";

class ViewReport : public testing::Test {
 protected:
  void SetUp() override {
    opened.clear();
    shellAnswer = 42;
    shellThrows = registryThrows = false;
    removeKey(kBrowserKey);
  }

  void TearDown() override { registryThrows = false; }

  static std::wstring quotedReport() {
    wchar_t temp[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, temp);
    return std::wstring(L"\"") + temp + L"CleanUp\\report.xml\"";
  }
};

}  // namespace

TEST_F(ViewReport, WithoutADefaultBrowserTheFileTypesProgramOpensIt) {
  onViewReport();
  EXPECT_EQ(opened, std::vector<std::wstring>{L"open|" + quotedReport() + L"|none"});
}

TEST_F(ViewReport, DefaultBrowserGetsTheReportAsItsArgument) {
  plantString(kBrowserKey, L"", L"IExplore");
  onViewReport();
  EXPECT_EQ(opened, std::vector<std::wstring>{L"open|IExplore|" + quotedReport()});
}

TEST_F(ViewReport, EmptyNameCountsAsNone) {
  plantString(kBrowserKey, L"", L"");
  onViewReport();
  EXPECT_EQ(opened, std::vector<std::wstring>{L"open|" + quotedReport() + L"|none"});
}

TEST_F(ViewReport, KeyWithoutADefaultValueCountsAsNone) {
  plantString(kBrowserKey, L"Other", L"IExplore");
  EXPECT_EQ(GetDefaultBrowser(), L"");
}

TEST_F(ViewReport, NameOfUpTo259CharactersIsTaken) {
  plantString(kBrowserKey, L"", std::wstring(259, L'x'));
  EXPECT_EQ(GetDefaultBrowser(), std::wstring(259, L'x'));
  plantString(kBrowserKey, L"", std::wstring(260, L'x'));
  EXPECT_EQ(GetDefaultBrowser(), L"");
}

TEST_F(ViewReport, NameWithoutATerminatorIsTaken) {
  std::vector<BYTE> bytes(520);
  for (std::size_t at = 0; at < bytes.size(); at += 2) {
    bytes[at] = 'x';
  }
  plantBinary(kBrowserKey, L"", REG_SZ, bytes);
  EXPECT_EQ(GetDefaultBrowser(), std::wstring(260, L'x'));
}

TEST_F(ViewReport, FailureOfTheShellIsPassedOver) {
  shellAnswer = SE_ERR_FNF;
  const CapturedLog log;
  onViewReport();
  EXPECT_EQ(log.lines(), std::vector<std::string>());
}

TEST_F(ViewReport, ExceptionIsLogged) {
  shellThrows = true;
  const CapturedLog log;
  onViewReport();
  EXPECT_EQ(log.lines(), std::vector<std::string>{"ERROR onViewReport - Inside Catch"});
}

TEST_F(ViewReport, ExceptionOfTheRegistryIsLoggedAndTheReportOpensByItsType) {
  registryThrows = true;
  const CapturedLog log;
  onViewReport();
  registryThrows = false;
  EXPECT_EQ(log.lines(), std::vector<std::string>{"ERROR GetDefaultBrowser - Inside Catch"});
  EXPECT_EQ(opened, std::vector<std::wstring>{L"open|" + quotedReport() + L"|none"});
}

TEST_F(ViewReport, DialogStaysAndTheButtonWorksAgain) {
  moduleInstance = ::GetModuleHandleW(nullptr);
  int finishes = 0;
  const HWND dialog = openFinishDialog(1, [&finishes](HWND) { ++finishes; });
  ASSERT_TRUE(dialog);
  ::SendMessageW(::GetDlgItem(dialog, 1000), BM_CLICK, 0, 0);
  ::SendMessageW(::GetDlgItem(dialog, 1000), BM_CLICK, 0, 0);
  EXPECT_EQ(opened.size(), 2u);
  EXPECT_TRUE(::IsWindowVisible(dialog));
  EXPECT_EQ(finishes, 0);
  ::DestroyWindow(dialog);
  pumpWaitingMessages(nullptr);
}
