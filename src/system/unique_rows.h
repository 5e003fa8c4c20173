// unique_rows - lists of wide strings together with an index of their rows, so that looking for a row does not take
// longer as the list grows. Rows are compared whole, with case and embedded zeros. Knows nothing of what a row means.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

// Finds rows of a list by their text. Holds positions, not copies: the list must outlive it and must only grow.
class RowIndex {
 public:
  explicit RowIndex(const std::vector<std::wstring>& rows);

  bool contains(std::wstring_view row) const { return positions_.contains(row); }

  // Adds the row that was appended to the list last. When the list holds an equal one, nothing changes.
  void addLast();

 private:
  // Both take a position for the row that is there.
  struct Hash {
    using is_transparent = void;
    const std::vector<std::wstring>& rows;
    // Not noexcept: the set then keeps each hash beside its position and need not read the row again.
    std::size_t operator()(std::uint32_t position) const { return (*this)(std::wstring_view(rows[position])); }
    std::size_t operator()(std::wstring_view row) const { return std::hash<std::wstring_view>()(row); }
  };
  struct Equal {
    using is_transparent = void;
    const std::vector<std::wstring>& rows;
    bool operator()(std::uint32_t one, std::uint32_t other) const { return rows[one] == rows[other]; }
    bool operator()(std::wstring_view row, std::uint32_t position) const { return row == rows[position]; }
    bool operator()(std::uint32_t position, std::wstring_view row) const { return row == rows[position]; }
  };

  const std::vector<std::wstring>& rows_;
  std::pmr::monotonic_buffer_resource memory_;  // a block for many entries costs less than one for each
  std::pmr::unordered_set<std::uint32_t, Hash, Equal> positions_;
};

// Appends rows that a list does not hold yet. While it lives, the list must only grow through it.
class UniqueRows {
 public:
  explicit UniqueRows(std::vector<std::wstring>& rows) : rows_(rows), index_(rows) {}

  // Appends the row and returns true, or returns false when the list holds an equal one.
  bool append(std::wstring row);

 private:
  std::vector<std::wstring>& rows_;
  RowIndex index_;
};
