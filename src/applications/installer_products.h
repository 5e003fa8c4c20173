// installer_products - finds the installed products behind an upgrade code. Removes nothing.
#pragma once

#include <functional>
#include <set>
#include <string>

// Calls `visit` with the product code of each product related to the upgrade code. The index goes on counting whatever
// `visit` does: when it removes a product, the list moves up and the next product is passed over. Any result of
// MsiEnumRelatedProductsW but success ends the walk.
void forEachRelatedProduct(const std::wstring& upgradeCode, const std::function<void(const std::wstring&)>& visit);

// A property of an installed product, such as LocalPackage; at most 259 characters. Empty on any failure.
std::wstring GetProductProperty(const std::wstring& productCode, const wchar_t* property);

// Adds the product's display name to `names`. A product without a readable name, or with an empty one, is left out: an
// empty name would stand for every product that has none.
void collectProductName(const std::wstring& productCode, std::set<std::wstring>& names);
