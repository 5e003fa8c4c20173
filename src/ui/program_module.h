// program_module - the module that holds the dialogs, bitmaps and the icon. Null until the start of the run has set it.
#pragma once

#include <windows.h>

extern HINSTANCE moduleInstance;
