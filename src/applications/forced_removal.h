// forced_removal - wipes an installer product from the machine by hand, by its display name: all its entries in the
// installer's registry data, its cached package and its icon folder. The way of last resort, when the installer itself
// has failed. Runs no installer.
#pragma once

#include <set>
#include <string>

// Removes every trace of the registration of the products with that display name, compared without case. What cannot be
// read or found is passed over. Throws RegKeyError when one of the installer's own top keys cannot be opened: then
// nothing of that step and of those behind it is done.
void ForceRemoveProduct(const std::wstring& productName);

// Force-removes the named products in ascending order of their names, each with its log line.
void forceRemoveProducts(const std::set<std::wstring>& productNames);

// Force-removes every product related to the upgrade code. Returns -1 always. Throws what ForceRemoveProduct throws.
int ForceRemoveRelatedProducts(const std::wstring& upgradeCode);
