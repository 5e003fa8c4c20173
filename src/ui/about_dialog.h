// about_dialog - the About box of the program's main window.
#pragma once

#include <windows.h>

// Closes the box for its button and for Esc; does nothing else.
INT_PTR CALLBACK aboutDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
