// forced_removal - deletes an installer product by its display name, without the installer: its entries in the
// installer's registry data, its cached package and its icon folder. The last resort when the installer has failed.
#pragma once

#include <set>
#include <string>

// Removes all registration data of the products with that display name, compared case-insensitively. Entries that
// cannot be read are skipped. Throws RegKeyError if one of the installer's top-level keys cannot be opened; the step
// that needs it and all later ones are then not done. RegDeleteTreeW, RegDeleteValueW.
void ForceRemoveProduct(const std::wstring& productName);

// Force-removes the named products in ascending order of their names, each with its log line.
void forceRemoveProducts(const std::set<std::wstring>& productNames);

// Force-removes every product related to the upgrade code. Returns -1 always. Throws what ForceRemoveProduct throws.
int ForceRemoveRelatedProducts(const std::wstring& upgradeCode);
