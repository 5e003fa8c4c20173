// The tables of the libraries that are loaded at the first call into them (add_delayed_library in src/CMakeLists.txt).
// Newer linkers lay them into memory that cannot be written, which the loading code of mingw-w64 does not know: it
// writes the function's address there and the program would end with an access violation. It tells this hook first.

#include <windows.h>

#include <delayimp.h>

namespace {

// The page stays writable: it may be another thread's turn to write there.
FARPROC WINAPI makeSlotWritable(unsigned notification, PDelayLoadInfo load) {
  if (notification == dliStartProcessing) {
    DWORD before = 0;
    ::VirtualProtect(load->ppfn, sizeof *load->ppfn, PAGE_READWRITE, &before);
  }
  return nullptr;
}

}  // namespace

PfnDliHook __pfnDliNotifyHook2 = makeSlotWritable;
