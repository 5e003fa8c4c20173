// unique_rows - appends rows to a list of wide strings that the list does not hold yet, at a cost that does not grow
// with the list. Rows are compared whole: same length, same code units, so case matters. Knows nothing of what a row
// means.
#pragma once

#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

// A list together with an index of its rows. While it lives, the list must only grow through it.
class UniqueRows {
 public:
  explicit UniqueRows(std::vector<std::wstring>& rows) : rows_(rows), index_(rows.begin(), rows.end()) {}

  // Appends the row and returns true, or returns false when the list holds an equal one.
  bool append(std::wstring row) {
    if (!index_.insert(row).second) {
      return false;
    }
    rows_.push_back(std::move(row));
    return true;
  }

 private:
  std::vector<std::wstring>& rows_;
  std::unordered_set<std::wstring> index_;
};
