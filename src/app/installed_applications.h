// installed_applications - which of the chosen applications the installer knows, and whether the branding package is of
// the version that cannot be uninstalled in the ordinary way. Reads the machine and changes nothing.
#pragma once

#include <string>
#include <vector>

#include "manifest/records.h"

// For each application whether the installer knows a product behind its upgrade code. Every answer of the installer but
// "no more" counts as present, errors included. MsiEnumRelatedProductsW.
std::vector<bool> FindInstalled(const std::vector<ApplicationPackage>& applications);

// Of those that are installed, the first of each upgrade code, in their order. Codes are compared with case. Pure.
std::vector<ApplicationPackage> PlanInstalled(std::vector<ApplicationPackage> applications,
                                              const std::vector<bool>& isInstalled);

// The version of the control panel, 0.0 when there is none.
struct ControlPanelVersion {
  int major = 0;
  int minor = 0;
};

// A value that is no text is none. Throws std::out_of_range for a text of less than three characters.
ControlPanelVersion FindControlPanelVersion();

// True for the one package of one version that is wiped instead of uninstalled. Pure.
bool isToBeWiped(const ApplicationPackage& application, const ControlPanelVersion& version);
