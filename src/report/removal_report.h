// removal_report - the XML report of what a run has found, removed and failed to remove. Nothing in the program reads
// it.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "manifest/package_lists.h"

// Writes report.xml to `folder` (without a trailing backslash), replacing an older one, and next to it report.xml.xsl
// if the browser that opens the report needs the stylesheet as a separate file. Only the names of the packages are
// used, without escaping. If the file cannot be written, there is no report; failures of the clock are logged.
void writeRemovalReport(const std::wstring& folder, const std::wstring& action, const EligiblePackages& existing,
                        const PackageResults& results);

// True when the browser only accepts a stylesheet in a separate file. Decided by the third part of its product version,
// compared as text; also true if it has no version. GetFileVersionInfoW.
bool isOldBrowserBuild(const std::wstring& path);

// The local date and time in the long format of the system locale, separated by a blank. GetDateFormatEx.
std::wstring formatReportTime();

// The local date and time in a form that is allowed in file names.
std::wstring formatFileStamp();
