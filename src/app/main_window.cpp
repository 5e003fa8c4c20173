// main_window - the hidden main window, which gives an interactive run its menu and its message target, and the
// extraction and reading of the manifest that go with the start.

#include <windows.h>

#include "app/cleanup_session.h"
#include "resources/resource_ids.h"
#include "system/log.h"
#include "ui/about_dialog.h"
#include "ui/program_module.h"

namespace {

constexpr wchar_t kManifestFileName[] = L"ScrubList.JSON";

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

int CleanupSession::initializeWindow() {
  ::LoadStringW(instance, IDS_WINDOW_TITLE, windowTitle, ARRAYSIZE(windowTitle));
  ::LoadStringW(instance, IDS_WINDOW_CLASS, windowClass, ARRAYSIZE(windowClass));
  registerMainWindowClass(instance, windowClass);
  moduleInstance = instance;
  // Never shown. A silent run has no window at all.
  if (!silent && !::CreateWindowExW(0, windowClass, windowTitle, WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, 0, CW_USEDEFAULT,
                                    0, nullptr, nullptr, instance, nullptr)) {
    return 0;
  }
  accelerators = ::LoadAcceleratorsW(instance, MAKEINTRESOURCEW(IDR_ACCELERATORS));

  // From here on the work folder's string is the path of the manifest; nothing asks for the folder any more.
  workDirectory += L'\\';
  workDirectory += kManifestFileName;
  // Held until it is read: every program of the user can write to the work folder, and the document says what is
  // removed.
  FileHandle document;
  extractBinaryResource(instance, IDR_SCRUB_LIST, workDirectory, &document);
  LogDebug(L"PKMCONFIG JSON Path is: %s", workDirectory.c_str());
  LogDebug(L"------------------Parsing JSON -----------------");
  scrubList.parseScrubList(factoryReset, document.get());
  return 1;
}
