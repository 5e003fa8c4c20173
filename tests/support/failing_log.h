// failing_log - makes one line of the log fail as on a machine without resources: locking fails, which throws
// std::system_error. Include it in one source file of a program whose target makes the linker redirect
// pthread_mutex_lock to it (see tests/CMakeLists.txt).
#pragma once

#include <cerrno>

#include <pthread.h>

// Counts down with each line that is written, and the line that brings it to 0 fails. With 0, no line fails. The log's
// lock is the only one in the product.
inline int failingLogLine = 0;

extern "C" int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
extern "C" int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  return failingLogLine > 0 && --failingLogLine == 0 ? EAGAIN : __real_pthread_mutex_lock(mutex);
}
