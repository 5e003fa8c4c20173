#include "not_covered.h"

#include <cstdio>
#include <cstdlib>

#include <windows.h>

namespace bench {

void notCovered(const char* what) {
  std::fprintf(stderr, "bench: the model of device installation does not cover %s\n", what);
  std::fflush(stderr);
  ::TerminateProcess(::GetCurrentProcess(), kNotCoveredExitCode);
  std::abort();
}

}  // namespace bench
