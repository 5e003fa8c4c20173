#include "app/main_window.h"

#include "resources/resource_ids.h"
#include "ui/about_dialog.h"
#include "ui/program_module.h"

namespace {

LRESULT CALLBACK mainWindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_COMMAND:
      if (LOWORD(wParam) == IDM_ABOUT) {
        ::DialogBoxParamW(moduleInstance, MAKEINTRESOURCEW(IDD_ABOUT), window, aboutDialogProc, 0);
        return 0;
      }
      if (LOWORD(wParam) == IDM_EXIT) {
        ::DestroyWindow(window);
        return 0;
      }
      break;
    case WM_PAINT: {
      PAINTSTRUCT paint;
      ::BeginPaint(window, &paint);
      ::EndPaint(window, &paint);
      return 0;
    }
    case WM_DESTROY:
      ::PostQuitMessage(0);
      return 0;
    default:
      break;
  }
  return ::DefWindowProcW(window, message, wParam, lParam);
}

void registerMainWindowClass(HINSTANCE instance, const wchar_t* className) {
  WNDCLASSEXW windowClass = {};
  windowClass.cbSize = sizeof(windowClass);
  windowClass.style = CS_VREDRAW | CS_HREDRAW;
  windowClass.lpfnWndProc = mainWindowProcedure;
  windowClass.hInstance = instance;
  windowClass.hIcon = ::LoadIconW(instance, MAKEINTRESOURCEW(IDI_PROGRAM));
  windowClass.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
  windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
  windowClass.lpszMenuName = MAKEINTRESOURCEW(IDR_MAIN_MENU);
  windowClass.lpszClassName = className;
  windowClass.hIconSm = ::LoadIconW(instance, MAKEINTRESOURCEW(IDI_PROGRAM));
  ::RegisterClassExW(&windowClass);
}

}  // namespace

bool createMainWindow(HINSTANCE instance, bool silent, MainWindow& mainWindow) {
  ::LoadStringW(instance, IDS_WINDOW_TITLE, mainWindow.windowTitle, kWindowTextCharacters);
  ::LoadStringW(instance, IDS_WINDOW_CLASS, mainWindow.windowClass, kWindowTextCharacters);
  registerMainWindowClass(instance, mainWindow.windowClass);
  moduleInstance = instance;
  if (!silent && !::CreateWindowExW(0, mainWindow.windowClass, mainWindow.windowTitle, WS_OVERLAPPEDWINDOW,
                                    CW_USEDEFAULT, 0, CW_USEDEFAULT, 0, nullptr, nullptr, instance, nullptr)) {
    return false;
  }
  mainWindow.accelerators = ::LoadAcceleratorsW(instance, MAKEINTRESOURCEW(IDR_ACCELERATORS));
  return true;
}
