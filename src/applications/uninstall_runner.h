// uninstall_runner - removes applications through the installer and sorts them by result; the second pass goes through
// msiexec and, where that fails too, through the forced removal. Knows no list of the session.
#pragma once

#include <string>
#include <vector>

#include "manifest/records.h"

// Set when the installer has asked for a restart in the first pass. Only ever goes from false to true.
extern bool applicationRebootNeeded;

// The first pass. Uninstalls each application, writes its UninstallResult, and appends a copy to `succeeded` (0, 3010,
// 1602) or to `failed` (every other code, -1 for an application that is not installed included), with a log line.
void UninstallApplications(std::vector<ApplicationPackage>& applications, std::vector<ApplicationPackage>& failed,
                           std::vector<ApplicationPackage>& succeeded);

// The second pass. Writes the UninstallResult of each record and moves none. Throws what ForceRemoveProduct throws.
void RetryFailedApplications(std::vector<ApplicationPackage>& failed);

// Uninstalls the related products through their cached packages. Returns the result of the last MsiInstallProductW, or
// -1 when there was none. With several products behind one code every other one may be passed over, since the list
// moves up as they go; the second pass is what catches these.
int UninstallByUpgradeCode(const std::wstring& upgradeCode);

// Uninstalls the related products with msiexec and force-removes those where it ends with none of 0, 3010 and 3011.
// Returns the last exit code of msiexec, or -1 when there was no product. Throws what ForceRemoveProduct throws.
int RetryWithMsiexec(const std::wstring& upgradeCode);

// Runs msiexec /x for one product and waits without a limit. Returns its exit code.
int UninstallProductWithMsiexec(const std::wstring& productCode);
