// device_element - one device in a device information set, in the form that SetupAPI calls take. Does not own the set,
// which has to outlive it.
#pragma once

#include <windows.h>

#include <setupapi.h>

// SetupAPI checks cbSize and rejects structures of any other size.
static_assert(sizeof(SP_DEVINFO_DATA) == 32);
static_assert(sizeof(SP_DEVINSTALL_PARAMS_W) == 584);
static_assert(sizeof(SP_DRVINFO_DATA_V2_W) == 1568);
static_assert(sizeof(SP_DRVINFO_DETAIL_DATA_W) == 1584);

struct DeviceElement {
  HDEVINFO set = INVALID_HANDLE_VALUE;
  SP_DEVINFO_DATA data = {};
};

// A zeroed SetupAPI structure with cbSize set.
template <class Structure>
Structure sizedStructure() {
  Structure structure = {};
  structure.cbSize = sizeof(structure);
  return structure;
}
