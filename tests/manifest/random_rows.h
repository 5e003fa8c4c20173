// random_rows - short lists of short rows with few letters, so that equal rows and rows that differ only in case are
// frequent.
#pragma once

#include <random>
#include <string>
#include <vector>

inline std::vector<std::wstring> randomRows(std::mt19937& random) {
  std::uniform_int_distribution<std::size_t> count(0, 30);
  std::uniform_int_distribution<std::size_t> length(0, 3);
  std::uniform_int_distribution<std::size_t> letter(0, 2);
  std::vector<std::wstring> rows(count(random));
  for (std::wstring& row : rows) {
    row.resize(length(random));
    for (wchar_t& c : row) {
      c = L"aA\\"[letter(random)];
    }
  }
  return rows;
}
