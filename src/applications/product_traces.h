// product_traces - finds what the installer has recorded about one product in its registry data and in its folder below
// Windows. Reads only, through keys opened by the caller. Throws RegKeyError if a key or value cannot be read.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

// The product code in a string such as "MsiExec.exe /X{...}"; without a closing brace, everything from the opening one
// on. Throws std::out_of_range if there is none, or if as a folder name it would lead out of the installer's folder or
// name that folder itself. Pure.
std::wstring ExtractBracedGuid(const std::wstring& text);

// The folder of the product's icons. GetWindowsDirectoryW.
std::wstring FindIconFolder(const std::wstring& productCode);

// The value names in the installer's list of folders that contain the folder's path, compared case-insensitively.
std::vector<std::wstring> FindFolderValues(HKEY folders, const std::wstring& folder);

// True if the string value equals the product's name, compared case-insensitively. `subkey` is null for the key itself.
bool bearsName(HKEY key, const wchar_t* subkey, const wchar_t* valueName, const std::wstring& productName);

// Whether a key that lists products by value name, such as an upgrade code's, lists this product, compared
// case-sensitively, and whether it lists others.
enum class ListedAs { NotAtAll, OneOfSeveral, OnlyOne };
ListedAs FindInProductList(HKEY list, const std::wstring& product);
