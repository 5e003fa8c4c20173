// view_report - opens the report of the run that has just ended. Does not know what is in it.
#pragma once

#include <string>

// Opens the report in the default browser or, if there is none, with the program for its file type. The dialog stays
// open. Failures are ignored. ShellExecuteW.
void onViewReport();

// The DDE application name of the browser for http; empty if the registry has none.
std::wstring GetDefaultBrowser();
