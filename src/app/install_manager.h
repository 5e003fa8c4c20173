// install_manager - where the install manager lives, for a run that is asked to keep it. Reads only.
#pragma once

#include <string>
#include <vector>

// The folder from the registry, or the usual one. getInstallDirValue.
std::wstring FindInstallManagerFolder();

// The rows that protect a folder: as it is written and, since rows are compared character by character, without the
// backslash at its end, which the rows of the work lists do not have. Pure.
std::vector<std::wstring> PlanProtectedFolder(const std::wstring& folder);
