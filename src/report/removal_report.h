// removal_report - the XML report of what a run has found, removed and failed to remove, with the stylesheet that makes
// a page of it. Has no reader inside the program.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "manifest/package_lists.h"

// Writes report.xml into `folder` (without a backslash at its end), replacing an older one, and report.xml.xsl beside
// it where the program that belongs to the report's type is a browser that needs it apart. Of the packages only the
// names are used, as they stand. A file that cannot be written costs nothing but the report; failures of the clock are
// logged.
void writeRemovalReport(const std::wstring& folder, const std::wstring& action, const EligiblePackages& existing,
                        const PackageResults& results);

// True when the browser takes a stylesheet only as a file of its own: by the third part of its product version,
// compared as text, and when there is no version. GetFileVersionInfoW.
bool isOldBrowserBuild(const std::wstring& path);

// The local date and time in the long form of the system's locale, with one blank between. GetDateFormatEx.
std::wstring formatReportTime();

// The local date and time in a form that a file name can hold.
std::wstring formatFileStamp();
