// failing_log - lets one line of the log fail as it would on a machine that has run out of means: its lock is refused,
// which raises std::system_error. To be included by one source file of a program, whose target has the linker lead
// pthread_mutex_lock through here (see tests/CMakeLists.txt).
#pragma once

#include <cerrno>

#include <pthread.h>

// Counts down with each line that is written; the line that brings it to 0 fails. 0 lets all lines pass. The log's lock
// is the only one in the system.
inline int failingLogLine = 0;

extern "C" int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
extern "C" int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  return failingLogLine > 0 && --failingLogLine == 0 ? EAGAIN : __real_pthread_mutex_lock(mutex);
}
