// benchmark - shows how the work on long lists grows with the number of rows. No test runs it, because timing on a
// shared machine proves nothing. By hand, on a test machine:
//
//   cmake --preset mingw-release
//   cmake --build build/release --target benchmark
//   bench/run_on_machine.py build/release/tests/benchmarks/benchmark.exe
//
// Each line shows the best time of several calls, and the heap allocations and hashed bytes of one call, each also as a
// multiple of the previous line. Ten times the rows may cost at most fifteen times as many allocations and hashed
// bytes; otherwise the program exits with 1. The time is only informative: lists that do not fit the processor's caches
// cost more per row whatever is done with them, and other programs run on the machine. Sorting by depth does not
// allocate or hash per row, so there the time decides.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <malloc.h>
#include <windows.h>

#include "manifest/collectors.h"
#include "manifest/path_expansion.h"
#include "support/test_registry.h"
#include "system/depth_order.h"
#include "system/registry_walk.h"

namespace {

std::size_t allocations = 0;
std::size_t hashedBytes = 0;

}  // namespace

// The standard library's hash function, which the linker redirects to this wrapper (see CMakeLists.txt).
extern "C" std::size_t __real__ZSt11_Hash_bytesPKvyy(const void* bytes, std::size_t size, std::size_t seed);
extern "C" std::size_t __wrap__ZSt11_Hash_bytesPKvyy(const void* bytes, std::size_t size, std::size_t seed) {
  hashedBytes += size;
  return __real__ZSt11_Hash_bytesPKvyy(bytes, size, seed);
}

void* operator new(std::size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
// The library's memory resources ask for their blocks with an alignment.
void* operator new(std::size_t size, std::align_val_t alignment) {
  ++allocations;
  if (void* const memory = ::_aligned_malloc(size != 0 ? size : 1, static_cast<std::size_t>(alignment))) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory, std::align_val_t) noexcept {
  ::_aligned_free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  ::_aligned_free(memory);
}

namespace {

using Rows = std::vector<std::wstring>;

constexpr std::size_t kMostRows = 100'000;
constexpr std::size_t kRows[] = {1'000, 10'000, kMostRows};
constexpr std::size_t kMostKeys = 10'000;
constexpr std::size_t kKeys[] = {100, 1'000, kMostKeys};
constexpr int kBatches = 5;
constexpr double kMostForTenTimesTheRows = 15.0;

struct Cost {
  double milliseconds = std::numeric_limits<double>::max();
  std::size_t allocations = 0;
  std::size_t hashedBytes = 0;
};

// The best of several batches of calls. Each call works on lists of its own, which are copied before the measurement. A
// batch has `calls` calls, so that short and long lists are measured under similar conditions.
Cost measure(const Rows& first, const Rows& second, std::size_t calls, const std::function<void(Rows&, Rows&)>& call) {
  Cost best;
  for (int batch = 0; batch < kBatches; ++batch) {
    std::vector<Rows> firsts(calls, first);
    std::vector<Rows> seconds(calls, second);
    const std::size_t allocationsBefore = allocations;
    const std::size_t hashedBytesBefore = hashedBytes;
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < calls; ++i) {
      call(firsts[i], seconds[i]);
    }
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    best.milliseconds = std::min(best.milliseconds, time.count() / static_cast<double>(calls));
    best.allocations = (allocations - allocationsBefore) / calls;
    best.hashedBytes = (hashedBytes - hashedBytesBefore) / calls;
  }
  return best;
}

// Paths like those in work lists: long common prefixes and a dozen different depths.
Rows paths(std::size_t count) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int> depth(2, 13);
  Rows rows;
  for (std::size_t i = 0; i < count; ++i) {
    std::wstring row = L"C:\\Program Files\\ORV";
    for (int level = depth(random); level > 0; --level) {
      row += L"\\folder";
    }
    rows.push_back(row + L"\\file" + std::to_wstring(i) + L".dll");
  }
  return rows;
}

const std::wstring kKey = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Benchmark";

// Keys in groups of a hundred, each with one value.
void plantKeys(std::size_t count) {
  removeKey(kKey);
  for (std::size_t i = 0; i < count; ++i) {
    plantDword(kKey + L"\\group" + std::to_wstring(i / 100) + L"\\key" + std::to_wstring(i % 100), L"value", 1);
  }
}

class Table {
 public:
  void begin(const char* name) {
    name_ = name;
    before_ = Cost();
  }

  void add(std::size_t rows, const Cost& cost) {
    std::printf("%-18s %7zu rows %10.3f ms %9zu allocations %11zu bytes hashed", name_, rows, cost.milliseconds,
                cost.allocations, cost.hashedBytes);
    if (before_.allocations != 0) {
      const double time = cost.milliseconds / before_.milliseconds;
      const double memory = ratio(cost.allocations, before_.allocations);
      const double hashed = ratio(cost.hashedBytes, before_.hashedBytes);
      const double counted = cost.hashedBytes != 0 ? std::max(memory, hashed) : time;
      const bool tooMuch = counted > kMostForTenTimesTheRows;
      std::printf("   x %.1f time, x %.1f allocations, x %.1f bytes%s", time, memory, hashed,
                  tooMuch ? "   TOO MUCH" : "");
      failed_ |= tooMuch;
    }
    std::printf("\n");
    before_ = cost;
  }

  bool failed() const { return failed_; }

 private:
  static double ratio(std::size_t now, std::size_t before) {
    return before == 0 ? 0 : static_cast<double>(now) / static_cast<double>(before);
  }

  const char* name_ = "";
  Cost before_;
  bool failed_ = false;
};

}  // namespace

int main() {
  Table table;

  table.begin("appendMissing");
  for (const std::size_t count : kRows) {
    Rows rows = paths(count);
    rows.insert(rows.end(), rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(count / 2));
    table.add(count, measure(rows, {}, kMostRows / count,
                             [](Rows& source, Rows& target) { appendMissing(std::move(source), target); }));
  }

  table.begin("excludeFromVector");
  for (const std::size_t count : kRows) {
    const Rows rows = paths(count);
    const Rows exclusions(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(count / 2));
    table.add(count, measure(exclusions, rows, kMostRows / count,
                             [](Rows& excluded, Rows& target) { excludeFromVector(std::move(excluded), target); }));
  }

  table.begin("SortByDepth");
  for (const std::size_t count : kRows) {
    table.add(count, measure(paths(count), {}, kMostRows / count, [](Rows& list, Rows&) { SortByDepth(list); }));
  }

  table.begin("registry walk");
  for (const std::size_t count : kKeys) {
    plantKeys(count);
    table.add(count, measure({kKey}, {}, kMostKeys / count,
                             [](Rows& keys, Rows& values) { getRegistryKeysValuesRecursively(keys, values); }));
  }
  removeKey(kKey);

  return table.failed() ? 1 : 0;
}
