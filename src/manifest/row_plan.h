// row_plan - decides which rows of a work list stay because they are protected, and by which row of the manifest. Pure:
// compares texts and asks the machine nothing.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "manifest/work_lists.h"

// A row that was taken out of a work list, and the row that protects it: the same one, the directory or key above it
// that is listed as protected, or what is protected below or in it.
struct ProtectedRow {
  std::wstring row;
  std::wstring protectedBy;
  bool operator==(const ProtectedRow&) const = default;
};
using ProtectedRows = std::vector<ProtectedRow>;

// Each key that is protected only for what lies below it, with the first such key.
using KeysAboveProtected = std::map<std::wstring, std::wstring>;

// Takes away every row of `target` that equals a row of `exclusions`, whole and with case, and returns these rows. The
// rest keeps its order and its duplicates. A list may be its own exclusions.
ProtectedRows excludeFromVector(const std::vector<std::wstring>& exclusions, std::vector<std::wstring>& target);

// The same for directories and for files: what protects a row is the protected directory that it lies in.
ProtectedRows PlanDirectories(const ExclusionLists& exclusions, std::vector<std::wstring>& directories);
ProtectedRows PlanFiles(const ExclusionLists& exclusions, std::vector<std::wstring>& files);

// The same for keys and for values: what protects a row is the protected key that it lies in or, for a key above it,
// that key.
ProtectedRows PlanRegistryKeys(const ExclusionLists& exclusions, const KeysAboveProtected& keysAbove,
                               std::vector<std::wstring>& registryKeys);
ProtectedRows PlanRegistryValues(const ExclusionLists& exclusions, const KeysAboveProtected& keysAbove,
                                 std::vector<std::wstring>& registryValues);

// Takes away every key that holds a protected value, and returns it with the first such value.
ProtectedRows excludeParentsOfExcludedValues(const std::vector<std::wstring>& excludedValues,
                                             std::vector<std::wstring>& registryKeys);

// Adds every ancestor of the keys, the root alone excepted; the result is in ascending order of code units, each row
// once. So a key survives as long as a protected key lies below it. Returns the ancestors that were not listed.
KeysAboveProtected addAncestors(std::vector<std::wstring>& keys);
