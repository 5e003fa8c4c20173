#include "ui/splash_window.h"

#include <array>
#include <memory>
#include <string>
#include <type_traits>

#include "resources/resource_ids.h"
#include "ui/localised_strings.h"
#include "ui/program_module.h"

namespace {

constexpr std::array<const wchar_t*, 3> kFrames = {L"◉ ○ ○", L"○ ◉ ○", L"○ ○ ◉"};
constexpr UINT kFrameMilliseconds = 500;
// A window's timer keeps the id it is given; with 0 the call would return a different one.
constexpr UINT_PTR kFrameTimer = 1;

constexpr COLORREF kTextColour = 0xFFFFF0;
constexpr int kHeadlinePoints = 20;
constexpr int kSmallPoints = 12;
constexpr wchar_t kFontFace[] = L"Segoe UI";

// SC_MOVE by mouse instead of by keyboard.
constexpr WPARAM kMoveByMouse = SC_MOVE | HTCAPTION;

using Font = std::unique_ptr<std::remove_pointer_t<HFONT>, decltype(&::DeleteObject)>;

// Makes this thread's windows unaware of DPI, so that the system scales them, although the process is aware of each
// monitor's DPI. Older systems have neither function.
class UnawareOfDpi {
 public:
  UnawareOfDpi() {
    const HMODULE user32 = ::GetModuleHandleW(L"User32");
    setHosting_ = find<SetHosting>(user32, "SetThreadDpiHostingBehavior");
    setContext_ = find<SetContext>(user32, "SetThreadDpiAwarenessContext");
    if (setContext_) {
      oldContext_ = setContext_(DPI_AWARENESS_CONTEXT_UNAWARE);
    }
    if (setHosting_) {
      oldHosting_ = setHosting_(DPI_HOSTING_BEHAVIOR_MIXED);
    }
  }
  ~UnawareOfDpi() {
    if (setContext_) {
      setContext_(oldContext_);
    }
    if (setHosting_) {
      setHosting_(oldHosting_);
    }
  }
  UnawareOfDpi(const UnawareOfDpi&) = delete;
  UnawareOfDpi& operator=(const UnawareOfDpi&) = delete;

 private:
  using SetHosting = DPI_HOSTING_BEHAVIOR(WINAPI*)(DPI_HOSTING_BEHAVIOR);
  using SetContext = DPI_AWARENESS_CONTEXT(WINAPI*)(DPI_AWARENESS_CONTEXT);

  template <class Function>
  static Function find(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
  }

  SetHosting setHosting_ = nullptr;
  SetContext setContext_ = nullptr;
  DPI_HOSTING_BEHAVIOR oldHosting_ = DPI_HOSTING_BEHAVIOR_INVALID;
  DPI_AWARENESS_CONTEXT oldContext_ = nullptr;
};

// The texts are drawn on the bitmap with a transparent background.
INT_PTR CALLBACK dialogProc(HWND, UINT message, WPARAM wParam, LPARAM) {
  if (message != WM_CTLCOLORSTATIC) {
    return 0;
  }
  const HDC dc = reinterpret_cast<HDC>(wParam);
  ::SetTextColor(dc, kTextColour);
  ::SetBkMode(dc, TRANSPARENT);
  return reinterpret_cast<INT_PTR>(::GetStockObject(NULL_BRUSH));
}

HWND createBackground(HWND window) {
  RECT client = {};
  ::GetClientRect(window, &client);
  const HWND background =
      ::CreateWindowExW(0, L"STATIC", L"", WS_CHILD | SS_BITMAP | SS_REALSIZECONTROL, 0, 0, client.right - client.left,
                        client.bottom - client.top, window, nullptr, moduleInstance, nullptr);
  if (background) {
    const HBITMAP bitmap = ::LoadBitmapW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDB_SPLASH));
    ::SendMessageW(background, STM_SETIMAGE, IMAGE_BITMAP, reinterpret_cast<LPARAM>(bitmap));
  }
  return background;
}

Font createFont(HDC dc, int points) {
  const int height = -::MulDiv(points, ::GetDeviceCaps(dc, LOGPIXELSY), 72);
  return {::CreateFontW(height, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, 0, 0, kFontFace), &::DeleteObject};
}

void setFont(HWND window, int control, HFONT font) {
  ::SendMessageW(::GetDlgItem(window, control), WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
}

// Returns false when the headline's font cannot be created.
bool setFonts(HWND window, Font& headline) {
  const HWND control = ::GetDlgItem(window, IDC_SPLASH_HEADLINE);
  const HDC dc = ::GetDC(control);
  headline = createFont(dc, kHeadlinePoints);
  Font small = createFont(dc, kSmallPoints);
  if (headline) {
    setFont(window, IDC_SPLASH_HEADLINE, headline.get());
    if (small) {
      setFont(window, IDC_SPLASH_DOTS, small.get());
      setFont(window, IDC_SPLASH_MINIMISE, small.release());  // the controls use it until the process ends
    }
  }
  ::ReleaseDC(control, dc);
  return headline != nullptr;
}

}  // namespace

SplashWindow::SplashWindow(int dialogId, TextLookup text)
    : text_(text), thread_(&SplashWindow::runThread, this, dialogId) {}

SplashWindow::~SplashWindow() {
  stopRequested_.exchange(true);
  // The message is lost if the thread has no queue yet; the flag then ends the loop as soon as it is idle.
  ::PostThreadMessageW(threadId_, WM_CLOSE, 0, 0);
  thread_.join();
}

void SplashWindow::runThread(int dialogId) {
  threadId_ = ::GetCurrentThreadId();
  const UnawareOfDpi unaware;
  try {
    showWindow(dialogId);
  } catch (...) {
    // An exception that leaves the thread would end the process in the middle of a removal. The run can do without this
    // window.
  }
}

void SplashWindow::showWindow(int dialogId) {
  const HWND window = ::CreateDialogParamW(moduleInstance, MAKEINTRESOURCEW(dialogId), nullptr, dialogProc, 0);
  ::SendMessageW(window, WM_SETICON, ICON_BIG,
                 reinterpret_cast<LPARAM>(::LoadIconW(moduleInstance, MAKEINTRESOURCEW(IDI_PROGRAM))));
  const auto text = [this](int captionId, const wchar_t* defaultText) {
    return text_ ? text_(captionId, defaultText) : std::wstring(defaultText);
  };
  ::SetWindowTextW(window, text(kCaptionTitle, kDefaultTitle).c_str());
  const HWND background = createBackground(window);
  if (!background) {
    return;
  }
  ::ShowWindow(background, SW_SHOW);
  ::SetDlgItemTextW(window, IDC_SPLASH_DOTS, kFrames[0]);
  ::SetDlgItemTextW(window, IDC_SPLASH_CAPTION,
                    text(kCaptionSplash, L"Removing Drivers, Applications, Utilities").c_str());
  ::SetDlgItemTextW(window, IDC_SPLASH_HEADLINE, text(kCaptionSplashHeadline, L"Cleanup Utility").c_str());
  Font headline(nullptr, &::DeleteObject);
  if (!setFonts(window, headline)) {
    return;
  }
  // Needed for minimising it.
  ::SetWindowLongW(window, GWL_STYLE, ::GetWindowLongW(window, GWL_STYLE) | WS_MINIMIZEBOX);
  startTimer(background);
  pumpMessages(window);
}

void SplashWindow::startTimer(HWND background) {
  ::SetWindowLongPtrW(background, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  staticProc_ = reinterpret_cast<WNDPROC>(
      ::SetWindowLongPtrW(background, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&SplashWindow::backgroundProc)));
  timer_ = ::SetTimer(background, kFrameTimer, kFrameMilliseconds, nullptr);
}

LRESULT CALLBACK SplashWindow::backgroundProc(HWND background, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* splash = reinterpret_cast<SplashWindow*>(::GetWindowLongPtrW(background, GWLP_USERDATA));
  if (message == WM_TIMER && wParam == splash->timer_) {
    splash->showNextFrame(background);
  }
  return ::CallWindowProcW(splash->staticProc_, background, message, wParam, lParam);
}

void SplashWindow::showNextFrame(HWND background) {
  const HWND window = ::GetParent(background);
  frame_ = (frame_ + 1) % kFrames.size();
  ::SetDlgItemTextW(window, IDC_SPLASH_DOTS, kFrames[frame_]);
  ::InvalidateRect(window, nullptr, FALSE);
  timer_ = ::SetTimer(background, timer_, kFrameMilliseconds, nullptr);
  if (dragged_ && stopRequested_) {
    // The message loop of the drag has swallowed the request to close. End the drag, by cancelling it or by releasing
    // the button.
    ::SendMessageW(window, WM_CANCELMODE, 0, 0);
    ::PostMessageW(window, WM_LBUTTONUP, 0, 0);
  }
}

// The window has no caption, so it can be dragged by any point. Returns when the user releases the button.
void SplashWindow::dragByMouse(HWND window) {
  dragged_ = true;
  ::SendMessageW(window, WM_SYSCOMMAND, kMoveByMouse, 0);
  dragged_ = false;
}

void SplashWindow::pumpMessages(HWND window) {
  const HWND minimise = ::GetDlgItem(window, IDC_SPLASH_MINIMISE);
  MSG message = {};
  while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
    switch (message.message) {
      case WM_MOUSEMOVE:
        if (message.hwnd == minimise) {
          ::SetCursor(::LoadCursorW(nullptr, IDC_HAND));
        }
        break;
      case WM_LBUTTONDOWN:
        ::ReleaseCapture();
        if (message.hwnd == minimise) {
          ::SendMessageW(window, WM_SYSCOMMAND, SC_MINIMIZE, 0);
        } else {
          dragByMouse(window);
        }
        break;
      case WM_DESTROY:
      case WM_CLOSE:
      case WM_QUIT:
        return;
      default:
        break;
    }
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
    MSG waiting = {};
    if (!::PeekMessageW(&waiting, nullptr, 0, 0, PM_NOREMOVE) && stopRequested_) {
      return;
    }
  }
}
