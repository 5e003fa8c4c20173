// store_app_plan - decides whether and how the store apps of a package pattern are removed. Starts no process.
#pragma once

#include <string>

struct PlannedStoreApp {
  bool isRefused = false;    // the pattern does not begin with a name and could match every store app
  std::wstring commandLine;  // for cmd.exe, which expands %SYSTEMROOT%
  std::wstring closingLine;  // logged after PowerShell has ended
};

// Pure.
PlannedStoreApp PlanStoreAppRemoval(const std::wstring& packagePattern);
