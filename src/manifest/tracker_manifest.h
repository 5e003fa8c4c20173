// tracker_manifest - reads PKMTracker.JSON, in which the maker's install manager lists commands to run at a cleanup and
// more rows like those of the cleanup manifest. Runs and removes nothing.
#pragma once

#include <string>

#include "manifest/records.h"

// The install manager's folder, from its Uninstall key. Returns false, and leaves `out` alone, when there is no entry
// or the value is longer than 260 bytes. RegQueryValueExW.
bool getPkmInstallDir(std::wstring& out);

// Adds the rows of the document at `path` to `data`: those for a factory reset or those for a cleanup. Returns false
// when the document cannot be read or is empty. Throws boost::property_tree::ptree_bad_path, a std::exception, when one
// of the required objects is missing.
bool PKMTrackerParser(const std::wstring& path, ScrubListData& data, bool launchedForFactoryReset);

// Finds and reads the install manager's document. A missing folder or file and an unreadable document are only logged.
// Throws what PKMTrackerParser throws, and std::filesystem::filesystem_error "exists" when Windows cannot tell whether
// a file exists.
void performPKMTrackerParsing(ScrubListData& data, bool launchedForFactoryReset);
