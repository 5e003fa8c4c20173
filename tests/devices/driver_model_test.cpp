// driver_model_test - the bench machine's drivers and driver packages behave as they do on Windows.

#include <cstddef>
#include <string>
#include <vector>

#include <windows.h>

#include <setupapi.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "devices/device_model.h"
#include "support/test_devices.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class DriverModel : public DeviceModel {};

SP_DRVINFO_DATA_V2_W driverAt(const DeviceSet& set, SP_DEVINFO_DATA data, DWORD type, DWORD index) {
  SP_DRVINFO_DATA_V2_W driver = {};
  driver.cbSize = sizeof(driver);
  EXPECT_TRUE(::SetupDiEnumDriverInfoW(set.get(), &data, type, index, &driver)) << ::GetLastError();
  return driver;
}

// Asks for drivers that are marked ExcludeFromSelect as well.
void setFlagsEx(const DeviceSet& set, SP_DEVINFO_DATA data, DWORD flags) {
  SP_DEVINSTALL_PARAMS_W parameters = installParameters(set, data);
  parameters.FlagsEx = flags;
  EXPECT_TRUE(::SetupDiSetDeviceInstallParamsW(set.get(), &data, &parameters)) << ::GetLastError();
}

// The providers in the driver list, which is built if there is none yet.
std::vector<std::wstring> listedProviders(const DeviceSet& set, SP_DEVINFO_DATA data, DWORD type) {
  EXPECT_TRUE(::SetupDiBuildDriverInfoList(set.get(), &data, type));
  std::vector<std::wstring> providers;
  SP_DRVINFO_DATA_V2_W driver = {};
  driver.cbSize = sizeof(driver);
  for (DWORD index = 0; ::SetupDiEnumDriverInfoW(set.get(), &data, type, index, &driver); ++index) {
    providers.push_back(driver.ProviderName);
  }
  EXPECT_EQ(::GetLastError(), ERROR_NO_MORE_ITEMS);
  return providers;
}

// The providers of all drivers, from a new list.
std::vector<std::wstring> driverProviders(const DeviceSet& set, SP_DEVINFO_DATA data, DWORD type) {
  setFlagsEx(set, data, DI_FLAGSEX_ALLOWEXCLUDEDDRVS);
  const std::vector<std::wstring> providers = listedProviders(set, data, type);
  EXPECT_TRUE(::SetupDiDestroyDriverInfoList(set.get(), &data, type));
  return providers;
}

using UninstallDriver = BOOL(WINAPI*)(HWND, LPCWSTR, DWORD, PBOOL);

UninstallDriver uninstallDriver() {
  return reinterpret_cast<UninstallDriver>(
      reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryW(L"newdev.dll"), "DiUninstallDriverW")));
}

TEST_F(DriverModel, ListsTheDriversOfADeviceTheBestFirst) {
  const DeviceSet set = allDevices();
  SP_DEVINFO_DATA data = dataOf(set, kGraphics);
  setFlagsEx(set, data, DI_FLAGSEX_ALLOWEXCLUDEDDRVS);
  EXPECT_THAT(listedProviders(set, data, SPDIT_COMPATDRIVER), ElementsAre(L"ORV Inc.", L"Microsoft"));
  SP_DRVINFO_DATA_V2_W driver = driverAt(set, data, SPDIT_COMPATDRIVER, 0);
  EXPECT_STREQ(driver.Description, L"ORV Orvane Graphics");
  EXPECT_STREQ(driver.MfgName, L"KTL Tech");
  EXPECT_EQ(driver.DriverVersion, 0x001F0000522503EEull);

  DWORD size = 0;
  EXPECT_EQ(errorOf(::SetupDiGetDriverInfoDetailW(set.get(), &data, &driver, nullptr, 0, &size)),
            ERROR_INSUFFICIENT_BUFFER);
  ASSERT_GT(size, sizeof(SP_DRVINFO_DETAIL_DATA_W));
  std::vector<BYTE> buffer(size);
  auto* detail = reinterpret_cast<SP_DRVINFO_DETAIL_DATA_W*>(buffer.data());
  EXPECT_EQ(errorOf(::SetupDiGetDriverInfoDetailW(set.get(), &data, &driver, detail, size, nullptr)),
            ERROR_INVALID_USER_BUFFER);
  detail->cbSize = sizeof(*detail);
  ASSERT_TRUE(::SetupDiGetDriverInfoDetailW(set.get(), &data, &driver, detail, size, nullptr));
  EXPECT_STREQ(detail->InfFileName, L"C:\\windows\\INF\\oem3.inf");
  EXPECT_STREQ(detail->SectionName, L"Graphics_Install");
  // Through a pointer of its own: the array is declared with one character, as its real length is not known.
  const wchar_t* const hardwareId =
      reinterpret_cast<const wchar_t*>(buffer.data() + offsetof(SP_DRVINFO_DETAIL_DATA_W, HardwareID));
  EXPECT_STREQ(hardwareId, L"PCI\\VEN_7A11&DEV_744C&REV_C8");
  SYSTEMTIME date = {};
  ASSERT_TRUE(::FileTimeToSystemTime(&detail->InfDate, &date));
  EXPECT_EQ(date.wYear, 2024);
  EXPECT_EQ(date.wMonth, 2);
  EXPECT_EQ(date.wDay, 29);

  // A structure without room for the ids is filled with the rest.
  SP_DRVINFO_DETAIL_DATA_W fixed = {};
  fixed.cbSize = sizeof(fixed);
  EXPECT_EQ(errorOf(::SetupDiGetDriverInfoDetailW(set.get(), &data, &driver, &fixed, sizeof(fixed), nullptr)),
            ERROR_INSUFFICIENT_BUFFER);
  EXPECT_STREQ(fixed.SectionName, L"Graphics_Install");
}

TEST_F(DriverModel, ExcludedDriversAreListedOnRequestAlone) {
  PlantedDevice device = sound(kSound);
  device.drivers = {{.inf = kInfFolder + L"oem4.inf", .provider = L"ORV Inc."},
                    {.inf = kInfFolder + L"oem5.inf", .provider = L"By hand", .excluded = false}};
  plantDevice(device);
  for (const DWORD type : {SPDIT_COMPATDRIVER, SPDIT_CLASSDRIVER}) {
    const DeviceSet set = allDevices();
    SP_DEVINFO_DATA data = dataOf(set, kSound);
    EXPECT_THAT(listedProviders(set, data, type), ElementsAre(L"By hand")) << type;
    ASSERT_TRUE(::SetupDiDestroyDriverInfoList(set.get(), &data, type));
    setFlagsEx(set, data, DI_FLAGSEX_INSTALLEDDRIVER);
    EXPECT_THAT(listedProviders(set, data, type), IsEmpty()) << type;
    ASSERT_TRUE(::SetupDiDestroyDriverInfoList(set.get(), &data, type));
    setFlagsEx(set, data, DI_FLAGSEX_INSTALLEDDRIVER | DI_FLAGSEX_ALLOWEXCLUDEDDRVS);
    EXPECT_THAT(listedProviders(set, data, type), ElementsAre(L"ORV Inc.")) << type;
    ASSERT_TRUE(::SetupDiDestroyDriverInfoList(set.get(), &data, type));
    EXPECT_THAT(driverProviders(set, data, type), ElementsAre(L"ORV Inc.", L"By hand")) << type;
  }
  const std::wstring byHand = L"ROOT\\ORVLOG\\0000";
  PlantedDevice added = sound(byHand);
  added.parent = L"";
  plantDevice(added);
  const DeviceSet set = allDevices();
  EXPECT_THAT(listedProviders(set, dataOf(set, byHand), SPDIT_COMPATDRIVER), ElementsAre(L"ORV Inc."));
}

TEST_F(DriverModel, ListStaysUntilItIsDestroyed) {
  for (const auto& [type, flag] : {std::pair<DWORD, DWORD>(SPDIT_COMPATDRIVER, DI_DIDCOMPAT),
                                   std::pair<DWORD, DWORD>(SPDIT_CLASSDRIVER, DI_DIDCLASS)}) {
    plantDevice(sound(kSound));
    const DeviceSet own = allDevices();
    SP_DEVINFO_DATA data = dataOf(own, kSound);
    setFlagsEx(own, data, DI_FLAGSEX_ALLOWEXCLUDEDDRVS);
    EXPECT_THAT(listedProviders(own, data, type), ElementsAre(L"ORV Inc."));
    plantDriverNode(kSound, {.inf = kInfFolder + L"oem9.inf", .provider = L"Added"});
    EXPECT_THAT(listedProviders(own, data, type), ElementsAre(L"ORV Inc."));
    SP_DEVINSTALL_PARAMS_W parameters = installParameters(own, data);
    EXPECT_TRUE(parameters.Flags & flag);
    parameters.Flags &= ~flag;
    ASSERT_TRUE(::SetupDiSetDeviceInstallParamsW(own.get(), &data, &parameters));
    EXPECT_TRUE(installParameters(own, data).Flags & flag) << "the system's own flag";
    EXPECT_THAT(listedProviders(own, data, type), ElementsAre(L"ORV Inc."));
    ASSERT_TRUE(::SetupDiDestroyDriverInfoList(own.get(), &data, type));
    EXPECT_FALSE(installParameters(own, data).Flags & flag);
    EXPECT_THAT(listedProviders(own, data, type), ElementsAre(L"ORV Inc.", L"Added"));
  }
}

TEST_F(DriverModel, ClassDriversAreThoseOfTheClassOrTheInstalledOneAlone) {
  PlantedDevice second = sound(L"PCI\\VEN_7A11&DEV_AB38\\4&1&0&0308");
  second.drivers = {{.inf = kInfFolder + L"oem9.inf", .provider = L"Other"}};
  plantDevice(second);
  const DeviceSet set = allDevices();
  SP_DEVINFO_DATA data = dataOf(set, kSound);
  EXPECT_THAT(driverProviders(set, data, SPDIT_CLASSDRIVER), ElementsAre(L"ORV Inc.", L"Other"));
  SP_DEVINSTALL_PARAMS_W parameters = installParameters(set, data);
  parameters.FlagsEx |= DI_FLAGSEX_INSTALLEDDRIVER | DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
  failDeviceCall(kSound, L"DI_FLAGSEX_INSTALLEDDRIVER", ERROR_INVALID_FLAGS, 1);
  EXPECT_EQ(errorOf(::SetupDiSetDeviceInstallParamsW(set.get(), &data, &parameters)), ERROR_INVALID_FLAGS);
  ASSERT_TRUE(::SetupDiSetDeviceInstallParamsW(set.get(), &data, &parameters));
  EXPECT_THAT(listedProviders(set, data, SPDIT_CLASSDRIVER), ElementsAre(L"ORV Inc."));
  SP_DRVINFO_DATA_V2_W driver = driverAt(set, data, SPDIT_CLASSDRIVER, 0);
  ASSERT_TRUE(::SetupDiDestroyDriverInfoList(set.get(), &data, SPDIT_CLASSDRIVER));
  EXPECT_EQ(errorOf(::SetupDiSetSelectedDriverW(set.get(), &data, &driver)), ERROR_INVALID_PARAMETER);
}

UINT CALLBACK collectUntilStopped(PVOID context, UINT notification, UINT_PTR path, UINT_PTR) {
  EXPECT_EQ(notification, static_cast<UINT>(SPFILENOTIFY_QUEUESCAN));
  auto& paths = *static_cast<std::vector<std::wstring>*>(context);
  paths.emplace_back(reinterpret_cast<const wchar_t*>(path));
  return paths.front() == L"stop" ? ERROR_CANCELLED : NO_ERROR;
}

TEST_F(DriverModel, ClassInstallerQueuesTheFilesOfTheSelectedDriver) {
  const DeviceSet set = allDevices();
  SP_DEVINFO_DATA data = dataOf(set, kGraphics);
  const HSPFILEQ queue = ::SetupOpenFileQueue();
  SP_DEVINSTALL_PARAMS_W parameters = installParameters(set, data);
  parameters.Flags |= DI_NOVCP;
  EXPECT_EQ(errorOf(::SetupDiSetDeviceInstallParamsW(set.get(), &data, &parameters)), ERROR_INVALID_PARAMETER);
  parameters.FileQueue = queue;
  ASSERT_TRUE(::SetupDiSetDeviceInstallParamsW(set.get(), &data, &parameters));
  EXPECT_EQ(errorOf(::SetupDiCallClassInstaller(DIF_INSTALLDEVICEFILES, set.get(), &data)),
            static_cast<DWORD>(ERROR_NO_DRIVER_SELECTED));
  parameters.FlagsEx |= DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
  ASSERT_TRUE(::SetupDiSetDeviceInstallParamsW(set.get(), &data, &parameters));
  ASSERT_TRUE(::SetupDiBuildDriverInfoList(set.get(), &data, SPDIT_CLASSDRIVER));
  SP_DRVINFO_DATA_V2_W driver = driverAt(set, data, SPDIT_CLASSDRIVER, 0);
  ASSERT_TRUE(::SetupDiSetSelectedDriverW(set.get(), &data, &driver));
  ASSERT_TRUE(::SetupDiCallClassInstaller(DIF_INSTALLDEVICEFILES, set.get(), &data));

  std::vector<std::wstring> paths;
  DWORD result = 0;
  EXPECT_TRUE(::SetupScanFileQueueW(queue, SPQ_SCAN_USE_CALLBACK, nullptr, collectUntilStopped, &paths, &result));
  EXPECT_EQ(result, 1u);
  EXPECT_THAT(paths,
              ElementsAre(L"C:\\windows\\System32\\drivers\\orvkmdag.sys", L"C:\\windows\\System32\\orvdx64.dll"));
  paths = {L"stop"};
  EXPECT_EQ(errorOf(::SetupScanFileQueueW(queue, SPQ_SCAN_USE_CALLBACK, nullptr, collectUntilStopped, &paths, &result)),
            ERROR_CANCELLED);
  EXPECT_EQ(paths.size(), 2u);
  EXPECT_TRUE(::SetupCloseFileQueue(queue));
  EXPECT_EQ(errorOf(::SetupCloseFileQueue(queue)), ERROR_INVALID_HANDLE);
}

TEST_F(DriverModel, PackageInUseGoesByForceOnly) {
  plantDriverPackage({.name = L"oem3.inf", .className = L"Display", .provider = L"ORV Inc.", .catalog = L"orv.cat"});
  EXPECT_EQ(errorOf(::SetupUninstallOEMInfW(L"oem3.inf", 0, nullptr)), static_cast<DWORD>(ERROR_INF_IN_USE_BY_DEVICES));
  EXPECT_TRUE(packageExists(L"oem3.inf"));
  EXPECT_EQ(errorOf(::SetupUninstallOEMInfW(L"oem3.inf", SUOI_FORCEDELETE, nullptr)), ERROR_SUCCESS);
  EXPECT_TRUE(packageIsWiped(L"oem3.inf"));
  const DeviceSet set = allDevices();
  EXPECT_THAT(driverProviders(set, dataOf(set, kGraphics), SPDIT_COMPATDRIVER), ElementsAre(L"Microsoft"));
  EXPECT_EQ(errorOf(::SetupUninstallOEMInfW(L"oem3.inf", SUOI_FORCEDELETE, nullptr)), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(errorOf(::SetupUninstallOEMInfW(L"display.inf", SUOI_FORCEDELETE, nullptr)),
            static_cast<DWORD>(ERROR_NOT_AN_INSTALLED_OEM_INF));
  EXPECT_THAT(recordedCalls(),
              ElementsAre(L"SetupUninstallOEMInfW oem3.inf -> 0xE000023D", L"SetupUninstallOEMInfW oem3.inf -> 0",
                          L"SetupUninstallOEMInfW oem3.inf -> 2", L"SetupUninstallOEMInfW display.inf -> 0xE000023C"));
}

TEST_F(DriverModel, DriverUninstallTakesAPackageInUseAndAsksForARestart) {
  plantDriverPackage({.name = L"oem4.inf", .className = L"MEDIA", .provider = L"ORV Inc.", .needsReboot = true});
  const std::wstring path = kInfFolder + L"oem4.inf";
  failPackageCall(L"oem4.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED, 1);
  BOOL reboot = FALSE;
  EXPECT_EQ(errorOf(uninstallDriver()(nullptr, path.c_str(), 0, &reboot)), ERROR_ACCESS_DENIED);
  EXPECT_EQ(errorOf(uninstallDriver()(nullptr, path.c_str(), 0, &reboot)), ERROR_SUCCESS);
  EXPECT_TRUE(reboot);
  EXPECT_TRUE(packageIsWiped(L"oem4.inf"));
  EXPECT_EQ(errorOf(uninstallDriver()(nullptr, path.c_str(), 0, &reboot)), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(errorOf(uninstallDriver()(nullptr, path.c_str(), 8, &reboot)), ERROR_INVALID_FLAGS);
  const DeviceSet set = allDevices();
  EXPECT_THAT(driverProviders(set, dataOf(set, kSound), SPDIT_COMPATDRIVER), IsEmpty());
}

// The provider of a device's installed driver; empty if it has none.
std::wstring installedProvider(const std::wstring& id) {
  const DeviceSet set = allDevices();
  SP_DEVINFO_DATA data = dataOf(set, id);
  setFlagsEx(set, data, DI_FLAGSEX_INSTALLEDDRIVER | DI_FLAGSEX_ALLOWEXCLUDEDDRVS);
  const std::vector<std::wstring> providers = listedProviders(set, data, SPDIT_COMPATDRIVER);
  return providers.empty() ? L"" : providers.at(0);
}

TEST_F(DriverModel, DriverUninstallGivesDevicesTheNextDriverOrNone) {
  for (const wchar_t* name : {L"oem3.inf", L"oem4.inf"}) {
    plantDriverPackage({.name = name, .className = L"Display", .provider = L"ORV Inc."});
    BOOL reboot = TRUE;
    EXPECT_EQ(errorOf(uninstallDriver()(nullptr, (kInfFolder + name).c_str(), 0, &reboot)), ERROR_SUCCESS);
    EXPECT_FALSE(reboot) << "told also when no restart is needed";
    EXPECT_TRUE(packageIsWiped(name));
  }
  const DeviceSet set = allDevices();
  SP_DEVINFO_DATA data = dataOf(set, kGraphics);
  EXPECT_EQ(installedProvider(kGraphics), L"Microsoft");
  HKEY opened = ::SetupDiOpenDevRegKey(set.get(), &data, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_READ);
  ASSERT_NE(opened, INVALID_HANDLE_VALUE);
  const RegistryKey key(opened);
  wchar_t inf[64] = L"";
  DWORD size = sizeof(inf);
  EXPECT_EQ(::RegGetValueW(key.get(), nullptr, L"InfPath", RRF_RT_REG_SZ, nullptr, inf, &size), ERROR_SUCCESS);
  EXPECT_STREQ(inf, L"display.inf");
  ULONG status = 0;
  ULONG problem = 0;
  ASSERT_EQ(::CM_Get_DevNode_Status(&status, &problem, data.DevInst, 0), static_cast<CONFIGRET>(CR_SUCCESS));
  EXPECT_EQ(status, PlantedDevice().status);
  EXPECT_EQ(problem, 0u);

  EXPECT_EQ(installedProvider(kSound), L"");
  data = dataOf(set, kSound);
  ASSERT_EQ(::CM_Get_DevNode_Status(&status, &problem, data.DevInst, 0), static_cast<CONFIGRET>(CR_SUCCESS));
  EXPECT_TRUE(status & DN_HAS_PROBLEM);
  EXPECT_EQ(problem, static_cast<ULONG>(CM_PROB_FAILED_INSTALL));
}

TEST_F(DriverModel, PackageOfAnAbsentDeviceIsInUse) {
  PlantedDevice old = sound(kOldSound);
  old.present = false;
  old.drivers = {{.inf = kInfFolder + L"oem8.inf", .provider = L"ORV Inc."}};
  plantDevice(old);
  plantDriverPackage({.name = L"oem8.inf", .className = L"MEDIA", .provider = L"ORV Inc."});
  EXPECT_EQ(errorOf(::SetupUninstallOEMInfW(L"oem8.inf", 0, nullptr)), static_cast<DWORD>(ERROR_INF_IN_USE_BY_DEVICES));
  EXPECT_TRUE(packageExists(L"oem8.inf"));
}

TEST_F(DriverModel, InfFilesAreReadByTheMachinesOwnLibrary) {
  plantDriverPackage({.name = L"oem7.inf", .className = L"Net", .provider = L"ORV Inc.", .catalog = L"orvtonebus.cat"});
  UINT errorLine = 0;
  const HINF inf = ::SetupOpenInfFileW((kInfFolder + L"oem7.inf").c_str(), nullptr, INF_STYLE_WIN4, &errorLine);
  ASSERT_NE(inf, INVALID_HANDLE_VALUE) << ::GetLastError();
  INFCONTEXT context = {};
  ASSERT_TRUE(::SetupFindFirstLineW(inf, L"Version", nullptr, &context));
  std::vector<std::wstring> lines;
  do {
    wchar_t name[64] = L"";
    wchar_t value[64] = L"";
    ::SetupGetStringFieldW(&context, 0, name, 64, nullptr);
    ::SetupGetStringFieldW(&context, 1, value, 64, nullptr);
    lines.push_back(std::wstring(name) + L"=" + value);
  } while (::SetupFindNextLine(&context, &context));
  EXPECT_THAT(lines,
              ElementsAre(L"Signature=$WINDOWS NT$", L"Class=Net", L"ClassGUID={4d36e972-e325-11ce-bfc1-08002be10318}",
                          L"Provider=ORV Inc.", L"CatalogFile=orvtonebus.cat", L"DriverVer=05/17/2024"));
  ::SetupCloseInfFile(inf);
}

}  // namespace
