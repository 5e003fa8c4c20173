// failing_log - lets one line of the log fail as it would on a machine without memory: it throws std::bad_alloc.
// To be included by one source file of a program, since it replaces the program's array allocation.
#pragma once

#include <cstddef>
#include <new>

// Counts down with each line that is written; the line that brings it to 0 fails. 0 lets all lines pass.
inline int failingLogLine = 0;

// The block that the log takes from the heap for each line; nothing else takes arrays of this size.
constexpr std::size_t kLogLineBlockBytes = 32'768;

void* operator new[](std::size_t bytes) {
  if (bytes == kLogLineBlockBytes && failingLogLine > 0 && --failingLogLine == 0) {
    throw std::bad_alloc();
  }
  return ::operator new(bytes);
}

void operator delete[](void* block) noexcept {
  ::operator delete(block);
}

void operator delete[](void* block, std::size_t) noexcept {
  ::operator delete(block);
}
