#include "system/depth_order.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

// Depths by position in a binary tree of maxima, to find the next deeper row without looking at each one.
class DepthTree {
 public:
  explicit DepthTree(const std::vector<std::size_t>& depths)
      : leaves_(std::bit_ceil(std::max<std::size_t>(depths.size(), 1))), maxima_(2 * leaves_, 0) {
    // Depths are held one higher, so that the unused leaves are below every row.
    for (std::size_t i = 0; i < depths.size(); ++i) {
      maxima_[leaves_ + i] = depths[i] + 1;
    }
    for (std::size_t node = leaves_ - 1; node > 0; --node) {
      maxima_[node] = std::max(maxima_[2 * node], maxima_[2 * node + 1]);
    }
  }

  std::size_t depthAt(std::size_t position) const { return maxima_[leaves_ + position] - 1; }

  void set(std::size_t position, std::size_t depth) {
    std::size_t node = leaves_ + position;
    maxima_[node] = depth + 1;
    while (node > 1) {
      node /= 2;
      maxima_[node] = std::max(maxima_[2 * node], maxima_[2 * node + 1]);
    }
  }

  // The first position behind `position` whose row is deeper than `depth`, or kNone.
  std::size_t firstDeeperBehind(std::size_t position, std::size_t depth) const {
    const std::size_t wanted = depth + 1;
    std::size_t node = leaves_ + position;
    // Up to the first right neighbour that holds a deeper row, then down its left side.
    for (;;) {
      while (node > 1 && node % 2 == 1) {
        node /= 2;
      }
      if (node <= 1) {
        return kNone;
      }
      ++node;
      if (maxima_[node] > wanted) {
        break;
      }
    }
    while (node < leaves_) {
      node *= 2;
      if (maxima_[node] <= wanted) {
        ++node;
      }
    }
    return node - leaves_;
  }

 private:
  std::size_t leaves_;
  std::vector<std::size_t> maxima_;
};

}  // namespace

std::size_t CountBackslashes(std::wstring_view path) {
  return static_cast<std::size_t>(std::count(path.begin(), path.end(), L'\\'));
}

void SortByDepth(std::vector<std::wstring>& list) {
  std::vector<std::size_t> depths(list.size());
  std::transform(list.begin(), list.end(), depths.begin(), [](const auto& row) { return CountBackslashes(row); });
  DepthTree tree(depths);

  // The exchange sort's pass for one position swaps with each later row that is deeper than what it holds by then: it
  // hands every row of that chain on to the place of the next one, and takes the last itself. Only the chain is
  // visited.
  for (std::size_t position = 0; position < list.size(); ++position) {
    std::size_t held = tree.depthAt(position);
    for (std::size_t next = tree.firstDeeperBehind(position, held); next != kNone;
         next = tree.firstDeeperBehind(next, held)) {
      std::swap(list[position], list[next]);
      const std::size_t deeper = tree.depthAt(next);
      tree.set(next, held);
      held = deeper;
    }
    tree.set(position, held);
  }
}
