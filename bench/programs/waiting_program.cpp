// waiting_program - runs until it is terminated. Copied under the image names that a test needs.
#include <windows.h>

int wmain() {
  ::Sleep(INFINITE);
  return 0;
}
