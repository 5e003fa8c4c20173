// package_selection - the part of the sequence that chooses the packages: makes the plans of eligibility and
// installed_applications at their places, carries out what has to happen at once, and logs what was chosen.
#pragma once

#include "manifest/package_lists.h"
#include "manifest/records.h"
#include "manifest/work_lists.h"

// Choose the packages that are to go, and protect what the others list. The experience programme's installer package
// may be moved, or its opt-in taken back.
void selectEligibleApplications(ScrubListData& data, EligiblePackages& packages, ExclusionLists& exclusions);
void selectEligibleDrivers(ScrubListData& data, EligiblePackages& packages, ExclusionLists& exclusions);

// Narrows the applications to those that the installer knows, one for each upgrade code, and lists them. One branding
// package of one version is wiped here. Throws std::out_of_range for a control panel version of less than three
// characters, and what ForceRemoveProduct throws.
void filterInstalledApplications(const ScrubListData& data, EligiblePackages& packages);
