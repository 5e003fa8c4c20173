// recorded - lists that the splash window's thread fills and the test's thread reads.
#pragma once

#include <mutex>
#include <vector>

inline std::mutex recordMutex;

template <class Value>
void record(std::vector<Value>& list, Value value) {
  const std::lock_guard lock(recordMutex);
  list.push_back(value);
}

template <class Value>
std::vector<Value> recorded(const std::vector<Value>& list) {
  const std::lock_guard lock(recordMutex);
  return list;
}
