// device_uninstall - the part of Setup that takes one device off the system, with its driver packages.

#include <cstdio>

#include <windows.h>

#include <newdev.h>
#include <setupapi.h>
#include <shlwapi.h>

#include "devices/driver_package.h"
#include "devices/setup.h"
#include "system/log.h"
#include "system/text_case.h"

bool deviceRebootNeeded = false;
std::vector<std::wstring> driverFiles;

namespace {

// The sizes that the platform tests for.
static_assert(sizeof(SP_CLASSINSTALL_HEADER) == 8);
static_assert(sizeof(SP_REMOVEDEVICE_PARAMS) == 16);
static_assert(sizeof(SP_DEVINSTALL_PARAMS_W) == 584);

constexpr DWORD kManufacturerBytes = 512;

SP_DEVINSTALL_PARAMS_W emptyInstallParameters() {
  SP_DEVINSTALL_PARAMS_W parameters = {};
  parameters.cbSize = sizeof(parameters);
  return parameters;
}

// Files of display drivers may be shared with a device that is kept, and those of system devices are never the maker's
// alone.
bool isFileCollectionDue(const std::wstring& className, bool gpuExclusionApplied, bool factoryReset) {
  const std::wstring lowerCaseClass = toLower(className);
  if (factoryReset || contains(lowerCaseClass, L"system")) {
    return false;
  }
  return !gpuExclusionApplied || !contains(lowerCaseClass, L"display");
}

// Called for each file of the queue. The first scan counts, the second keeps the paths.
UINT CALLBACK takeQueuedFile(PVOID context, UINT, UINT_PTR targetPath, UINT_PTR) {
  if (context) {
    ++*static_cast<unsigned*>(context);
  } else {
    const auto* path = reinterpret_cast<const wchar_t*>(targetPath);
    std::printf("%ls\n", path);
    driverFiles.emplace_back(path);
  }
  return NO_ERROR;
}

}  // namespace

bool Setup::UninstallDevice(DeviceRecord& device, bool gpuExclusionApplied, bool factoryReset) {
  if (device.hardwareIds.empty()) {
    LogError(L"Setup::UninstallDevice - Cancelling! empty or no Hardware IDs!");
    return true;
  }
  currentDevice = &device;
  if (!findInSet(device)) {
    LogError(L"Setup::UninstallDevice - Cancelling! SetupDiEnumDeviceInfo no more items!");
    LogError(L"Setup::UninstallDevice - Cancelling! didn't find device %s!", device.description.c_str());
    return true;
  }
  GetDriverDetails(deviceData, device);
  if (isFileCollectionDue(device.className, gpuExclusionApplied, factoryReset)) {
    CollectDriverFiles();
  }
  if (!removeCurrentDevice()) {
    return false;
  }
  RemoveDeviceDrivers();
  return true;
}

bool Setup::findInSet(const DeviceRecord& device) {
  if (!valid) {
    return false;
  }
  for (DWORD index = 0;; ++index) {
    deviceData = {};
    deviceData.cbSize = sizeof(deviceData);
    if (!::SetupDiEnumDeviceInfo(deviceSet.get(), index, &deviceData) && ::GetLastError() == ERROR_NO_MORE_ITEMS) {
      return false;
    }
    if (deviceData.DevInst == device.devInst) {
      return true;
    }
  }
}

bool Setup::removeCurrentDevice() {
  SP_REMOVEDEVICE_PARAMS parameters = {};
  parameters.ClassInstallHeader.cbSize = sizeof(parameters.ClassInstallHeader);
  parameters.ClassInstallHeader.InstallFunction = DIF_REMOVE;
  parameters.Scope = DI_REMOVEDEVICE_GLOBAL;
  if (::SetupDiSetClassInstallParamsW(deviceSet.get(), &deviceData, &parameters.ClassInstallHeader,
                                      sizeof(parameters)) &&
      ::SetupDiCallClassInstaller(DIF_REMOVE, deviceSet.get(), &deviceData)) {
    LogDebug(L"Successfully removed %s", currentDevice->deviceId.c_str());
    SP_DEVINSTALL_PARAMS_W install = emptyInstallParameters();
    if (!::SetupDiGetDeviceInstallParamsW(deviceSet.get(), &deviceData, &install)) {
      LogError(L"Unable to check for reboot flag via SetupDiGetDeviceInstallParams: %d", ::GetLastError());
    } else if (install.Flags & (DI_NEEDREBOOT | DI_NEEDRESTART)) {
      LogDebug(L"Reboot needed to finish removing device");
      deviceRebootNeeded = true;
    }
    return true;
  }
  LogError(L"SetupDiCallClassInstaller Failed. Error code is: %d", ::GetLastError());
  BOOL needReboot = FALSE;
  if (!::DiUninstallDevice(nullptr, deviceSet.get(), &deviceData, 0, &needReboot)) {
    return false;
  }
  LogDebug(L"Successfully removed device %s via DiUninstallDevice", currentDevice->deviceId.c_str());
  if (needReboot) {
    // Told and not acted on: this way never makes a restart due.
    LogDebug(L"\tReboot needed to finish removing device");
  }
  return true;
}

void Setup::RemoveDeviceDrivers() {
  for (const std::unique_ptr<DriverInfo>& driver : currentDevice->drivers) {
    if (!driver->inf || !driver->inf->isOem) {
      LogDebug(L"%s - INF is not oem, will not remove it from the driver store",
               driver->inf ? driver->inf->infPath.c_str() : L"NULLPTR");
      continue;
    }
    const std::wstring& infPath = driver->inf->infPath;
    LogDebug(
        L"Removing driver:\n\t\t\t\t\t\t\tVersion: %s\n\t\t\t\t\t\t\tProviderName: %s\n\t\t\t\t\t\t\tHardwareID: %s",
        driver->version.c_str(), driver->provider.c_str(), driver->hardwareId.c_str());
    bool needReboot = false;
    switch (uninstallDriverPackage(infPath, &needReboot)) {
      case PackageUninstall::Done:
        LogDebug(L"Successfully uninstalled %s", infPath.c_str());
        if (needReboot) {
          LogDebug(L"\tReboot is requested by driver.");
          deviceRebootNeeded = true;
        }
        continue;
      case PackageUninstall::Failed:
      case PackageUninstall::NotAvailable:
        break;
    }
    const wchar_t* fileName = ::PathFindFileNameW(infPath.c_str());
    LogDebug(L"Calling SetupUninstallOEMInf for inf: %s. Provider: %s", fileName, driver->inf->provider.c_str());
    if (!::SetupUninstallOEMInfW(fileName, SUOI_FORCEDELETE, nullptr)) {
      const DWORD error = ::GetLastError();
      LogError(L"SetupUninstallOEMInf Failed for inf: %s. Error code is: %d", fileName, error);
      if (error == kInfInUse) {
        LogError(L"SetupUninstallOEMInf Failed for INF is in use: %s", fileName);
      }
    }
  }
}

bool Setup::CollectDriverFiles() {
  SP_DEVINSTALL_PARAMS_W before = emptyInstallParameters();
  const bool beforeIsKnown = ::SetupDiGetDeviceInstallParamsW(deviceSet.get(), &deviceData, &before);
  SP_DRVINFO_DATA_V2_W driver = {};
  driver.cbSize = sizeof(driver);
  bool collected = false;
  if (FindCurrentDriver(&driver)) {
    collected = queueDriverFiles(driver);
    ::SetupDiDestroyDriverInfoList(deviceSet.get(), &deviceData, SPDIT_CLASSDRIVER);
  }
  if (beforeIsKnown) {
    // The removal that follows must not find a file queue there that is closed.
    ::SetupDiSetDeviceInstallParamsW(deviceSet.get(), &deviceData, &before);
  }
  fileQueue.reset();
  return collected;
}

bool Setup::queueDriverFiles(SP_DRVINFO_DATA_V2_W& driver) {
  SP_DRVINFO_DETAIL_DATA_W detail = {};
  detail.cbSize = sizeof(detail);
  if (!::SetupDiGetDriverInfoDetailW(deviceSet.get(), &deviceData, &driver, &detail, sizeof(detail), nullptr) &&
      ::GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
    return false;
  }
  if (detail.InfFileName[0] == L'\0' || detail.SectionName[0] == L'\0') {
    return false;
  }
  ::SetupDiSetSelectedDriverW(deviceSet.get(), &deviceData, &driver);
  fileQueue.reset(::SetupOpenFileQueue());
  if (!fileQueue) {
    return false;
  }
  SP_DEVINSTALL_PARAMS_W parameters = emptyInstallParameters();
  if (!::SetupDiGetDeviceInstallParamsW(deviceSet.get(), &deviceData, &parameters)) {
    return false;
  }
  parameters.Flags |= DI_NOVCP;  // the class installer puts its files into our queue and copies none
  parameters.FileQueue = fileQueue.get();
  if (!::SetupDiSetDeviceInstallParamsW(deviceSet.get(), &deviceData, &parameters)) {
    return false;  // without the queue it would copy them
  }
  ::SetupDiCallClassInstaller(DIF_INSTALLDEVICEFILES, deviceSet.get(), &deviceData);

  DWORD result = 0;
  unsigned count = 0;
  ::SetupScanFileQueueW(fileQueue.get(), SPQ_SCAN_USE_CALLBACK, nullptr, takeQueuedFile, &count, &result);
  ::SetupScanFileQueueW(fileQueue.get(), SPQ_SCAN_USE_CALLBACK, nullptr, takeQueuedFile, nullptr, &result);
  return true;
}

bool Setup::FindCurrentDriver(SP_DRVINFO_DATA_V2_W* drvInfo) {
  SP_DEVINSTALL_PARAMS_W parameters = emptyInstallParameters();
  if (!::SetupDiGetDeviceInstallParamsW(deviceSet.get(), &deviceData, &parameters)) {
    return false;
  }
  parameters.FlagsEx |= DI_FLAGSEX_INSTALLEDDRIVER | DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
  if (!::SetupDiSetDeviceInstallParamsW(deviceSet.get(), &deviceData, &parameters)) {
    return findCurrentDriverByDetails(parameters, drvInfo);
  }
  return ::SetupDiBuildDriverInfoList(deviceSet.get(), &deviceData, SPDIT_CLASSDRIVER) &&
         ::SetupDiEnumDriverInfoW(deviceSet.get(), &deviceData, SPDIT_CLASSDRIVER, 0, drvInfo);
}

// The slow way, for a system that cannot name the installed driver: the node of the class that has the device's
// manufacturer, and the provider, section and hardware id that the system keeps for the device's driver.
bool Setup::findCurrentDriverByDetails(SP_DEVINSTALL_PARAMS_W parameters, SP_DRVINFO_DATA_V2_W* drvInfo) {
  parameters.FlagsEx &= ~static_cast<DWORD>(DI_FLAGSEX_INSTALLEDDRIVER | DI_FLAGSEX_ALLOWEXCLUDEDDRVS);
  wchar_t manufacturer[kManufacturerBytes / sizeof(wchar_t) + 1] = {};  // room for a terminator that it may lack
  if (!::SetupDiGetDeviceRegistryPropertyW(deviceSet.get(), &deviceData, SPDRP_MFG, nullptr,
                                           reinterpret_cast<BYTE*>(manufacturer), kManufacturerBytes, nullptr)) {
    return false;
  }
  const InstalledDriver installed = readInstalledDriver(deviceSet.get(), &deviceData);
  parameters.Flags |= DI_ENUMSINGLEINF;
  parameters.FlagsEx |= DI_FLAGSEX_ALLOWEXCLUDEDDRVS;
  ::SetupDiSetDeviceInstallParamsW(deviceSet.get(), &deviceData, &parameters);
  if (!::SetupDiBuildDriverInfoList(deviceSet.get(), &deviceData, SPDIT_CLASSDRIVER)) {
    return false;
  }
  for (DWORD index = 0;; ++index) {
    *drvInfo = {};
    drvInfo->cbSize = sizeof(*drvInfo);
    if (!::SetupDiEnumDriverInfoW(deviceSet.get(), &deviceData, SPDIT_CLASSDRIVER, index, drvInfo)) {
      break;
    }
    const DriverDetail detail(deviceSet.get(), &deviceData, drvInfo);
    if (detail && installed == InstalledDriver{drvInfo->ProviderName, detail->SectionName, detail->HardwareID} &&
        std::wstring_view(drvInfo->MfgName) == manufacturer) {
      return true;
    }
  }
  ::SetupDiDestroyDriverInfoList(deviceSet.get(), &deviceData, SPDIT_CLASSDRIVER);
  return false;
}
