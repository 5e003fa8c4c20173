// test_devices - plants devices and driver packages for a test, and checks what is left of them. Planting is done by
// bench/devices/device_plan.h, which describes the fields and the failing calls. Only tests in tests/devices run with
// the model of device installation.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include "device_plan.h"

// Makes the machine forget all devices, packages, failures, calls and restore points of the model. For SetUp.
void forgetDevices();

bool deviceExists(const std::wstring& id);
// True while the INF is in the INF folder.
bool packageExists(const std::wstring& name);
// True when neither INF, PNF nor catalog is left.
bool packageIsWiped(const std::wstring& name);

// The requested changes in order, as "<call> <what> -> <error>": "DIF_REMOVE PCI\VEN_... -> 0".
std::vector<std::wstring> recordedCalls();
void forgetCalls();
