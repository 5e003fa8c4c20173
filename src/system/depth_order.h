// depth_order - sorts paths into the order in which they can be deleted, children before their parents. Knows no
// difference between file paths and registry paths.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The number of backslashes; forward slashes do not count.
std::size_t CountBackslashes(std::wstring_view path);

// Sorts in place by descending CountBackslashes. Rows of the same depth end up in the order in which an exchange sort
// would leave them (for each position, swap with each later row that is deeper): the log and the deletions show this
// order. Near-linear as long as there are few different depths.
void SortByDepth(std::vector<std::wstring>& list);
