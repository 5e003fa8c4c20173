#include "app/machine_restart.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "applications/uninstall_runner.h"
#include "devices/setup.h"
#include "support/link_seam.h"
#include "support/test_registry.h"
#include "system/file_operations.h"

namespace {

constexpr wchar_t kMarkerKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility";

struct Restart {
  UINT flags;
  DWORD reason;
};

std::vector<Restart> restarts;
bool tokenRefused = false;
DWORD privilegeError = ERROR_SUCCESS;

// What the restart asks for before it may happen.
struct TokenRequest {
  HANDLE process;
  DWORD access;
  HANDLE token;
};
struct Adjustment {
  HANDLE token;
  BOOL disablesAll;
  DWORD count;
  LUID privilege;
  DWORD attributes;
  DWORD previousSize;
  bool asksForPrevious;
};

std::vector<TokenRequest> tokenRequests;
std::vector<std::wstring> privilegeNames;  // behind the machine that was asked
std::vector<Adjustment> adjustments;
std::vector<REGSAM> softwareAccess;  // the rights that HKEY_LOCAL_MACHINE\SOFTWARE was opened with

}  // namespace

LINK_SEAM(BOOL, ExitWindowsEx, (UINT flags, DWORD reason)) {
  restarts.push_back({flags, reason});
  return TRUE;
}

LINK_SEAM(BOOL, OpenProcessToken, (HANDLE process, DWORD access, PHANDLE token)) {
  if (tokenRefused) {
    return FALSE;
  }
  const BOOL opened =
      realFunction<decltype(&::OpenProcessToken)>(L"advapi32.dll", "OpenProcessToken")(process, access, token);
  tokenRequests.push_back({process, access, *token});
  return opened;
}

LINK_SEAM(BOOL, LookupPrivilegeValueW, (LPCWSTR machine, LPCWSTR name, PLUID privilege)) {
  privilegeNames.push_back((machine ? std::wstring(machine) : L"this machine") + L": " + name);
  return realFunction<decltype(&::LookupPrivilegeValueW)>(L"advapi32.dll", "LookupPrivilegeValueW")(machine, name,
                                                                                                    privilege);
}

// Windows grants it whether or not the privilege is to be had, and tells by the last error alone.
LINK_SEAM(BOOL, AdjustTokenPrivileges,
          (HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES wanted, DWORD previousSize, PTOKEN_PRIVILEGES previous,
           PDWORD needed)) {
  adjustments.push_back({token, disableAll, wanted->PrivilegeCount, wanted->Privileges[0].Luid,
                         wanted->Privileges[0].Attributes, previousSize, previous || needed});
  if (privilegeError != ERROR_SUCCESS) {
    ::SetLastError(privilegeError);
    return TRUE;
  }
  return realFunction<decltype(&::AdjustTokenPrivileges)>(L"advapi32.dll", "AdjustTokenPrivileges")(
      token, disableAll, wanted, previousSize, previous, needed);
}

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY key, LPCWSTR subkey, DWORD options, REGSAM access, PHKEY result)) {
  if (key == HKEY_LOCAL_MACHINE && subkey && std::wstring(subkey) == L"SOFTWARE") {
    softwareAccess.push_back(access);
  }
  return realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(key, subkey, options, access,
                                                                                    result);
}

namespace {

class MachineRestart : public testing::Test {
 protected:
  void SetUp() override {
    restarts.clear();
    tokenRefused = false;
    privilegeError = ERROR_SUCCESS;
    tokenRequests.clear();
    privilegeNames.clear();
    adjustments.clear();
    removeKey(kMarkerKey);
    softwareAccess.clear();
  }
};

}  // namespace

TEST_F(MachineRestart, IsDueForEachOfTheThreeReasons) {
  fileRebootPending = applicationRebootNeeded = deviceRebootNeeded = false;
  EXPECT_FALSE(isRestartDue());
  for (bool* flag : {&fileRebootPending, &applicationRebootNeeded, &deviceRebootNeeded}) {
    *flag = true;
    EXPECT_TRUE(isRestartDue());
    *flag = false;
  }
}

TEST_F(MachineRestart, IsAnnouncedWithTheRightsToReadWriteAndCreate) {
  announceRestart();
  EXPECT_EQ(softwareAccess, (std::vector<REGSAM>{0x2001F}));
  EXPECT_EQ(readDword(kMarkerKey, L"RebootRequired"), std::optional<DWORD>(1));
}

TEST_F(MachineRestart, AsksForThePrivilegeToShutDownAndForNothingElse) {
  rebootMachine();
  ASSERT_EQ(tokenRequests.size(), 1u);
  EXPECT_EQ(tokenRequests[0].process, ::GetCurrentProcess());
  EXPECT_EQ(tokenRequests[0].access, static_cast<DWORD>(TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY));
  EXPECT_EQ(privilegeNames, (std::vector<std::wstring>{L"this machine: SeShutdownPrivilege"}));
  ASSERT_EQ(adjustments.size(), 1u);
  const Adjustment& adjustment = adjustments[0];
  EXPECT_EQ(adjustment.token, tokenRequests[0].token);
  EXPECT_FALSE(adjustment.disablesAll);
  EXPECT_EQ(adjustment.count, 1u);
  // The number that every Windows has for it.
  EXPECT_EQ(adjustment.privilege.LowPart, 19u);
  EXPECT_EQ(adjustment.privilege.HighPart, 0);
  EXPECT_EQ(adjustment.attributes, static_cast<DWORD>(SE_PRIVILEGE_ENABLED));
  EXPECT_EQ(adjustment.previousSize, 0u);
  EXPECT_FALSE(adjustment.asksForPrevious);
  ASSERT_EQ(restarts.size(), 1u);
  EXPECT_EQ(restarts[0].flags, static_cast<UINT>(EWX_REBOOT | EWX_FORCE));
  EXPECT_EQ(restarts[0].reason, 0x80000001u);
  // It is this process that has it now.
  PRIVILEGE_SET shutdown = {1, PRIVILEGE_SET_ALL_NECESSARY, {{{19, 0}, 0}}};
  BOOL enabled = FALSE;
  EXPECT_TRUE(::PrivilegeCheck(tokenRequests[0].token, &shutdown, &enabled));
  EXPECT_TRUE(enabled);
}

TEST_F(MachineRestart, IsGivenUpWithoutTheToken) {
  tokenRefused = true;
  rebootMachine();
  EXPECT_TRUE(restarts.empty());
  EXPECT_TRUE(adjustments.empty());
}

TEST_F(MachineRestart, IsGivenUpWithoutThePrivilege) {
  privilegeError = ERROR_NOT_ALL_ASSIGNED;
  rebootMachine();
  EXPECT_EQ(adjustments.size(), 1u);
  EXPECT_TRUE(restarts.empty());
}
