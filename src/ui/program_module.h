// program_module - the module with the dialogs, bitmaps and icon. Null until createMainWindow has set it.
#pragma once

#include <windows.h>

extern HINSTANCE moduleInstance;
