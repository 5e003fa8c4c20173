// registry_walk - flattens registry keys into lists of everything below them, as full paths in the manifest's form.
// Tolerant: what cannot be opened or read is passed over. Deletes nothing.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

// Collects everything below one open key: `key` is the open handle (KEY_READ) of `subkeyPath` below `root`. Depth
// first, each subkey before its own subkeys, the values of a key after all its subkeys; a default value gives a path
// that ends in a backslash. Rows that `keys` or `values` hold already are passed over, and below such a key nothing is
// looked at. With an empty `subkeyPath` only the first level is collected: the relative path of a child then starts
// with a backslash, which RegOpenKeyExW refuses, and the list of user profiles is built on exactly that.
void QueryKey(HKEY key, HKEY root, const std::wstring& subkeyPath, std::vector<std::wstring>& keys,
              std::vector<std::wstring>& values);

// Walks every row of `keys`, also those that it appends on the way, and appends every subkey at every depth to `keys`
// and every value to `values`. A row with an unknown root is logged and passed over.
void getRegistryKeysValuesRecursively(std::vector<std::wstring>& keys, std::vector<std::wstring>& values);

// Removes each row whose key has a subkey, with a log line. A key with values alone stays in the list, and so does one
// that cannot be opened, so that its deletion reports it.
void SkipKeysWithChildren(std::vector<std::wstring>& keys);
