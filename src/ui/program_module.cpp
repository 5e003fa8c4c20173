#include "ui/program_module.h"

HINSTANCE moduleInstance = nullptr;
