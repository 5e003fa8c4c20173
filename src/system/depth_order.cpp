#include "system/depth_order.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <functional>
#include <numeric>
#include <utility>

namespace {

// A binary tree of maxima over the rows' depths, which finds the next deeper row without looking at each one. Written
// by hand: no library has the order of an exchange sort at a near-linear cost.
class DepthTree {
 public:
  explicit DepthTree(const std::vector<std::uint32_t>& depths)
      : leaves_(std::bit_ceil(std::max<std::size_t>(depths.size(), 1))), maxima_(2 * leaves_, 0) {
    // Depths are stored plus one, so that an unused leaf is less deep than any row.
    for (std::size_t i = 0; i < depths.size(); ++i) {
      maxima_[leaves_ + i] = depths[i] + 1;
    }
    for (std::size_t node = leaves_ - 1; node > 0; --node) {
      maxima_[node] = std::max(maxima_[2 * node], maxima_[2 * node + 1]);
    }
  }

  std::uint32_t depthAt(std::size_t position) const { return maxima_[leaves_ + position] - 1; }

  void set(std::size_t position, std::uint32_t depth) {
    std::size_t node = leaves_ + position;
    maxima_[node] = depth + 1;
    while (node > 1) {
      node /= 2;
      const std::uint32_t maximum = std::max(maxima_[2 * node], maxima_[2 * node + 1]);
      if (maxima_[node] == maximum) {
        break;  // nothing changes above either
      }
      maxima_[node] = maximum;
    }
  }

  // The first position after `position` whose row is deeper than `depth`. There must be one.
  std::size_t firstDeeperBehind(std::size_t position, std::uint32_t depth) const {
    const std::uint32_t wanted = depth + 1;
    std::size_t node = leaves_ + position;
    // Up to the first right neighbour that contains a deeper row, then down to the leftmost such row.
    do {
      while (node % 2 == 1) {
        node /= 2;
      }
      ++node;
    } while (maxima_[node] <= wanted);
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
  std::vector<std::uint32_t> maxima_;
};

}  // namespace

std::size_t CountBackslashes(std::wstring_view path) {
  return static_cast<std::size_t>(std::count(path.begin(), path.end(), L'\\'));
}

void SortByDepth(std::vector<std::wstring>& list) {
  std::vector<std::uint32_t> depths(list.size());
  std::transform(list.begin(), list.end(), depths.begin(),
                 [](const auto& row) { return static_cast<std::uint32_t>(CountBackslashes(row)); });
  DepthTree tree(depths);
  std::sort(depths.begin(), depths.end(), std::greater<>());  // what each position holds in the end

  // For each position an exchange sort swaps the row it holds with each later row that is deeper. In effect the rows of
  // that chain each move to the place of the next one, and the last comes to the position itself. Only the chain is
  // visited; it ends at the deepest row that is left.
  std::vector<std::size_t> order(list.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  for (std::size_t position = 0; position < list.size(); ++position) {
    std::uint32_t held = tree.depthAt(position);
    for (std::size_t next = position; held != depths[position];) {
      next = tree.firstDeeperBehind(next, held);
      std::swap(order[position], order[next]);
      const std::uint32_t deeper = tree.depthAt(next);
      tree.set(next, held);
      held = deeper;
    }
  }

  std::vector<std::wstring> sorted;
  sorted.reserve(list.size());
  for (const std::size_t position : order) {
    sorted.push_back(std::move(list[position]));
  }
  list = std::move(sorted);
}
