// safe_boot_test - in safe mode, the services that installers need are added to that mode's list and started. In a
// normal boot nothing happens.

#include "system/safe_boot.h"

#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

int cleanBoot = 0;
bool shellIsMissing = false;
std::wstring watchedKey;  // whether it exists when the command runs is recorded before the command
std::vector<std::wstring> launched;
PROCESS_INFORMATION lastStarted = {};
std::vector<DWORD> waits;  // for the end of the last started process, in milliseconds
int closedHandles = 0;     // of its two

const std::wstring kSafeBoot = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\SafeBoot";

}  // namespace

LINK_SEAM(int, GetSystemMetrics, (int index)) {
  return index == SM_CLEANBOOT ? cleanBoot
                               : realFunction<decltype(&::GetSystemMetrics)>(L"user32.dll", "GetSystemMetrics")(index);
}

// The services are not started: some exist on the test machine and would keep it busy. The shell is real.
LINK_SEAM(BOOL, CreateProcessW,
          (LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
           LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR directory,
           LPSTARTUPINFOW startup, LPPROCESS_INFORMATION process)) {
  EXPECT_EQ(application, nullptr);
  EXPECT_FALSE(inherit);
  EXPECT_EQ(flags, static_cast<DWORD>(CREATE_NO_WINDOW));
  launched.push_back((watchedKey.empty()      ? L""
                      : keyExists(watchedKey) ? L"entered: "
                                              : L"not entered: ") +
                     std::wstring(commandLine));
  if (shellIsMissing) {
    ::SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  std::wstring refusing = L"cmd.exe /C exit 2";  // what `net start` returns for a service that does not start
  const BOOL started = realFunction<decltype(&::CreateProcessW)>(L"kernel32.dll", "CreateProcessW")(
      application, refusing.data(), processSecurity, threadSecurity, inherit, flags, environment, directory, startup,
      process);
  lastStarted = *process;
  return started;
}

LINK_SEAM(DWORD, WaitForSingleObject, (HANDLE object, DWORD milliseconds)) {
  if (lastStarted.hProcess && object == lastStarted.hProcess) {
    waits.push_back(milliseconds);
  }
  return realFunction<decltype(&::WaitForSingleObject)>(L"kernel32.dll", "WaitForSingleObject")(object, milliseconds);
}

LINK_SEAM(BOOL, CloseHandle, (HANDLE object)) {
  if (lastStarted.hProcess && (object == lastStarted.hProcess || object == lastStarted.hThread)) {
    ++closedHandles;
  }
  return realFunction<decltype(&::CloseHandle)>(L"kernel32.dll", "CloseHandle")(object);
}

namespace {

struct Service {
  void (*start)();
  std::wstring key;
  std::wstring name;
  std::string startLine;
  std::string failureLine;
  std::string successLine;
};

const Service kServices[] = {
    {StartMsiServerInSafeMode, L"MSIServer", L"msiserver",
     "DEBUG ------------In Safe Mode, Starting MSI Server--------------", "DEBUG Couldn't start msiservice",
     "DEBUG ------------Starting msiservice successful--------------"},
    {StartAppXSvcInSafeMode, L"AppXSVC", L"AppXSVC", "DEBUG ------------In Safe Mode, Starting AppXSVC--------------",
     "DEBUG Couldn't start AppXSVC", "DEBUG ------------Starting AppXSVC successful--------------"},
    {StartCamSvcInSafeMode, L"camsvc", L"camsvc", "DEBUG ------------In Safe Mode, Starting camsvc--------------",
     "DEBUG Couldn't start camsvc", "DEBUG ------------Starting camsvc successful--------------"},
};

// The bytes of a key's default value, if it is a REG_SZ.
std::vector<BYTE> defaultValue(const std::wstring& path) {
  const std::wstring below = path.substr(path.find(L'\\') + 1);
  BYTE data[64];
  DWORD size = sizeof(data);
  if (::RegGetValueW(HKEY_LOCAL_MACHINE, below.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, data, &size) !=
      ERROR_SUCCESS) {
    return {};
  }
  return {data, data + size};
}

const std::vector<BYTE> kServiceText = {'S', 0, 'e', 0, 'r', 0, 'v', 0, 'i', 0, 'c', 0, 'e', 0, 0, 0};

std::wstring shellCommand(const std::wstring& service) {
  wchar_t folder[MAX_PATH] = {};
  ::GetSystemDirectoryW(folder, MAX_PATH);
  return L"\"" + std::wstring(folder) + L"\\cmd.exe\" /C \"net start " + service + L"\"";
}

class SafeBoot : public testing::Test {
 protected:
  void SetUp() override {
    cleanBoot = 0;
    shellIsMissing = false;
    watchedKey.clear();
    launched.clear();
    lastStarted = {};
    waits.clear();
    closedHandles = 0;
    removeKey(kSafeBoot);
  }
};

}  // namespace

TEST_F(SafeBoot, NormalBootDoesNothing) {
  const CapturedLog log;
  for (const Service& service : kServices) {
    service.start();
  }
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(launched, IsEmpty());
  EXPECT_FALSE(keyExists(kSafeBoot));
}

TEST_F(SafeBoot, ServiceIsEnteredIntoTheListOfTheModeAtHandAndStarted) {
  struct Mode {
    int cleanBoot;
    std::wstring entered;
    std::wstring other;
  };
  // Windows uses 1 and 2; any higher value counts as the mode with networking.
  for (const Mode& mode : {Mode{1, L"\\Minimal", L"\\Network"}, Mode{2, L"\\Network", L"\\Minimal"},
                           Mode{3, L"\\Network", L"\\Minimal"}}) {
    for (const Service& service : kServices) {
      SetUp();
      cleanBoot = mode.cleanBoot;
      const std::wstring key = kSafeBoot + mode.entered + L"\\" + service.key;
      watchedKey = key;
      const CapturedLog log;
      service.start();
      EXPECT_EQ(defaultValue(key), kServiceText) << service.startLine;
      EXPECT_FALSE(keyExists(kSafeBoot + mode.other)) << service.startLine;
      EXPECT_THAT(launched, ElementsAre(L"entered: " + shellCommand(service.name)));
      EXPECT_THAT(log.lines(), ElementsAre(service.startLine, service.successLine))
          << "a service that refused to start counts as started";
    }
  }
}

TEST_F(SafeBoot, CommandIsWaitedForWithoutALimitAndNothingOfItStaysOpen) {
  cleanBoot = 1;
  for (const Service& service : kServices) {
    waits.clear();
    closedHandles = 0;
    service.start();
    EXPECT_THAT(waits, ElementsAre(static_cast<DWORD>(INFINITE))) << service.startLine;
    EXPECT_EQ(closedHandles, 2) << service.startLine;
    lastStarted = {};
  }
}

TEST_F(SafeBoot, OtherEntriesOfTheListStay) {
  cleanBoot = 1;
  plantString(kSafeBoot + L"\\Minimal\\Base", L"", L"Driver Group");
  plantString(kSafeBoot + L"\\Network\\MSIServer", L"", L"as it was");
  StartMsiServerInSafeMode();
  EXPECT_EQ(readString(kSafeBoot + L"\\Minimal\\Base", L""), L"Driver Group");
  EXPECT_EQ(readString(kSafeBoot + L"\\Network\\MSIServer", L""), L"as it was");
}

TEST_F(SafeBoot, ExistingEntryGetsItsDefaultValueAgain) {
  for (const Service& service : kServices) {
    cleanBoot = 2;
    const std::wstring key = kSafeBoot + L"\\Network\\" + service.key;
    plantString(key, L"", L"something else, and longer");
    plantString(key, L"Neighbour", L"stays");
    service.start();
    EXPECT_EQ(defaultValue(key), kServiceText) << service.startLine;
    EXPECT_EQ(readString(key, L"Neighbour"), L"stays");
  }
}

TEST_F(SafeBoot, MissingShellIsLoggedAndTheEntryStays) {
  for (const Service& service : kServices) {
    SetUp();
    cleanBoot = 1;
    shellIsMissing = true;
    const CapturedLog log;
    service.start();
    EXPECT_THAT(log.lines(), ElementsAre(service.startLine, service.failureLine));
    EXPECT_EQ(defaultValue(kSafeBoot + L"\\Minimal\\" + service.key), kServiceText);
  }
}

TEST_F(SafeBoot, EntryThatCannotBeMadeDoesNotStopTheStart) {
  cleanBoot = 1;
  // The system refuses to create a permanent key below a volatile one.
  HKEY key = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kSafeBoot.substr(kSafeBoot.find(L'\\') + 1).c_str(), 0, nullptr,
                              REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  ::RegCloseKey(key);
  const CapturedLog log;
  StartMsiServerInSafeMode();
  EXPECT_FALSE(keyExists(kSafeBoot + L"\\Minimal\\MSIServer"));
  EXPECT_THAT(launched, ElementsAre(shellCommand(L"msiserver")));
  EXPECT_THAT(log.lines(), ElementsAre(kServices[0].startLine, kServices[0].successLine));
}
