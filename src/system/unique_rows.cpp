#include "system/unique_rows.h"

#include <utility>

RowIndex::RowIndex(const std::vector<std::wstring>& rows)
    : rows_(rows), positions_(2 * rows.size(), Hash{rows}, Equal{rows}, &memory_) {
  for (std::size_t position = 0; position < rows.size(); ++position) {
    positions_.insert(static_cast<std::uint32_t>(position));
  }
}

void RowIndex::addLast() {
  positions_.insert(static_cast<std::uint32_t>(rows_.size() - 1));
}

bool UniqueRows::append(std::wstring row) {
  if (index_.contains(row)) {
    return false;
  }
  rows_.push_back(std::move(row));
  index_.addLast();
  return true;
}
