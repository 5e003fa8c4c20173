// finish_picture_test - the picture of the outcome: which one, its position, and its size at each DPI.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include <windows.h>

#include "support/link_seam.h"
#include "ui/finish_dialog.h"
#include "ui/program_module.h"
#include "ui/window_fixture.h"

namespace {

struct Stretched {
  int left;
  int top;
  int width;
  int height;
  int sourceLeft;
  int sourceTop;
  int sourceWidth;
  int sourceHeight;
  DWORD operation;

  bool operator==(const Stretched&) const = default;
};

void PrintTo(const Stretched& picture, std::ostream* stream) {
  *stream << picture.left << "," << picture.top << " " << picture.width << "x" << picture.height << " from "
          << picture.sourceWidth << "x" << picture.sourceHeight;
}

int dpi = 96;
bool noBitmap = false;
std::vector<int> loadedBitmaps;
HBITMAP lastBitmap = nullptr;
std::vector<Stretched> drawn;
// About the last picture: the window that it was drawn on, and whether it came from the bitmap that was loaded last.
HWND drawnOn = nullptr;
bool cameFromTheBitmap = false;
std::vector<std::string> drawingOrder;

}  // namespace

LINK_SEAM(int, GetDeviceCaps, (HDC dc, int index)) {
  return index == LOGPIXELSY ? dpi : realFunction<decltype(&::GetDeviceCaps)>(L"gdi32.dll", "GetDeviceCaps")(dc, index);
}

LINK_SEAM(HBITMAP, LoadBitmapW, (HINSTANCE instance, LPCWSTR name)) {
  loadedBitmaps.push_back(static_cast<int>(reinterpret_cast<ULONG_PTR>(name)));
  lastBitmap =
      noBitmap ? nullptr : realFunction<decltype(&::LoadBitmapW)>(L"user32.dll", "LoadBitmapW")(instance, name);
  return lastBitmap;
}

LINK_SEAM(BOOL, StretchBlt,
          (HDC target, int left, int top, int width, int height, HDC source, int sourceLeft, int sourceTop,
           int sourceWidth, int sourceHeight, DWORD operation)) {
  drawnOn = ::WindowFromDC(target);
  cameFromTheBitmap = lastBitmap && ::GetCurrentObject(source, OBJ_BITMAP) == lastBitmap;
  drawn.push_back({left, top, width, height, sourceLeft, sourceTop, sourceWidth, sourceHeight, operation});
  drawingOrder.emplace_back("picture");
  return TRUE;
}

namespace {

class FinishPicture : public testing::Test {
 protected:
  void SetUp() override {
    moduleInstance = ::GetModuleHandleW(nullptr);
    dpi = 96;
    noBitmap = false;
  }

  // Paints the dialog once.
  void paint(std::int32_t outcome) {
    dialog = openFinishDialog(outcome, [](HWND) {});
    pumpWaitingMessages(dialog);
    loadedBitmaps.clear();
    drawn.clear();
    ::SendMessageW(dialog, WM_PAINT, 0, 0);
    ::DestroyWindow(dialog);
    pumpWaitingMessages(nullptr);
  }

  HWND dialog = nullptr;
};

constexpr DWORD kCopy = 0xCC0020;

WNDPROC dialogProcedure = nullptr;

// Controls may also ask the dialog to draw its background on them.
LRESULT CALLBACK recordErasing(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_ERASEBKGND && ::WindowFromDC(reinterpret_cast<HDC>(wParam)) == window) {
    drawingOrder.emplace_back("background");
  }
  return ::CallWindowProcW(dialogProcedure, window, message, wParam, lParam);
}

}  // namespace

TEST_F(FinishPicture, EachOutcomeHasItsOwn) {
  const struct {
    std::int32_t outcome;
    int bitmap;
    Stretched picture;
  } rows[] = {
      {1, 137, {90, 25, 36, 35, 0, 0, 36, 35, kCopy}},
      {0, 138, {90, 25, 34, 33, 0, 0, 34, 33, kCopy}},
      {-1, 136, {90, 25, 34, 32, 0, 0, 34, 32, kCopy}},
  };
  for (const auto& row : rows) {
    paint(row.outcome);
    EXPECT_EQ(loadedBitmaps, std::vector<int>{row.bitmap});
    EXPECT_EQ(drawn, std::vector<Stretched>{row.picture});
    EXPECT_EQ(drawnOn, dialog);
    EXPECT_TRUE(cameFromTheBitmap);
  }
}

TEST_F(FinishPicture, PlaceFollowsTheDpiAndTheSizeGrowsInSteps) {
  const struct {
    int dpi;
    Stretched picture;
  } rows[] = {
      {96, {90, 25, 36, 35, 0, 0, 36, 35, kCopy}},      // 1
      {120, {112, 31, 36, 35, 0, 0, 36, 35, kCopy}},    // 1.25 makes 1
      {139, {130, 36, 36, 35, 0, 0, 36, 35, kCopy}},    // 1.447 makes 1
      {140, {131, 36, 54, 52, 0, 0, 36, 35, kCopy}},    // 1.458 makes 1.5
      {144, {135, 37, 54, 52, 0, 0, 36, 35, kCopy}},    // 1.5
      {168, {157, 43, 54, 52, 0, 0, 36, 35, kCopy}},    // 1.75 makes 1.5
      {192, {180, 50, 72, 70, 0, 0, 36, 35, kCopy}},    // 2
      {288, {270, 75, 108, 105, 0, 0, 36, 35, kCopy}},  // 3
  };
  for (const auto& row : rows) {
    dpi = row.dpi;
    paint(1);
    EXPECT_EQ(drawn, std::vector<Stretched>{row.picture}) << row.dpi;
  }
}

TEST_F(FinishPicture, BitmapThatIsMissingLeavesTheTextsAndTheUsualSize) {
  noBitmap = true;
  dialog = openFinishDialog(1, [](HWND) {});
  pumpWaitingMessages(dialog);
  drawn.clear();
  ::SendMessageW(dialog, WM_PAINT, 0, 0);
  EXPECT_EQ(drawn, (std::vector<Stretched>{{90, 25, 35, 35, 0, 0, 35, 35, kCopy}}));
  EXPECT_EQ(controlText(dialog, 1), L"Finish");
  ::DestroyWindow(dialog);
  pumpWaitingMessages(nullptr);
}

TEST_F(FinishPicture, EveryPaintingDrawsItAnew) {
  dialog = openFinishDialog(1, [](HWND) {});
  pumpWaitingMessages(dialog);
  loadedBitmaps.clear();
  ::SendMessageW(dialog, WM_PAINT, 0, 0);
  ::SendMessageW(dialog, WM_PAINT, 0, 0);
  EXPECT_EQ(loadedBitmaps, (std::vector<int>{137, 137}));
  ::DestroyWindow(dialog);
  pumpWaitingMessages(nullptr);
}

TEST_F(FinishPicture, IsDrawnAfterABackgroundThatIsStillToBeErased) {
  dialog = openFinishDialog(1, [](HWND) {});
  pumpWaitingMessages(dialog);
  dialogProcedure =
      reinterpret_cast<WNDPROC>(::SetWindowLongPtrW(dialog, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(recordErasing)));
  drawingOrder.clear();
  ::InvalidateRect(dialog, nullptr, TRUE);
  ::SendMessageW(dialog, WM_PAINT, 0, 0);
  EXPECT_EQ(drawingOrder, (std::vector<std::string>{"background", "picture"}));
  ::DestroyWindow(dialog);
  pumpWaitingMessages(nullptr);
}
