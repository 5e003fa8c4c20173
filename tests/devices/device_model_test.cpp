// device_model_test - the bench machine's devices and driver packages behave as they do on Windows; all other device
// tests depend on that.

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include <windows.h>

#include <cfgmgr32.h>
#include <newdev.h>
#include <setupapi.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "devices/device_model.h"
#include "support/test_child.h"
#include "support/test_registry.h"
#include "system/handles.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr GUID kMediaClass = {0x4d36e96c, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
constexpr DWORD kNoSuchDevice = static_cast<DWORD>(ERROR_NO_SUCH_DEVINST);

std::vector<std::wstring> idsIn(const DeviceSet& set) {
  std::vector<std::wstring> ids;
  SP_DEVINFO_DATA data = emptyData();
  for (DWORD index = 0; ::SetupDiEnumDeviceInfo(set.get(), index, &data); ++index) {
    ids.push_back(idOf(data.DevInst));
  }
  EXPECT_EQ(::GetLastError(), ERROR_NO_MORE_ITEMS);
  return ids;
}

DWORD readProperty(const DeviceSet& set, SP_DEVINFO_DATA data, DWORD property) {
  BYTE buffer[512];
  return errorOf(
      ::SetupDiGetDeviceRegistryPropertyW(set.get(), &data, property, nullptr, buffer, sizeof(buffer), nullptr));
}

DWORD callRemove(const DeviceSet& set, SP_DEVINFO_DATA data) {
  SP_REMOVEDEVICE_PARAMS parameters = {};
  parameters.ClassInstallHeader.cbSize = sizeof(parameters.ClassInstallHeader);
  parameters.ClassInstallHeader.InstallFunction = DIF_REMOVE;
  parameters.Scope = DI_REMOVEDEVICE_GLOBAL;
  if (!::SetupDiSetClassInstallParamsW(set.get(), &data, &parameters.ClassInstallHeader, sizeof(parameters))) {
    return ::GetLastError();
  }
  return errorOf(::SetupDiCallClassInstaller(DIF_REMOVE, set.get(), &data));
}

TEST_F(DeviceModel, ListsAllDevicesOneClassOrThosePresentInTheirOrder) {
  EXPECT_THAT(idsIn(allDevices()), ElementsAre(kBus, kGraphics, kSound, kOldSound));
  EXPECT_THAT(idsIn(DeviceSet(::SetupDiGetClassDevsW(&kMediaClass, nullptr, nullptr, 0))),
              ElementsAre(kSound, kOldSound));
  EXPECT_THAT(idsIn(DeviceSet(::SetupDiGetClassDevsW(&kMediaClass, nullptr, nullptr, DIGCF_PRESENT))),
              ElementsAre(kSound));
  EXPECT_EQ(::SetupDiGetClassDevsW(nullptr, nullptr, nullptr, 0), INVALID_HANDLE_VALUE);
  EXPECT_EQ(::GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(DeviceModel, RefusesAnInvalidSetAndStructuresOfAnotherSize) {
  SP_DEVINFO_DATA data = emptyData();
  EXPECT_EQ(errorOf(::SetupDiEnumDeviceInfo(INVALID_HANDLE_VALUE, 0, &data)), ERROR_INVALID_HANDLE);
  EXPECT_EQ(errorOf(::SetupDiDestroyDeviceInfoList(INVALID_HANDLE_VALUE)), ERROR_INVALID_HANDLE);
  const DeviceSet set = allDevices();
  data.cbSize = 24;
  EXPECT_EQ(errorOf(::SetupDiEnumDeviceInfo(set.get(), 0, &data)), ERROR_INVALID_USER_BUFFER);
  EXPECT_EQ(readProperty(set, emptyData(), SPDRP_CLASS), ERROR_INVALID_PARAMETER);  // not a device of the set

  data = dataOf(set, kGraphics);
  SP_DEVINSTALL_PARAMS_W parameters = {};
  EXPECT_EQ(errorOf(::SetupDiGetDeviceInstallParamsW(set.get(), &data, &parameters)), ERROR_INVALID_USER_BUFFER);
  SP_DRVINFO_DATA_V2_W driver = {};
  ASSERT_TRUE(::SetupDiBuildDriverInfoList(set.get(), &data, SPDIT_COMPATDRIVER));
  EXPECT_EQ(errorOf(::SetupDiEnumDriverInfoW(set.get(), &data, SPDIT_COMPATDRIVER, 0, &driver)),
            ERROR_INVALID_USER_BUFFER);
}

TEST_F(DeviceModel, TellsTheSizeOfAPropertyThenItsValue) {
  const DeviceSet set = allDevices();
  SP_DEVINFO_DATA data = dataOf(set, kGraphics);
  DWORD type = REG_NONE;
  DWORD size = 0;
  EXPECT_EQ(errorOf(::SetupDiGetDeviceRegistryPropertyW(set.get(), &data, SPDRP_HARDWAREID, &type, nullptr, 0, &size)),
            ERROR_INSUFFICIENT_BUFFER);
  const wchar_t wanted[] = L"PCI\\VEN_7A11&DEV_744C&REV_C8\0PCI\\VEN_7A11&DEV_744C\0";
  ASSERT_EQ(size, sizeof(wanted));
  EXPECT_EQ(type, static_cast<DWORD>(REG_MULTI_SZ));
  std::array<wchar_t, std::size(wanted)> value = {};
  ASSERT_TRUE(::SetupDiGetDeviceRegistryPropertyW(set.get(), &data, SPDRP_HARDWAREID, nullptr,
                                                  reinterpret_cast<BYTE*>(value.data()), size, nullptr));
  EXPECT_EQ(std::memcmp(value.data(), wanted, sizeof(wanted)), 0);

  BYTE number[4] = {};
  ASSERT_TRUE(
      ::SetupDiGetDeviceRegistryPropertyW(set.get(), &data, SPDRP_INSTALL_STATE, &type, number, sizeof(number), &size));
  EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));
  EXPECT_THAT(number, ElementsAre(2, 0, 0, 0));
  EXPECT_EQ(readProperty(set, data, SPDRP_FRIENDLYNAME), ERROR_INVALID_DATA);
}

TEST_F(DeviceModel, WalksTheTreeOfThePresentDevices) {
  DEVINST root = 0;
  DEVINST found = 0;
  ASSERT_EQ(::CM_Locate_DevNodeW(&root, nullptr, CM_LOCATE_DEVNODE_NORMAL), CR_SUCCESS);
  EXPECT_EQ(idOf(root), L"HTREE\\ROOT\\0");
  EXPECT_EQ(::CM_Get_Parent(&found, root, 0), CR_NO_SUCH_DEVNODE);
  const DeviceSet set = allDevices();
  const DEVINST bus = dataOf(set, kBus).DevInst;
  const DEVINST display = dataOf(set, kGraphics).DevInst;
  const DEVINST media = dataOf(set, kSound).DevInst;
  const DEVINST absent = dataOf(set, kOldSound).DevInst;
  EXPECT_EQ(::CM_Get_Child(&found, root, 0), CR_SUCCESS);
  EXPECT_EQ(found, bus);
  EXPECT_EQ(::CM_Get_Parent(&found, bus, 0), CR_SUCCESS);
  EXPECT_EQ(found, root);
  EXPECT_EQ(::CM_Get_Parent(&found, media, 0), CR_SUCCESS);
  EXPECT_EQ(found, bus);
  EXPECT_EQ(::CM_Get_Child(&found, bus, 0), CR_SUCCESS);
  EXPECT_EQ(found, display);
  EXPECT_EQ(::CM_Get_Sibling(&found, display, 0), CR_SUCCESS);
  EXPECT_EQ(found, media);
  EXPECT_EQ(::CM_Get_Sibling(&found, media, 0), CR_NO_SUCH_DEVNODE);
  EXPECT_EQ(::CM_Get_Child(&found, media, 0), CR_NO_SUCH_DEVNODE);
  EXPECT_EQ(::CM_Get_Parent(&found, absent, 0), CR_NO_SUCH_DEVNODE);

  ULONG status = 0;
  ULONG problem = 0;
  EXPECT_EQ(::CM_Get_DevNode_Status(&status, &problem, display, 0), CR_SUCCESS);
  EXPECT_TRUE(status & DN_STARTED);
  EXPECT_EQ(::CM_Get_DevNode_Status(&status, &problem, absent, 0), CR_NO_SUCH_DEVNODE);
}

TEST_F(DeviceModel, MeasuresADeviceIdWithoutItsEnd) {
  const DEVINST device = dataOf(allDevices(), kBus).DevInst;
  ULONG length = 0;
  EXPECT_EQ(::CM_Get_Device_ID_Size(&length, device, 0), CR_SUCCESS);
  EXPECT_EQ(length, kBus.size());
  std::wstring id(length + 1, L'?');
  EXPECT_EQ(::CM_Get_Device_IDW(device, id.data(), length - 1, 0), CR_BUFFER_SMALL);
  EXPECT_EQ(::CM_Get_Device_IDW(device, id.data(), length, 0), CR_SUCCESS);
  EXPECT_EQ(id, kBus + L"?");
  EXPECT_EQ(::CM_Get_Device_ID_Size(&length, 4711, 0), CR_NO_SUCH_DEVNODE);
}

TEST_F(DeviceModel, RemovedDeviceIsGoneButItsSetStillTellsThatARestartIsNeeded) {
  const DeviceSet set = allDevices();
  const DeviceSet other = allDevices();
  const SP_DEVINFO_DATA data = dataOf(set, kGraphics);
  const std::wstring driverKey =
      LR"(HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Class\)" +
      readString(LR"(HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Enum\)" + kGraphics, L"Driver").value_or(L"");
  EXPECT_EQ(readString(driverKey, L"InfPath"), L"oem3.inf");
  EXPECT_EQ(installParameters(set, data).Flags, 0u);
  EXPECT_EQ(callRemove(set, data), ERROR_SUCCESS);
  EXPECT_FALSE(deviceExists(kGraphics));
  EXPECT_FALSE(keyExists(driverKey));
  EXPECT_TRUE(installParameters(set, data).Flags & DI_NEEDRESTART);
  EXPECT_EQ(readProperty(set, data, SPDRP_CLASS), kNoSuchDevice);
  EXPECT_EQ(readProperty(other, data, SPDRP_CLASS), kNoSuchDevice);
  EXPECT_EQ(callRemove(other, data), kNoSuchDevice);
  EXPECT_THAT(idsIn(allDevices()), ElementsAre(kBus, kSound, kOldSound));
  EXPECT_THAT(recordedCalls(), ElementsAre(L"DIF_REMOVE " + kGraphics + L" -> 0"));
}

TEST_F(DeviceModel, RemovalTakesADeviceOutOfItsSetAndMovesTheOthersUp) {
  const DeviceSet set(::SetupDiGetClassDevsW(&kMediaClass, nullptr, nullptr, 0));
  const DeviceSet other(::SetupDiGetClassDevsW(&kMediaClass, nullptr, nullptr, 0));
  const DEVINST removed = dataOf(set, kSound).DevInst;
  const DEVINST next = dataOf(set, kOldSound).DevInst;
  SP_DEVINFO_DATA data = emptyData();
  ASSERT_TRUE(::SetupDiEnumDeviceInfo(set.get(), 0, &data));
  EXPECT_EQ(data.DevInst, removed);
  EXPECT_TRUE(::SetupDiRemoveDevice(set.get(), &data));
  ASSERT_TRUE(::SetupDiEnumDeviceInfo(set.get(), 0, &data));
  EXPECT_EQ(data.DevInst, next);
  EXPECT_FALSE(::SetupDiEnumDeviceInfo(set.get(), 1, &data));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_ITEMS));
  ASSERT_TRUE(::SetupDiEnumDeviceInfo(other.get(), 0, &data));
  EXPECT_EQ(data.DevInst, removed) << "a set that was made before still lists it";
}

TEST_F(DeviceModel, RemovalOfABusMakesItsChildrenAbsent) {
  const DeviceSet set = allDevices();
  ASSERT_EQ(callRemove(set, dataOf(set, kBus)), ERROR_SUCCESS);
  EXPECT_THAT(idsIn(DeviceSet(::SetupDiGetClassDevsW(&kMediaClass, nullptr, nullptr, DIGCF_PRESENT))), IsEmpty());
  EXPECT_THAT(idsIn(allDevices()), ElementsAre(kGraphics, kSound, kOldSound));
}

TEST_F(DeviceModel, PlannedFailuresComeAsOftenAsPlanned) {
  failDeviceCall(kGraphics, L"DIF_REMOVE", ERROR_ACCESS_DENIED);
  failDeviceCall(kGraphics, L"CM_Get_Sibling", CR_FAILURE, 2);
  failDeviceCall(kSound, L"SetupDiGetDeviceInstallParamsW after removal", ERROR_GEN_FAILURE);
  const DeviceSet set = allDevices();
  SP_DEVINFO_DATA data = dataOf(set, kGraphics);
  EXPECT_EQ(callRemove(set, data), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(deviceExists(kGraphics));
  DEVINST found = 0;
  EXPECT_EQ(::CM_Get_Sibling(&found, data.DevInst, 0), CR_FAILURE);
  EXPECT_EQ(::CM_Get_Sibling(&found, data.DevInst, 0), CR_FAILURE);
  EXPECT_EQ(::CM_Get_Sibling(&found, data.DevInst, 0), CR_SUCCESS);
  BOOL reboot = TRUE;
  EXPECT_TRUE(::DiUninstallDevice(nullptr, set.get(), &data, 0, &reboot));
  EXPECT_FALSE(reboot);

  data = dataOf(set, kSound);
  SP_DEVINSTALL_PARAMS_W parameters = installParameters(set, data);
  EXPECT_EQ(callRemove(set, data), ERROR_SUCCESS);
  EXPECT_EQ(errorOf(::SetupDiGetDeviceInstallParamsW(set.get(), &data, &parameters)), ERROR_GEN_FAILURE);
  EXPECT_THAT(recordedCalls(),
              ElementsAre(L"DIF_REMOVE " + kGraphics + L" -> 5", L"DiUninstallDevice " + kGraphics + L" -> 0",
                          L"DIF_REMOVE " + kSound + L" -> 0"));
  failCall(L"SetupDiGetClassDevsW", ERROR_OUTOFMEMORY);
  EXPECT_FALSE(allDevices());
  EXPECT_EQ(::GetLastError(), ERROR_OUTOFMEMORY);
}

TEST_F(DeviceModel, RestorePointBeginsAndEnds) {
  using SetRestorePoint = BOOL(WINAPI*)(void*, void*);
  const auto setRestorePoint = reinterpret_cast<SetRestorePoint>(
      reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryW(L"srclient.dll"), "SRSetRestorePointW")));
  ASSERT_TRUE(setRestorePoint);
#pragma pack(push, 1)
  struct {
    DWORD event = 100;
    DWORD type = 0;
    INT64 number = 0;
    wchar_t description[256] = L"Before";
  } point;
  struct {
    DWORD status = 1;
    INT64 number = 0;
  } status;
#pragma pack(pop)
  EXPECT_TRUE(setRestorePoint(&point, &status));
  EXPECT_EQ(status.status, ERROR_SUCCESS);
  point.event = 101;
  point.number = status.number;
  EXPECT_TRUE(setRestorePoint(&point, &status));
  EXPECT_THAT(recordedCalls(), ElementsAre(L"SRSetRestorePointW Before -> 0", L"SRSetRestorePointW end of 1 -> 0"));
}

class NotCovered : public testing::TestWithParam<const wchar_t*> {};

TEST_P(NotCovered, EndsTheProgramWithAnExitCodeOfItsOwn) {
  std::wstring command = L"\"" + ownProgram() + L"\" --not-covered " + GetParam();
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started = {};
  ASSERT_TRUE(
      ::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started));
  const KernelHandle process(started.hProcess);
  const KernelHandle thread(started.hThread);
  ASSERT_EQ(::WaitForSingleObject(process.get(), 30'000), WAIT_OBJECT_0);
  DWORD exitCode = 0;
  ::GetExitCodeProcess(process.get(), &exitCode);
  EXPECT_EQ(exitCode, 99u);
}

INSTANTIATE_TEST_SUITE_P(Calls, NotCovered, testing::Values(L"flag", L"function", L"call"));

// Runs in a child process; returns only if the model let the call pass.
int callNotCovered(const std::string& what) {
  if (what == "flag") {
    ::SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES | DIGCF_PROFILE);
  } else if (what == "function") {
    ::SetupDiCallClassInstaller(DIF_PROPERTYCHANGE, INVALID_HANDLE_VALUE, nullptr);
  } else if (what == "call") {
    ::SetupDiDeleteDeviceInfo(INVALID_HANDLE_VALUE, nullptr);
  }
  return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount == 3 && std::string(arguments[1]) == "--not-covered") {
    return callNotCovered(arguments[2]);
  }
  testing::InitGoogleMock(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
