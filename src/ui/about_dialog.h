// about_dialog - the About box of the main window. Knows nothing of a run.
#pragma once

#include <windows.h>

// Closes the box on OK and on Esc.
INT_PTR CALLBACK aboutDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
