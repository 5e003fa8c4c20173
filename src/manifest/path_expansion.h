// path_expansion - turns the manifest's file and directory rows into paths: INSTALL_DIR and INSTALL_DIR32, %APPDATA%
// and %LOCALAPPDATA%, the system drive, and * in file rows. Registry rows and names are never expanded.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "system/unique_rows.h"

// Reads the maker's install folder from the registry, up to the first null character; `out` is empty when there is
// none. Returns true when the value could be read. Logs the result unless the key itself is missing. RegQueryValueExW.
bool getInstallDirValue(std::wstring& out);

// The root of the Windows drive with its backslash, "C:\". Empty if Windows cannot tell. GetWindowsDirectoryW.
std::wstring getOsRootDrive();

// The folder for a row that begins with %APPDATA% or %LOCALAPPDATA%, in any case; empty for every other row.
std::wstring getKnownFolder(const std::wstring& row);

// Appends, in order, each row that is not in `target` yet. Takes the rows by value, so that a list may be its own
// source.
void appendMissing(std::vector<std::wstring> rows, std::vector<std::wstring>& target);
void appendMissing(std::vector<std::wstring> rows, UniqueRows& target);

// Called with the expanded row while it still has its *; false skips the row.
using RowAdmission = std::function<bool(const std::wstring& row)>;

// Expands each row and appends it unless it is in `target` already. A row with a * is replaced by the entries that
// match it now, which may be none. Empty rows are skipped. Without `admit` no other row is.
void expandFileRows(std::vector<std::wstring> rows, std::vector<std::wstring>& target);
void expandFileRows(std::vector<std::wstring> rows, UniqueRows& target, const RowAdmission& admit = nullptr);

// The same without wildcards.
void expandDirectoryRows(std::vector<std::wstring> rows, std::vector<std::wstring>& target);
void expandDirectoryRows(std::vector<std::wstring> rows, UniqueRows& target);
