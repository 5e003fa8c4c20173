#include "devices/driver_store_cleaner.h"

#include <windows.h>

#include <setupapi.h>
#include <shlwapi.h>

#include "devices/driver_package_removal.h"
#include "devices/driver_store.h"
#include "devices/driver_store_plan.h"
#include "devices/setup.h"
#include "system/log.h"
#include "system/machine_facts.h"

namespace {

// True for SPAPI_E_INF_IN_USE_BY_DEVICES of any facility.
bool isInUseByDevices(DWORD error) {
  return (error & 0x8000FFFF) == 0x8000023D;
}

// False when the package stays because a graphics device that is kept still uses it.
bool removePackage(const std::wstring& infPath, bool mayBeInUse) {
  const PackageUninstall uninstall = uninstallDriverPackage(infPath);
  if (uninstall.done) {
    LogDebug(L"Uninstall successful");
    if (uninstall.rebootNeeded) {
      LogDebug(L"\tReboot is requested by driver.");
      deviceRebootNeeded = true;
    }
    return true;
  }
  const wchar_t* fileName = ::PathFindFileNameW(infPath.c_str());
  if (::SetupUninstallOEMInfW(fileName, SUOI_FORCEDELETE, nullptr)) {
    LogDebug(L"CleanDriverStore::Uninstalled INF File : %s", fileName);
    return true;
  }
  const DWORD error = ::GetLastError();
  LogError(L"CleanDriverStore::SetupUninstallOEMInf Failed for INF: %s, Error code is : %d", fileName, error);
  return !(mayBeInUse && isInUseByDevices(error));
}

}  // namespace

bool CleanDriverStore(bool gpuExclusionApplied, bool factoryReset) {
  bool displayExtensionHandled = false;
  LogDebug(L"----------CleanDriverStore::Started-------------");
  // Package by package, since the log tells what was read of each right before what became of it.
  for (const std::wstring& path : ListOemInfFiles()) {
    const InfRecord inf = ReadDriverPackage(path);
    LogDebug(L"Inf Name: %s, Class Name: %s, Signature: %s, Provider: %s, Catalog Name: %s", inf.infPath.c_str(),
             inf.className.c_str(), inf.signature.c_str(), inf.provider.c_str(), inf.catalogFile.c_str());
    const PlannedPackage planned = PlanPackageRemoval(inf, factoryReset);
    if (planned.keptLine) {
      LogError(planned.keptLine);
    }
    if (planned.fate == PackageFate::Remove && removePackage(path, gpuExclusionApplied && planned.isDisplayDriver) &&
        planned.isDisplayExtension) {
      displayExtensionHandled = true;
    }
  }
  LogDebug(L"----------CleanDriverStore::Ended-------------");
  return IsVirtualMachine() || displayExtensionHandled;
}
