// installed_applications - finds out which of the chosen applications are installed, and whether the branding package
// has the version that has to be wiped instead of uninstalled. Reads only.
#pragma once

#include <string>
#include <vector>

#include "manifest/records.h"

// For each application, whether Windows Installer knows a product with its upgrade code. Any result but
// ERROR_NO_MORE_ITEMS counts as installed, errors included. MsiEnumRelatedProductsW.
std::vector<bool> FindInstalled(const std::vector<ApplicationPackage>& applications);

// The installed ones, in order, only the first of each upgrade code. Codes are case-sensitive. Pure.
std::vector<ApplicationPackage> PlanInstalled(std::vector<ApplicationPackage> applications,
                                              const std::vector<bool>& isInstalled);

// 0.0 when there is no control panel.
struct ControlPanelVersion {
  int major = 0;
  int minor = 0;
};

// A value that is not a string counts as missing. Throws std::out_of_range for a string of fewer than three characters.
ControlPanelVersion FindControlPanelVersion();

// True for the one package in the one version that is wiped instead of uninstalled. Pure.
bool isToBeWiped(const ApplicationPackage& application, const ControlPanelVersion& version);
