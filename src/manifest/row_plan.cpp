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

// Finds the row of the manifest that protects what lies in it: the topmost place that can be reached from a row while
// the parent is listed, since the walk that added the contents has listed everything in between. Remembers what it has
// found, so that a deep tree costs no more than the rows it has.
template <class IsListed>
class ProtectingPlaces {
 public:
  explicit ProtectingPlaces(IsListed isListed) : isListed_(std::move(isListed)) {}

  // The text of `row` must stay where it is as long as this object is used.
  std::wstring_view find(std::wstring_view row) {
    std::vector<std::wstring_view> passed;
    for (std::wstring_view parent = parentOf(row); parent.size() < row.size() && isListed_(parent);
         parent = parentOf(row)) {
      const auto known = topmost_.find(parent);
      row = known == topmost_.end() ? parent : known->second;
      passed.push_back(parent);
      if (known != topmost_.end()) {
        break;
      }
    }
    for (const std::wstring_view place : passed) {
      topmost_.emplace(place, row);
    }
    return row;
  }

 private:
  IsListed isListed_;
  std::unordered_map<std::wstring_view, std::wstring_view> topmost_;
};

// Sets protectedBy to the listed place that each row lies in.
template <class IsListed>
ProtectedRows protectedFromAbove(ProtectedRows rows, const IsListed& isListed) {
  ProtectingPlaces places(isListed);
  for (ProtectedRow& row : rows) {
    row.protectedBy = places.find(row.row);
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
  ProtectedRows rows = protectedFromAbove(
      excludeFromVector(exclusions.excludedRegistryKeys, registryKeys),
      [&](std::wstring_view key) { return excluded.contains(key) && !keysAbove.contains(std::wstring(key)); });
  for (ProtectedRow& row : rows) {
    if (const auto above = keysAbove.find(row.row); above != keysAbove.end()) {
      row.protectedBy = above->second;
    }
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
