// package_selection - the stages of the sequence that choose the packages. They take their decisions from eligibility
// and installed_applications, carry out what cannot wait, and log the choice.
#pragma once

#include "manifest/package_lists.h"
#include "manifest/records.h"
#include "manifest/work_lists.h"

// Choose the packages to remove and protect what the others list. The first may move the installer package of the
// experience programme, or withdraw the user's opt-in.
void selectEligibleApplications(ScrubListData& data, EligiblePackages& packages, ExclusionLists& exclusions);
void selectEligibleDrivers(ScrubListData& data, EligiblePackages& packages, ExclusionLists& exclusions);

// Drops the applications that are not installed, keeps one for each upgrade code, and logs the list. The branding
// package is wiped here if it has the version that cannot be uninstalled. Throws std::out_of_range for a control panel
// version of fewer than three characters, and what ForceRemoveProduct throws.
void filterInstalledApplications(const ScrubListData& data, EligiblePackages& packages);
