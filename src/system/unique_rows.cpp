#include "system/unique_rows.h"

#include <bit>
#include <functional>
#include <utility>

namespace {

std::uint32_t hashOf(std::wstring_view row) {
  return static_cast<std::uint32_t>(std::hash<std::wstring_view>()(row));
}

}  // namespace

RowIndex::RowIndex(const std::vector<std::wstring>& rows) : rows_(rows) {
  rebuild(std::bit_ceil(2 * rows.size() + 2));
}

bool RowIndex::contains(std::wstring_view row) const {
  return slots_[findSlot(row, hashOf(row))].position != 0;
}

void RowIndex::addLast() {
  if (2 * (used_ + 1) > slots_.size()) {
    rebuild(2 * slots_.size());
  } else {
    insert(rows_.size() - 1);
  }
}

// The slot that holds an equal row, or the free one where it would go.
std::size_t RowIndex::findSlot(std::wstring_view row, std::uint32_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash & mask;
  while (slots_[slot].position != 0 && (slots_[slot].hash != hash || rows_[slots_[slot].position - 1] != row)) {
    slot = (slot + 1) & mask;
  }
  return slot;
}

// A list may come with equal rows; the first one stands for all.
void RowIndex::insert(std::size_t position) {
  const std::uint32_t hash = hashOf(rows_[position]);
  Slot& slot = slots_[findSlot(rows_[position], hash)];
  if (slot.position == 0) {
    slot = {hash, static_cast<std::uint32_t>(position + 1)};
    ++used_;
  }
}

void RowIndex::rebuild(std::size_t slotCount) {
  slots_.assign(slotCount, Slot());
  used_ = 0;
  for (std::size_t position = 0; position < rows_.size(); ++position) {
    insert(position);
  }
}

bool UniqueRows::append(std::wstring row) {
  if (index_.contains(row)) {
    return false;
  }
  rows_.push_back(std::move(row));
  index_.addLast();
  return true;
}
