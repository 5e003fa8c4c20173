// device_element - one device of a device information set, as the calls of SetupAPI take it. Owns nothing: the set has
// to live longer.
#pragma once

#include <windows.h>

#include <setupapi.h>

// The sizes that the platform tests for; a structure of another size would be refused on every machine.
static_assert(sizeof(SP_DEVINFO_DATA) == 32);
static_assert(sizeof(SP_DEVINSTALL_PARAMS_W) == 584);
static_assert(sizeof(SP_DRVINFO_DATA_V2_W) == 1568);
static_assert(sizeof(SP_DRVINFO_DETAIL_DATA_W) == 1584);

struct DeviceElement {
  HDEVINFO set = INVALID_HANDLE_VALUE;
  SP_DEVINFO_DATA data = {};
};

// A zeroed structure of SetupAPI with its size filled in, as the calls ask for it.
template <class Structure>
Structure sizedStructure() {
  Structure structure = {};
  structure.cbSize = sizeof(structure);
  return structure;
}
