// installer_products - finds the installed products behind an upgrade code and what the installer knows of them. Reads
// only; knows nothing of how a product is removed.
#pragma once

#include <optional>
#include <set>
#include <string>

#include <windows.h>

// The product code of the related product with that index, counted from 0; none behind the last one, and none when the
// installer fails. Products that are removed leave the list at once and the others move up. MsiEnumRelatedProductsW.
std::optional<std::wstring> FindRelatedProduct(const std::wstring& upgradeCode, DWORD index);

// A property of an installed product, such as LocalPackage; at most 259 characters. Empty on any failure.
// MsiGetProductInfoW.
std::wstring GetProductProperty(const std::wstring& productCode, const wchar_t* property);

// Adds the product's display name to `names`. A product without a readable name, or with an empty one, is left out: an
// empty name would stand for every product that has none.
void collectProductName(const std::wstring& productCode, std::set<std::wstring>& names);

// The display names of all products related to the upgrade code, each once, in ascending order.
std::set<std::wstring> FindProductNames(const std::wstring& upgradeCode);
