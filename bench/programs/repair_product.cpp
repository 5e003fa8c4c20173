// repair_product CODE - makes the installer repair a product from its cached package, like `msiexec /fa` on Windows:
// missing files and registry entries are restored. Exits with 0 if the installer succeeds.
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
