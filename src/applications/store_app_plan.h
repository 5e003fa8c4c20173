// store_app_plan - decides how a pattern for store apps of the manifest is carried out, if at all. Starts nothing.
#pragma once

#include <string>

struct PlannedStoreApp {
  bool isRefused = false;    // the pattern begins without a name: it would take every store app off the machine
  std::wstring commandLine;  // for the command interpreter, which expands %SYSTEMROOT%
  std::wstring closingLine;  // for the log, when PowerShell has ended
};

PlannedStoreApp PlanStoreAppRemoval(const std::wstring& packagePattern);
