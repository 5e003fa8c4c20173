// tracker_manifest - reads PKMTracker.JSON, in which the maker's install manager names commands to run at a cleanup and
// further rows of the kinds that the cleanup manifest has. A machine without the install manager has no such rows.
#pragma once

#include <string>

#include "manifest/records.h"

// The install manager's folder as its entry in the Uninstall key tells it. False when there is no entry or the value is
// longer than 260 bytes; `out` then stays.
bool getPkmInstallDir(std::wstring& out);

// Adds the rows of the document at `path` to `data`, those for a factory reset or those for a cleanup. False when it
// cannot be read or is empty. Throws boost::property_tree::ptree_bad_path, a std::exception, when one of the objects
// that every document has is missing.
bool PKMTrackerParser(const std::wstring& path, ScrubListData& data, bool launchedForFactoryReset);

// Finds the install manager's document and reads it. A missing folder or file and an unreadable document cost their log
// lines. Throws what PKMTrackerParser throws, and std::filesystem::filesystem_error "exists" when the system cannot say
// whether a file is there.
void performPKMTrackerParsing(ScrubListData& data, bool launchedForFactoryReset);
