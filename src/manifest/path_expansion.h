// path_expansion - turns file and directory rows of the manifest into real paths: INSTALL_DIR and INSTALL_DIR32,
// %APPDATA% and %LOCALAPPDATA%, the system drive, and * in file rows. Registry rows and names are never expanded.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "system/unique_rows.h"

// The maker's install folder from the registry, the text up to its first zero; empty when there is none. True when the
// value could be read. Logs the outcome unless the key itself is missing.
bool getInstallDirValue(std::wstring& out);

// The root of the drive that holds Windows, with its backslash: "C:\". Empty when Windows does not say.
std::wstring getOsRootDrive();

// The folder for a row that begins with %APPDATA% or %LOCALAPPDATA%, in any case; empty for every other name.
std::wstring getKnownFolder(const std::wstring& row);

// Appends each row, in order, that `target` does not hold yet. Rows are taken by value, so a list may be its own
// source.
void appendMissing(std::vector<std::wstring> rows, std::vector<std::wstring>& target);
void appendMissing(std::vector<std::wstring> rows, UniqueRows& target);

// Called with a row that has its folders put in and its * still in it; false passes the row over.
using RowAdmission = std::function<bool(const std::wstring& row)>;

// Expands each row and appends it unless `target` holds it. A row with a * gives the entries that match it on the disk
// now; when there are none the row is dropped. Empty rows are skipped. Without `admit` all others are expanded.
void expandFileRows(std::vector<std::wstring> rows, std::vector<std::wstring>& target);
void expandFileRows(std::vector<std::wstring> rows, UniqueRows& target, const RowAdmission& admit = nullptr);

// The same without wildcards.
void expandDirectoryRows(std::vector<std::wstring> rows, std::vector<std::wstring>& target);
void expandDirectoryRows(std::vector<std::wstring> rows, UniqueRows& target);
