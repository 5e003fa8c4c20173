// row_plan - decides which rows are taken out of a work list because they are protected, and by which row. Pure:
// compares strings and never asks the machine.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "manifest/work_lists.h"

// A row that was taken out of a work list, and the row that protects it: the same row, the protected directory or key
// that contains it or, for a key, a protected key or value in it.
struct ProtectedRow {
  std::wstring row;
  std::wstring protectedBy;
  bool operator==(const ProtectedRow&) const = default;
};
using ProtectedRows = std::vector<ProtectedRow>;

// The keys that are protected only because of a key below them, each with the first such key.
using KeysAboveProtected = std::map<std::wstring, std::wstring>;

// Takes every row of `target` out that equals a row of `exclusions`, case-sensitively, and returns those rows. The rest
// keeps its order and its duplicates. Both may be the same list.
ProtectedRows excludeFromVector(const std::vector<std::wstring>& exclusions, std::vector<std::wstring>& target);

// The same for directories and for files. protectedBy is the protected directory that contains the row, if there is
// one.
ProtectedRows PlanDirectories(const ExclusionLists& exclusions, std::vector<std::wstring>& directories);
ProtectedRows PlanFiles(const ExclusionLists& exclusions, std::vector<std::wstring>& files);

// The same for registry keys and values. protectedBy is the protected key that contains the row or, for an ancestor of
// a protected key, that key.
ProtectedRows PlanRegistryKeys(const ExclusionLists& exclusions, const KeysAboveProtected& keysAbove,
                               std::vector<std::wstring>& registryKeys);
ProtectedRows PlanRegistryValues(const ExclusionLists& exclusions, const KeysAboveProtected& keysAbove,
                                 std::vector<std::wstring>& registryValues);

// Takes every key out that has a protected value, and returns it with the first such value.
ProtectedRows excludeParentsOfExcludedValues(const std::vector<std::wstring>& excludedValues,
                                             std::vector<std::wstring>& registryKeys);

// Adds the ancestors of all keys except the root, so that a key stays as long as there is a protected key below it. The
// result is sorted by code units, each row once. Returns the ancestors that were added.
KeysAboveProtected addAncestors(std::vector<std::wstring>& keys);
