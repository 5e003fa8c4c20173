// uninstall_runner - uninstalls applications through the installer and sorts them by result. The second pass uses
// msiexec and, if that fails too, the forced removal. Knows nothing about the session.
#pragma once

#include <string>
#include <vector>

#include "manifest/records.h"

// Set when the installer asks for a restart in the first pass. Never reset.
extern bool applicationRebootNeeded;

// The first pass. Uninstalls each application, sets its UninstallResult, and appends a copy to `succeeded` (0, 3010,
// 1602) or to `failed` (all other codes, including -1 for an application that is not installed). Logs the failures.
void UninstallApplications(std::vector<ApplicationPackage>& applications, std::vector<ApplicationPackage>& failed,
                           std::vector<ApplicationPackage>& succeeded);

// The second pass. Sets the UninstallResult of each record and logs it. Throws what ForceRemoveProduct throws.
void RetryFailedApplications(std::vector<ApplicationPackage>& failed);

// Uninstalls the products with the upgrade code through their cached packages. Returns the result of the last
// MsiInstallProductW, or -1 if there was no product. Of several products every other one may be skipped, since the list
// shifts while they are removed; the second pass catches these.
int UninstallByUpgradeCode(const std::wstring& upgradeCode);

// Uninstalls the products with the upgrade code through msiexec and force-removes those for which it returns anything
// but 0, 3010 and 3011. Returns the last exit code of msiexec, or -1 if there was no product. Throws what
// ForceRemoveProduct throws.
int RetryWithMsiexec(const std::wstring& upgradeCode);

// Runs msiexec /x for one product and waits for as long as it takes. Returns its exit code. CreateProcessW.
int UninstallProductWithMsiexec(const std::wstring& productCode);
