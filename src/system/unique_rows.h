// unique_rows - lists of wide strings together with an index of their rows, so that a question for a row does not cost
// more as the list grows. Rows are compared whole: same length, same code units, so case matters. Knows nothing of what
// a row means.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Finds rows of a list by their text. Holds positions, not copies: the list must outlive it and must only grow.
class RowIndex {
 public:
  explicit RowIndex(const std::vector<std::wstring>& rows);

  bool contains(std::wstring_view row) const;

  // Takes up the row that was appended to the list last, which the list must not have held before.
  void addLast();

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t position = 0;  // plus one; 0 is a free slot
  };

  std::size_t findSlot(std::wstring_view row, std::uint32_t hash) const;
  void insert(std::size_t position);
  void rebuild(std::size_t slotCount);

  const std::vector<std::wstring>& rows_;
  std::vector<Slot> slots_;  // a power of two, at most half of them in use
  std::size_t used_ = 0;
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
