// com_security_test - whoever asks COM for something first in a process settles its security: the restore point's must
// be set before WMI is asked about Windows Update. Against a COM that goes by its documentation.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <windows.h>

#include <objbase.h>
#include <srrestoreptapi.h>
#include <wbemidl.h>

#include "app/restore_point.h"
#include "app/update_check.h"
#include "support/link_seam.h"

using ::testing::ElementsAre;

namespace {

// What has been asked of COM, in order.
std::vector<std::string> deeds;
int apartments = 0;
bool securityIsSet = false;
bool securityIsTheRestorePoints = false;
// Whether security lasts as long as the process, or only until its last thread has left COM: the documentation tells of
// the first, and a Windows that does the second must have its restore point too.
bool securityLasts = true;

// System Restore needs to be called back by services, which the default security refuses.
bool restorePointIsMade = false;

void leaveCom() {
  if (apartments > 0 && --apartments == 0 && !securityLasts) {
    securityIsSet = securityIsTheRestorePoints = false;
  }
}

}  // namespace

extern "C" __declspec(dllexport) BOOL WINAPI SRSetRestorePointW(RESTOREPOINTINFOW*, STATEMGRSTATUS* status) {
  deeds.push_back("restore point");
  restorePointIsMade = apartments > 0 && securityIsTheRestorePoints;
  *status = {};
  return restorePointIsMade;
}

LINK_SEAM(HMODULE, LoadLibraryExW, (const wchar_t* name, HANDLE file, DWORD flags)) {
  return std::wstring(name) == L"srclient.dll"
             ? ::GetModuleHandleW(nullptr)
             : realFunction<decltype(&::LoadLibraryExW)>(L"kernel32.dll", "LoadLibraryExW")(name, file, flags);
}

LINK_SEAM(BOOL, FreeLibrary, (HMODULE module)) {
  return module == ::GetModuleHandleW(nullptr)
             ? TRUE
             : realFunction<decltype(&::FreeLibrary)>(L"kernel32.dll", "FreeLibrary")(module);
}

LINK_SEAM(HRESULT, CoInitializeEx, (void*, DWORD)) {
  return ++apartments == 1 ? S_OK : S_FALSE;
}

LINK_SEAM(HRESULT, CoInitialize, (void*)) {
  return ++apartments == 1 ? S_OK : S_FALSE;
}

LINK_SEAM(void, CoUninitialize, ()) {
  leaveCom();
}

LINK_SEAM(HRESULT, CoInitializeSecurity,
          (PSECURITY_DESCRIPTOR, LONG, SOLE_AUTHENTICATION_SERVICE*, void*, DWORD, DWORD, void*, DWORD, void*)) {
  if (apartments == 0) {
    return CO_E_NOTINITIALIZED;
  }
  deeds.push_back("security");
  if (securityIsSet) {
    return RPC_E_TOO_LATE;
  }
  securityIsSet = securityIsTheRestorePoints = true;
  return S_OK;
}

// WMI is in another process: the way to it settles the security of this one.
LINK_SEAM(HRESULT, CoCreateInstance, (REFCLSID id, LPUNKNOWN, DWORD, REFIID, LPVOID*)) {
  EXPECT_TRUE(::IsEqualGUID(id, CLSID_WbemLocator));
  EXPECT_EQ(apartments, 1);
  deeds.push_back("WMI");
  securityIsSet = true;
  return REGDB_E_CLASSNOTREG;
}

namespace {

class ComSecurityOfARun : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    deeds.clear();
    apartments = 0;
    securityIsSet = securityIsTheRestorePoints = restorePointIsMade = false;
    securityLasts = GetParam();
  }
};

}  // namespace

TEST_P(ComSecurityOfARun, IsSetBeforeWmiIsAskedAndTheRestorePointIsMade) {
  checkWindowsUpdate();
  EXPECT_THAT(deeds, ElementsAre("security", "WMI"));
  EXPECT_EQ(apartments, 0);
  ::testing::internal::CaptureStdout();
  createRestorePoint();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Restore point created; number=0.\n");
  EXPECT_THAT(deeds, ElementsAre("security", "WMI", "security", "restore point", "restore point"));
  EXPECT_TRUE(restorePointIsMade);
  EXPECT_EQ(apartments, 0);
}

TEST_P(ComSecurityOfARun, IsSetByTheRestorePointWhereWmiIsNotAsked) {
  ::testing::internal::CaptureStdout();
  createRestorePoint();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Restore point created; number=0.\n");
  EXPECT_THAT(deeds, ElementsAre("security", "restore point", "restore point"));
  EXPECT_TRUE(restorePointIsMade);
}

INSTANTIATE_TEST_SUITE_P(Lasting, ComSecurityOfARun, ::testing::Values(true, false));
