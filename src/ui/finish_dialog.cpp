#include "ui/finish_dialog.h"

#include <array>
#include <utility>

#include <shellapi.h>

#include "resources/resource_ids.h"
#include "system/handles.h"
#include "system/log.h"
#include "ui/localised_strings.h"
#include "ui/program_module.h"

namespace {

struct Outcome {
  std::int32_t code;
  int bitmap;
  const wchar_t* text;
  int caption;
};

// Anything but the first two is a failure.
constexpr std::array<Outcome, 3> kOutcomes = {{
    {1, IDB_SUCCESS, L"The ORV Cleanup Utility has successfully completed.", kCaptionSuccess},
    {0, IDB_WARNINGS, L"The ORV Cleanup Utility has completed with warnings.", kCaptionWarnings},
    {-1, IDB_FAILURE, L"The ORV Cleanup Utility has not completed successfully.", kCaptionFailure},
}};

constexpr wchar_t kBrowserKey[] = L"HTTP\\shell\\open\\ddeexec\\Application";
constexpr DWORD kBrowserBytes = 520;

// Where the picture stands and how large it is when its size cannot be told, in pixels at 96 DPI.
constexpr int kPictureLeft = 90;
constexpr int kPictureTop = 25;
constexpr int kPictureSize = 35;

// One dialog a process, as the sequence runs at most once.
std::int32_t shownOutcome = 1;
std::function<void(HWND)> finishRequested;

// What the drawing keeps: each painting gets them anew and releases none, as the dialog lives for a few of them.
HBITMAP pictureBitmap = nullptr;
HDC windowDc = nullptr;
HDC memoryDc = nullptr;

const Outcome& outcomeRow() {
  for (const Outcome& outcome : kOutcomes) {
    if (outcome.code == shownOutcome) {
      return outcome;
    }
  }
  return kOutcomes.back();
}

void drawPicture(HWND dialog, int bitmap) {
  pictureBitmap = ::LoadBitmapW(moduleInstance, MAKEINTRESOURCEW(bitmap));
  windowDc = ::GetDC(dialog);
  memoryDc = ::CreateCompatibleDC(windowDc);
  ::SelectObject(memoryDc, pictureBitmap);
  BITMAP size = {};
  if (::GetObjectW(pictureBitmap, sizeof(size), &size) == 0) {
    size.bmWidth = size.bmHeight = kPictureSize;
  }
  const float scale = static_cast<float>(::GetDeviceCaps(windowDc, LOGPIXELSY)) / 96;
  // In steps of one half, so that the picture stays sharp.
  const float pictureScale = static_cast<float>(static_cast<int>(2 * scale + 0.1F)) * 0.5F;
  ::StretchBlt(windowDc, static_cast<int>(scale * kPictureLeft), static_cast<int>(scale * kPictureTop),
               static_cast<int>(static_cast<float>(size.bmWidth) * pictureScale),
               static_cast<int>(static_cast<float>(size.bmHeight) * pictureScale), memoryDc, 0, 0, size.bmWidth,
               size.bmHeight, SRCCOPY);
}

// All of the set-up is done with each painting.
void paint(HWND dialog) {
  const Outcome& outcome = outcomeRow();
  // A background that has not been erased yet would be in the default handling, which comes later, and the picture with
  // it.
  ::RedrawWindow(dialog, nullptr, nullptr, RDW_ERASENOW);
  drawPicture(dialog, outcome.bitmap);
  ::SetDlgItemTextW(dialog, IDC_OUTCOME_TEXT, userText(outcome.caption, outcome.text).c_str());
  ::SetWindowTextW(dialog, userText(kCaptionTitle, kDefaultTitle).c_str());
  ::SetDlgItemTextW(dialog, IDC_VIEW_REPORT, userText(kCaptionViewReport, L"View Report").c_str());
  ::SetDlgItemTextW(dialog, IDOK, userText(kCaptionFinish, L"Finish").c_str());
}

void centre(HWND dialog) {
  const HWND parent = ::GetParent(dialog);
  RECT around = {};
  RECT own = {};
  ::GetWindowRect(parent ? parent : ::GetDesktopWindow(), &around);
  ::GetWindowRect(dialog, &own);
  const int left = around.left + ((around.right - around.left) - (own.right - own.left)) / 2;
  const int top = around.top + ((around.bottom - around.top) - (own.bottom - own.top)) / 2;
  ::SetWindowPos(dialog, nullptr, left, top, 0, 0, SWP_NOSIZE);
}

}  // namespace

HWND openFinishDialog(std::int32_t outcome, std::function<void(HWND)> onFinish) {
  shownOutcome = outcome;
  finishRequested = std::move(onFinish);
  const HWND dialog = ::CreateDialogParamW(moduleInstance, MAKEINTRESOURCEW(IDD_FINISH), nullptr, finishDialogProc, 0);
  if (!dialog) {
    ::PostQuitMessage(0);  // nobody could press its button
    return nullptr;
  }
  ::SendMessageW(dialog, WM_SETICON, ICON_BIG,
                 reinterpret_cast<LPARAM>(::LoadIconW(moduleInstance, MAKEINTRESOURCEW(IDI_PROGRAM))));
  centre(dialog);
  ::ShowWindow(dialog, SW_SHOWNORMAL);
  return dialog;
}

INT_PTR CALLBACK finishDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
  switch (message) {
    case WM_PAINT:
      paint(dialog);
      return 0;  // the default handling paints the controls
    case WM_COMMAND:
      switch (LOWORD(wParam)) {
        case IDOK:
        case IDCANCEL:
          finishRequested(dialog);
          return 1;
        case IDC_VIEW_REPORT:
          onViewReport();
          return 1;
        default:
          return 0;
      }
    case WM_DESTROY:
      ::PostQuitMessage(0);
      return 1;
    default:
      return 0;
  }
}

void onViewReport() {
  try {
    wchar_t folder[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, folder);
    const std::wstring report = std::wstring(L"\"") + folder + L"CleanUp\\report.xml\"";
    const std::wstring browser = GetDefaultBrowser();
    if (browser.empty()) {
      ::ShellExecuteW(nullptr, L"open", report.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    } else {
      ::ShellExecuteW(nullptr, L"open", browser.c_str(), report.c_str(), nullptr, SW_SHOWNORMAL);
    }
  } catch (...) {
    LogError(L"onViewReport - Inside Catch");
  }
}

std::wstring GetDefaultBrowser() {
  try {
    RegistryKey key;
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, kBrowserKey, 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
      return {};
    }
    wchar_t browser[kBrowserBytes / sizeof(wchar_t) + 1] = {};  // room for a terminator that the value may lack
    DWORD size = kBrowserBytes;
    return ::RegQueryValueExW(key.get(), nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(browser), &size) ==
                   ERROR_SUCCESS
               ? browser
               : L"";
  } catch (...) {
    LogError(L"GetDefaultBrowser - Inside Catch");
    return {};
  }
}
