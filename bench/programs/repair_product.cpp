// repair_product CODE - has the installer repair a product from its own copy of the package, as `msiexec /fa` does
// where that is there: missing files and registry entries come back. Ends with 0 when the installer says that it is
// done.
#include <cstdio>

#include <windows.h>

#include <msi.h>

int wmain(int argumentCount, wchar_t** arguments) {
  if (argumentCount != 2) {
    std::fprintf(stderr, "usage: repair_product CODE\n");
    return 2;
  }
  ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
  const UINT result = ::MsiReinstallProductW(arguments[1], REINSTALLMODE_FILEREPLACE | REINSTALLMODE_MACHINEDATA |
                                                               REINSTALLMODE_USERDATA | REINSTALLMODE_SHORTCUT);
  if (result != ERROR_SUCCESS) {
    std::fprintf(stderr, "bench: the repair of %ls ended with %u\n", arguments[1], result);
    return 1;
  }
  return 0;
}
