#include "system/machine_facts.h"

#include <gmock/gmock.h>

#include <string>

#include <windows.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"

using testing::ElementsAre;

namespace {

const wchar_t* systemDirectory = nullptr;

}  // namespace

LINK_SEAM(UINT, GetSystemDirectoryW, (LPWSTR buffer, UINT size)) {
  if (!systemDirectory) {
    return realFunction<decltype(&::GetSystemDirectoryW)>(L"kernel32.dll", "GetSystemDirectoryW")(buffer, size);
  }
  return static_cast<UINT>(std::wstring(systemDirectory).copy(buffer, size));
}

namespace {

const std::wstring kProductKey = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\SystemInformation";

class VirtualMachine : public testing::Test {
 protected:
  VirtualMachine() { removeKey(kProductKey); }
  ~VirtualMachine() override { removeKey(kProductKey); }
};

}  // namespace

TEST_F(VirtualMachine, IsOneWhoseProductNameHoldsVirtualInAnyCase) {
  for (const wchar_t* name : {L"Virtual Machine", L"VirtualBox", L"Some VIRTUAL Platform", L"virtual", L"xvIrTuAlx"}) {
    plantString(kProductKey, L"SystemProductName", name);
    EXPECT_TRUE(IsVirtualMachine()) << testing::PrintToString(name);
  }
}

TEST_F(VirtualMachine, IsNoneWithAnyOtherName) {
  for (const wchar_t* name : {L"", L"Standard PC", L"virtua", L"v i r t u a l"}) {
    plantString(kProductKey, L"SystemProductName", name);
    EXPECT_FALSE(IsVirtualMachine()) << testing::PrintToString(name);
  }
}

TEST_F(VirtualMachine, IsNoneWithoutTheKeyOrTheValue) {
  EXPECT_FALSE(IsVirtualMachine());
  plantString(kProductKey, L"OtherName", L"virtual");
  EXPECT_FALSE(IsVirtualMachine());
}

TEST_F(VirtualMachine, IsNoneWhenTheNameDoesNotFitInto260Bytes) {
  plantString(kProductKey, L"SystemProductName", std::wstring(122, L'x') + L"virtual");
  EXPECT_TRUE(IsVirtualMachine());  // 129 characters and the terminator
  plantString(kProductKey, L"SystemProductName", std::wstring(123, L'x') + L"virtual");
  EXPECT_FALSE(IsVirtualMachine());
}

TEST(OsDrive, IsTheRootOfTheSystemFoldersDrive) {
  const CapturedLog log;
  EXPECT_EQ(GetOSDrive(), L"C:\\");
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG CommonHelperUtilities::GetOSDrive: C:\\"));
}

TEST(OsDrive, NeedNotBeC) {
  systemDirectory = L"F:\\Windows\\system32";
  const CapturedLog log;
  EXPECT_EQ(GetOSDrive(), L"F:\\");
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG CommonHelperUtilities::GetOSDrive: F:\\"));
  systemDirectory = nullptr;
}
