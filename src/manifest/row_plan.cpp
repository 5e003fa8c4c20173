#include "manifest/row_plan.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "system/unique_rows.h"

namespace {

using Rows = std::vector<std::wstring>;

// The text before the last backslash; the whole row if there is none.
std::wstring_view parentOf(std::wstring_view row) {
  return row.substr(0, row.rfind(L'\\'));
}

// Goes up from `row` as long as the parent is listed, and returns where that ends. This is the row that the manifest
// names: the walk that added its contents has listed everything in between.
template <class IsListed>
std::wstring topmostListed(std::wstring_view row, const IsListed& isListed) {
  std::wstring_view parent = parentOf(row);
  while (parent.size() < row.size() && isListed(parent)) {
    row = parent;
    parent = parentOf(row);
  }
  return std::wstring(row);
}

// Sets protectedBy to the listed place that each row lies in.
template <class IsListed>
ProtectedRows protectedFromAbove(ProtectedRows rows, const IsListed& isListed) {
  for (ProtectedRow& row : rows) {
    row.protectedBy = topmostListed(row.row, isListed);
  }
  return rows;
}

}  // namespace

ProtectedRows excludeFromVector(const Rows& exclusions, Rows& target) {
  ProtectedRows taken;
  std::vector<bool> isTaken(target.size());
  {
    const RowIndex excluded(exclusions);
    std::transform(target.begin(), target.end(), isTaken.begin(),
                   [&excluded](const std::wstring& row) { return excluded.contains(row); });
  }
  std::size_t kept = 0;
  for (std::size_t position = 0; position < target.size(); ++position) {
    if (isTaken[position]) {
      taken.push_back({target[position], std::move(target[position])});
      continue;
    }
    if (kept != position) {
      target[kept] = std::move(target[position]);
    }
    ++kept;
  }
  target.resize(kept);
  return taken;
}

ProtectedRows PlanDirectories(const ExclusionLists& exclusions, Rows& directories) {
  const RowIndex excluded(exclusions.excludedDirectories);
  return protectedFromAbove(excludeFromVector(exclusions.excludedDirectories, directories),
                            [&excluded](std::wstring_view row) { return excluded.contains(row); });
}

ProtectedRows PlanFiles(const ExclusionLists& exclusions, Rows& files) {
  const RowIndex excluded(exclusions.excludedDirectories);
  return protectedFromAbove(excludeFromVector(exclusions.excludedFiles, files),
                            [&excluded](std::wstring_view row) { return excluded.contains(row); });
}

ProtectedRows PlanRegistryKeys(const ExclusionLists& exclusions, const KeysAboveProtected& keysAbove,
                               Rows& registryKeys) {
  const RowIndex excluded(exclusions.excludedRegistryKeys);
  ProtectedRows rows = excludeFromVector(exclusions.excludedRegistryKeys, registryKeys);
  for (ProtectedRow& row : rows) {
    const auto above = keysAbove.find(row.row);
    row.protectedBy = above != keysAbove.end() ? above->second : topmostListed(row.row, [&](std::wstring_view key) {
      return excluded.contains(key) && !keysAbove.contains(std::wstring(key));
    });
  }
  return rows;
}

ProtectedRows PlanRegistryValues(const ExclusionLists& exclusions, const KeysAboveProtected& keysAbove,
                                 Rows& registryValues) {
  const RowIndex excluded(exclusions.excludedRegistryKeys);
  return protectedFromAbove(
      excludeFromVector(exclusions.excludedRegistryValues, registryValues),
      [&](std::wstring_view key) { return excluded.contains(key) && !keysAbove.contains(std::wstring(key)); });
}

ProtectedRows excludeParentsOfExcludedValues(const Rows& excludedValues, Rows& registryKeys) {
  std::unordered_map<std::wstring_view, const std::wstring*> firstValues;
  Rows parents;
  for (const std::wstring& value : excludedValues) {
    if (firstValues.emplace(parentOf(value), &value).second) {
      parents.emplace_back(parentOf(value));
    }
  }
  ProtectedRows rows = excludeFromVector(parents, registryKeys);
  for (ProtectedRow& row : rows) {
    row.protectedBy = *firstValues.at(row.row);
  }
  return rows;
}

KeysAboveProtected addAncestors(Rows& keys) {
  std::set<std::wstring> protectedKeys(keys.begin(), keys.end());
  KeysAboveProtected keysAbove;
  for (const std::wstring& row : keys) {
    for (std::size_t backslash = row.find(L'\\', row.find(L'\\') + 1); backslash != std::wstring::npos;
         backslash = row.find(L'\\', backslash + 1)) {
      std::wstring ancestor = row.substr(0, backslash);
      if (protectedKeys.insert(ancestor).second) {
        keysAbove.emplace(std::move(ancestor), row);
      }
    }
  }
  keys.assign(protectedKeys.begin(), protectedKeys.end());
  return keysAbove;
}
