#include "applications/uninstall_runner.h"

#include <algorithm>
#include <array>
#include <set>

#include <windows.h>

#include <msi.h>
#include <shlobj.h>

#include "applications/forced_removal.h"
#include "applications/installer_products.h"
#include "system/log.h"
#include "system/process_launch.h"

bool applicationRebootNeeded = false;

namespace {

constexpr wchar_t kRemovalProperties[] =
    L"REMOVE=ALL REBOOT=ReallySuppress MSIFASTINSTALL=3 MSIRESTARTMANAGERCONTROL=Disable";

// Codes that count as success in the first pass. A cancel by the user is one of them: the installer runs without user
// interface, so there is nothing to retry.
constexpr std::array<int, 3> kDone = {ERROR_SUCCESS, ERROR_SUCCESS_REBOOT_REQUIRED, ERROR_INSTALL_USEREXIT};
// Codes that count as success in the second pass.
constexpr std::array<int, 3> kRetryDone = {ERROR_SUCCESS, ERROR_SUCCESS_REBOOT_REQUIRED,
                                           ERROR_SUCCESS_RESTART_REQUIRED};

bool isOneOf(int code, const std::array<int, 3>& codes) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

}  // namespace

void UninstallApplications(std::vector<ApplicationPackage>& applications, std::vector<ApplicationPackage>& failed,
                           std::vector<ApplicationPackage>& succeeded) {
  for (ApplicationPackage& application : applications) {
    application.UninstallResult = UninstallByUpgradeCode(application.UpgradeID);
    if (application.UninstallResult == ERROR_SUCCESS_REBOOT_REQUIRED) {
      applicationRebootNeeded = true;
    }
    if (isOneOf(application.UninstallResult, kDone)) {
      succeeded.push_back(application);
    } else {
      LogDebug(L"Failed to uninstall\t:\t%s\t:\t%d", application.Name.c_str(), application.UninstallResult);
      failed.push_back(application);
    }
  }
}

void RetryFailedApplications(std::vector<ApplicationPackage>& failed) {
  for (ApplicationPackage& application : failed) {
    application.UninstallResult = RetryWithMsiexec(application.UpgradeID);
    LogDebug(L"Uninstalled failed application\t:\t%s\t:\t%d", application.Name.c_str(), application.UninstallResult);
  }
}

int UninstallByUpgradeCode(const std::wstring& upgradeCode) {
  int result = -1;
  // One by one: a removal shifts the products after it, so every other one may be skipped.
  for (DWORD index = 0; const auto product = FindRelatedProduct(upgradeCode, index); ++index) {
    const std::wstring package = GetProductProperty(*product, L"LocalPackage");
    result = static_cast<int>(::MsiInstallProductW(package.c_str(), kRemovalProperties));
  }
  return result;
}

int RetryWithMsiexec(const std::wstring& upgradeCode) {
  int result = -1;
  std::set<std::wstring> namesToForce;
  for (DWORD index = 0; const auto product = FindRelatedProduct(upgradeCode, index); ++index) {
    result = UninstallProductWithMsiexec(*product);
    if (!isOneOf(result, kRetryDone)) {
      collectProductName(*product, namesToForce);
    }
  }
  forceRemoveProducts(namesToForce);
  return result;
}

int UninstallProductWithMsiexec(const std::wstring& productCode) {
  wchar_t folder[MAX_PATH] = {};
  ::SHGetSpecialFolderPathW(nullptr, folder, CSIDL_SYSTEM, FALSE);
  return static_cast<int>(RunCommand(std::wstring(folder) + L"\\msiexec.exe /x" + productCode + L" /qn", folder, true));
}
