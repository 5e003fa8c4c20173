#include "ui/about_dialog.h"

INT_PTR CALLBACK aboutDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
  switch (message) {
    case WM_INITDIALOG:
      return 1;
    case WM_COMMAND:
      if (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL) {
        ::EndDialog(dialog, LOWORD(wParam));
        return 1;
      }
      return 0;
    default:
      return 0;
  }
}
