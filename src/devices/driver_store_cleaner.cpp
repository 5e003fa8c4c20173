#include "devices/driver_store_cleaner.h"

#include <windows.h>

#include <setupapi.h>
#include <shlwapi.h>

#include "devices/driver_package_removal.h"
#include "devices/driver_store.h"
#include "devices/driver_store_plan.h"
#include "system/log.h"
#include "system/machine_facts.h"

namespace {

// True for SPAPI_E_INF_IN_USE_BY_DEVICES and for the same code of any other facility.
bool isInUseByDevices(DWORD error) {
  return (error & 0x8000FFFF) == 0x8000023D;
}

enum class Outcome {
  DealtWith,             // removed, or failed for any other reason
  KeptByGraphicsDevice,  // in use by a graphics device that is kept
};

Outcome removePackage(const std::wstring& infPath, bool mayBeInUse, StoreSweep& sweep) {
  const PackageUninstall uninstall = uninstallDriverPackage(infPath);
  if (uninstall.done) {
    LogDebug(L"Uninstall successful");
    if (uninstall.rebootNeeded) {
      LogDebug(L"\tReboot is requested by driver.");
      sweep.rebootNeeded = true;
    }
    return Outcome::DealtWith;
  }
  const wchar_t* fileName = ::PathFindFileNameW(infPath.c_str());
  if (::SetupUninstallOEMInfW(fileName, SUOI_FORCEDELETE, nullptr)) {
    LogDebug(L"CleanDriverStore::Uninstalled INF File : %s", fileName);
    return Outcome::DealtWith;
  }
  const DWORD error = ::GetLastError();
  LogError(L"CleanDriverStore::SetupUninstallOEMInf Failed for INF: %s, Error code is : %d", fileName, error);
  return mayBeInUse && isInUseByDevices(error) ? Outcome::KeptByGraphicsDevice : Outcome::DealtWith;
}

}  // namespace

StoreSweep CleanDriverStore(bool gpuExclusionApplied, bool factoryReset) {
  StoreSweep sweep;
  LogDebug(L"----------CleanDriverStore::Started-------------");
  // Package by package, since the log shows what was read of each one right before its outcome.
  for (const std::wstring& path : ListOemInfFiles()) {
    const InfRecord inf = ReadDriverPackage(path);
    LogDebug(L"Inf Name: %s, Class Name: %s, Signature: %s, Provider: %s, Catalog Name: %s", inf.infPath.c_str(),
             inf.className.c_str(), inf.signature.c_str(), inf.provider.c_str(), inf.catalogFile.c_str());
    const PlannedPackage planned = PlanPackageRemoval(inf, factoryReset);
    if (planned.keptLine) {
      LogError(planned.keptLine);
    }
    if (planned.fate != PackageFate::Remove) {
      continue;
    }
    const Outcome outcome = removePackage(path, gpuExclusionApplied && planned.isDisplayDriver, sweep);
    if (outcome == Outcome::DealtWith && planned.isDisplayExtension) {
      sweep.displayDevicesMustGo = true;
    }
  }
  LogDebug(L"----------CleanDriverStore::Ended-------------");
  sweep.displayDevicesMustGo = IsVirtualMachine() || sweep.displayDevicesMustGo;
  return sweep;
}
