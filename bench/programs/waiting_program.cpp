// waiting_program - runs until it is ended from outside. Copied under the image names that a test wants to see running.
#include <windows.h>

int wmain() {
  ::Sleep(INFINITE);
  return 0;
}
