// device_uninstall - the part of Setup that removes one device and its driver packages.

#include <windows.h>

#include <newdev.h>
#include <setupapi.h>
#include <shlwapi.h>

#include "devices/driver_files.h"
#include "devices/driver_nodes.h"
#include "devices/driver_package_removal.h"
#include "devices/setup.h"
#include "system/log.h"

namespace {

// SetupAPI rejects structures of any other size.
static_assert(sizeof(SP_CLASSINSTALL_HEADER) == 8);
static_assert(sizeof(SP_REMOVEDEVICE_PARAMS) == 16);

bool callRemoveFunction(DeviceElement& element) {
  SP_REMOVEDEVICE_PARAMS parameters = {};
  parameters.ClassInstallHeader.cbSize = sizeof(parameters.ClassInstallHeader);
  parameters.ClassInstallHeader.InstallFunction = DIF_REMOVE;
  parameters.Scope = DI_REMOVEDEVICE_GLOBAL;
  return ::SetupDiSetClassInstallParamsW(element.set, &element.data, &parameters.ClassInstallHeader,
                                         sizeof(parameters)) &&
         ::SetupDiCallClassInstaller(DIF_REMOVE, element.set, &element.data);
}

}  // namespace

bool Setup::UninstallDevice(DeviceRecord& device, bool gpuExclusionApplied, bool factoryReset) {
  if (device.hardwareIds.empty()) {
    LogError(L"Setup::UninstallDevice - Cancelling! empty or no Hardware IDs!");
    return true;
  }
  std::optional<DeviceElement> element = inventory.locate(device);
  if (!element) {
    LogError(L"Setup::UninstallDevice - Cancelling! SetupDiEnumDeviceInfo no more items!");
    LogError(L"Setup::UninstallDevice - Cancelling! didn't find device %s!", device.description.c_str());
    return true;
  }
  GetDriverDetails(*element, device);
  if (isFileCollectionDue(device.className, gpuExclusionApplied, factoryReset)) {
    const std::vector<std::wstring> files = CollectDriverFiles(*element);
    driverFiles.insert(driverFiles.end(), files.begin(), files.end());
  }
  if (!removeDevice(*element, device)) {
    return false;
  }
  RemoveDeviceDrivers(device);
  return true;
}

bool Setup::removeDevice(DeviceElement& element, const DeviceRecord& device) {
  if (callRemoveFunction(element)) {
    LogDebug(L"Successfully removed %s", device.deviceId.c_str());
    auto parameters = sizedStructure<SP_DEVINSTALL_PARAMS_W>();
    if (!::SetupDiGetDeviceInstallParamsW(element.set, &element.data, &parameters)) {
      LogError(L"Unable to check for reboot flag via SetupDiGetDeviceInstallParams: %d", ::GetLastError());
    } else if (parameters.Flags & (DI_NEEDREBOOT | DI_NEEDRESTART)) {
      LogDebug(L"Reboot needed to finish removing device");
      deviceRebootNeeded = true;
    }
    return true;
  }
  LogError(L"SetupDiCallClassInstaller Failed. Error code is: %d", ::GetLastError());
  BOOL needReboot = FALSE;
  if (!::DiUninstallDevice(nullptr, element.set, &element.data, 0, &needReboot)) {
    return false;
  }
  LogDebug(L"Successfully removed device %s via DiUninstallDevice", device.deviceId.c_str());
  if (needReboot) {
    // Logged only: this fallback never requests a restart.
    LogDebug(L"\tReboot needed to finish removing device");
  }
  return true;
}

void Setup::RemoveDeviceDrivers(const DeviceRecord& device) {
  for (const std::unique_ptr<DriverInfo>& driver : device.drivers) {
    if (driver->inf && driver->inf->isOem) {
      removePackageOf(*driver);
    } else {
      LogDebug(L"%s - INF is not oem, will not remove it from the driver store",
               driver->inf ? driver->inf->infPath.c_str() : L"NULLPTR");
    }
  }
}

void Setup::removePackageOf(const DriverInfo& driver) {
  const std::wstring& infPath = driver.inf->infPath;
  LogDebug(L"Removing driver:\n\t\t\t\t\t\t\tVersion: %s\n\t\t\t\t\t\t\tProviderName: %s\n\t\t\t\t\t\t\tHardwareID: %s",
           driver.version.c_str(), driver.provider.c_str(), driver.hardwareId.c_str());
  const PackageUninstall uninstall = uninstallDriverPackage(infPath);
  if (uninstall.done) {
    LogDebug(L"Successfully uninstalled %s", infPath.c_str());
    if (uninstall.rebootNeeded) {
      LogDebug(L"\tReboot is requested by driver.");
      deviceRebootNeeded = true;
    }
    return;
  }
  const wchar_t* fileName = ::PathFindFileNameW(infPath.c_str());
  LogDebug(L"Calling SetupUninstallOEMInf for inf: %s. Provider: %s", fileName, driver.inf->provider.c_str());
  if (!::SetupUninstallOEMInfW(fileName, SUOI_FORCEDELETE, nullptr)) {
    const DWORD error = ::GetLastError();
    LogError(L"SetupUninstallOEMInf Failed for inf: %s. Error code is: %d", fileName, error);
    if (error == static_cast<DWORD>(SPAPI_E_INF_IN_USE_BY_DEVICES)) {
      LogError(L"SetupUninstallOEMInf Failed for INF is in use: %s", fileName);
    }
  }
}
