// installer_products - finds the installed products with an upgrade code and their properties. Reads only; knows
// nothing about removing products.
#pragma once

#include <optional>
#include <set>
#include <string>

#include <windows.h>

// The product code of the related product at a zero-based index; empty past the last one or on any error. A removed
// product leaves the list at once, so the indexes of those after it shift. MsiEnumRelatedProductsW.
std::optional<std::wstring> FindRelatedProduct(const std::wstring& upgradeCode, DWORD index);

// A property of an installed product, such as LocalPackage; at most 259 characters. Empty on any failure.
// MsiGetProductInfoW.
std::wstring GetProductProperty(const std::wstring& productCode, const wchar_t* property);

// Adds the product's display name to `names`. An unreadable or empty name is left out: removing products by an empty
// name would remove every product without one.
void collectProductName(const std::wstring& productCode, std::set<std::wstring>& names);

// The display names of all products with the upgrade code.
std::set<std::wstring> FindProductNames(const std::wstring& upgradeCode);
