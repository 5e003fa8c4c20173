#include "ui/finish_dialog.h"

#include <array>
#include <utility>

#include "resources/resource_ids.h"
#include "ui/localised_strings.h"
#include "ui/program_module.h"
#include "ui/view_report.h"

namespace {

struct Outcome {
  std::int32_t code;
  int bitmap;
  const wchar_t* text;
  int caption;
};

// Every code but the first two is a failure.
constexpr std::array<Outcome, 3> kOutcomes = {{
    {1, IDB_SUCCESS, L"The ORV Cleanup Utility has successfully completed.", kCaptionSuccess},
    {0, IDB_WARNINGS, L"The ORV Cleanup Utility has completed with warnings.", kCaptionWarnings},
    {-1, IDB_FAILURE, L"The ORV Cleanup Utility has not completed successfully.", kCaptionFailure},
}};

// Position of the picture, and its size if GetObjectW fails, in pixels at 96 DPI.
constexpr int kPictureLeft = 90;
constexpr int kPictureTop = 25;
constexpr int kPictureSize = 35;

// The sequence runs at most once, so there is one dialog per process.
std::int32_t shownOutcome = 1;
std::function<void(HWND)> finishRequested;

// Created again by every WM_PAINT and never released; the dialog is painted only a few times.
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
  // Rounded to halves, to keep the picture sharp.
  const float pictureScale = static_cast<float>(static_cast<int>(2 * scale + 0.1F)) * 0.5F;
  ::StretchBlt(windowDc, static_cast<int>(scale * kPictureLeft), static_cast<int>(scale * kPictureTop),
               static_cast<int>(static_cast<float>(size.bmWidth) * pictureScale),
               static_cast<int>(static_cast<float>(size.bmHeight) * pictureScale), memoryDc, 0, 0, size.bmWidth,
               size.bmHeight, SRCCOPY);
}

// Each WM_PAINT sets the dialog up completely.
void paint(HWND dialog) {
  const Outcome& outcome = outcomeRow();
  // Otherwise the default handling would erase the background later, and the picture with it.
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
    ::PostQuitMessage(0);  // there is no button to press
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
      return 0;  // let the default handling paint the controls
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
