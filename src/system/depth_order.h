// depth_order - puts lists of paths into the order in which they can be deleted, children before their parents. Serves
// file paths and registry paths alike.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The number of backslashes; forward slashes do not count.
std::size_t CountBackslashes(std::wstring_view path);

// Sorts in place by descending CountBackslashes. Among equally deep rows the order is exactly the one that an exchange
// sort leaves (for each position, swap with each later row that is deeper): it shows in the log and in the order of
// deletion. The cost is near linear for a bounded number of different depths.
void SortByDepth(std::vector<std::wstring>& list);
