// registry_walk - lists everything below registry keys as full paths in the manifest's form. Skips what cannot be
// opened or read. Deletes nothing.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

// Appends everything below one open key: `key` is the handle (KEY_READ) of `subkeyPath` below `root`. Depth first, each
// subkey before its own subkeys, and the values of a key after all its subkeys; the path of a default value ends in a
// backslash. A row that is in the lists already is skipped, and nothing below such a key is read. With an empty
// `subkeyPath` only the first level is listed: the relative path of a child then starts with a backslash, which
// RegOpenKeyExW refuses. The list of user profiles depends on that.
void QueryKey(HKEY key, HKEY root, const std::wstring& subkeyPath, std::vector<std::wstring>& keys,
              std::vector<std::wstring>& values);

// Walks every row of `keys`, including those that it appends, and appends every subkey at every depth to `keys` and
// every value to `values`. A row with an unknown root is logged and skipped.
void getRegistryKeysValuesRecursively(std::vector<std::wstring>& keys, std::vector<std::wstring>& values);

// Removes each row whose key has a subkey, with a log line. A key that has only values stays in the list. So does one
// that cannot be opened: its deletion will report it.
void SkipKeysWithChildren(std::vector<std::wstring>& keys);
