// product_traces - finds what the installer keeps of one product: in its registry data and in its folder below Windows.
// Reads only, through keys that the caller has opened. Throws RegKeyError where a key or value cannot be read.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

// The product code in a text such as "MsiExec.exe /X{...}". Without a closing brace it is the rest of the text. Throws
// std::out_of_range when there is none, and when what stands in its place would lead out of the installer's folder or
// name that folder itself. Pure.
std::wstring ExtractBracedGuid(const std::wstring& text);

// The folder of the product's icons. GetWindowsDirectoryW.
std::wstring FindIconFolder(const std::wstring& productCode);

// The values of the installer's list of folders that name the folder or what lies below it, in any case.
std::vector<std::wstring> FindFolderValues(HKEY folders, const std::wstring& folder);

// True when the text value is the product's name, compared without case. `subkey` can be null for the key itself.
bool bearsName(HKEY key, const wchar_t* subkey, const wchar_t* valueName, const std::wstring& productName);

// How a key that lists products by value name, such as that of an upgrade code, names this one.
enum class ListedAs { NotAtAll, OneOfSeveral, OnlyOne };
ListedAs FindInProductList(HKEY list, const std::wstring& product);
