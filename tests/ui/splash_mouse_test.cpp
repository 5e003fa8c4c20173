// splash_mouse_test - the splash window under the mouse: it can be moved by any point and minimised by the glyph, and
// its dots go on meanwhile.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <windows.h>

#include "support/link_seam.h"
#include "ui/recorded.h"
#include "ui/splash_fixture.h"

namespace {

constexpr WPARAM kMoveByMouse = 0xF012;

// What the splash thread has done.
std::vector<WPARAM> systemCommands;
std::vector<HWND> commandedWindows;
std::vector<HCURSOR> cursors;
std::vector<std::string> mouseCalls;
bool movesForReal = false;

}  // namespace

LINK_SEAM(LRESULT, SendMessageW, (HWND window, UINT message, WPARAM wParam, LPARAM lParam)) {
  if (message == WM_SYSCOMMAND) {
    record(systemCommands, wParam);
    record(commandedWindows, window);
    record(mouseCalls, std::string("command"));
    if ((wParam & 0xFFF0) == SC_MOVE && !movesForReal) {
      return 0;  // it would wait for the mouse, or for keys
    }
  }
  return realFunction<decltype(&::SendMessageW)>(L"user32.dll", "SendMessageW")(window, message, wParam, lParam);
}

LINK_SEAM(BOOL, ReleaseCapture, ()) {
  record(mouseCalls, std::string("release"));
  return realFunction<decltype(&::ReleaseCapture)>(L"user32.dll", "ReleaseCapture")();
}

LINK_SEAM(HCURSOR, SetCursor, (HCURSOR cursor)) {
  record(cursors, cursor);
  return realFunction<decltype(&::SetCursor)>(L"user32.dll", "SetCursor")(cursor);
}

namespace {

class SplashMouse : public SplashFixture {
 protected:
  void SetUp() override {
    SplashFixture::SetUp();
    systemCommands.clear();
    commandedWindows.clear();
    cursors.clear();
    mouseCalls.clear();
    movesForReal = false;
  }

  // Has the window in a drag whose button never comes up.
  void beginDrag() {
    movesForReal = true;
    ::PostMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, 0);
    ASSERT_TRUE(waitUntil([] { return !recorded(systemCommands).empty(); }));
    ASSERT_TRUE(waitUntil([this] {
      GUITHREADINFO info = {};
      info.cbSize = sizeof(info);
      return ::GetGUIThreadInfo(::GetWindowThreadProcessId(window, nullptr), &info) && info.hwndMoveSize == window;
    }));
  }

  void minimise() {
    ::PostMessageW(control(IDC_SPLASH_MINIMISE), WM_LBUTTONDOWN, MK_LBUTTON, 0);
    ASSERT_TRUE(waitUntil([this] { return ::IsIconic(window) != FALSE; }));
  }
};

}  // namespace

TEST_F(SplashMouse, GlyphMinimisesItAndTheDotsGoOn) {
  open();
  minimise();
  EXPECT_EQ(recorded(systemCommands), std::vector<WPARAM>{SC_MINIMIZE});
  EXPECT_EQ(nextDots(2).size(), 2u);
}

TEST_F(SplashMouse, AnyOtherPointMovesItAndTheDotsGoOn) {
  open();
  const std::vector<HWND> points = {window, control(1004), control(1005), control(1013), background()};
  std::vector<std::string> expectedCalls;
  for (std::size_t count = 0; count < points.size(); ++count) {
    ::PostMessageW(points[count], WM_LBUTTONDOWN, MK_LBUTTON, 0);
    EXPECT_TRUE(waitUntil([count] { return recorded(systemCommands).size() == count + 1; })) << count;
    expectedCalls.insert(expectedCalls.end(), {"release", "command"});
  }
  EXPECT_EQ(recorded(systemCommands), std::vector<WPARAM>(points.size(), kMoveByMouse));
  EXPECT_EQ(recorded(commandedWindows), std::vector<HWND>(points.size(), window)) << "whatever the point is of";
  EXPECT_EQ(recorded(mouseCalls), expectedCalls);
  EXPECT_FALSE(::IsIconic(window));
  EXPECT_EQ(nextDots(2).size(), 2u);
}

TEST_F(SplashMouse, IsWhereTheMouseHasMovedItAndTheDotsGoOn) {
  constexpr int kRight = 40;
  constexpr int kDown = 25;
  movesForReal = true;
  open();
  RECT before = {};
  ::GetWindowRect(window, &before);
  POINT start = {before.left + 50, before.top + 50};
  ::SetCursorPos(start.x, start.y);
  ::PostMessageW(control(1013), WM_LBUTTONDOWN, MK_LBUTTON, 0);
  GUITHREADINFO thread = {};
  thread.cbSize = sizeof(thread);
  EXPECT_TRUE(waitUntil([this, &thread] {
    return ::GetGUIThreadInfo(::GetWindowThreadProcessId(window, nullptr), &thread) && (thread.flags & GUI_INMOVESIZE);
  }));
  EXPECT_EQ(thread.hwndMoveSize, window);
  ::SetCursorPos(start.x + kRight, start.y + kDown);
  ::PostMessageW(window, WM_MOUSEMOVE, MK_LBUTTON, 0);
  ::PostMessageW(window, WM_LBUTTONUP, 0, 0);
  ::PostMessageW(window, WM_KEYDOWN, VK_ESCAPE, 0);  // ends also a move that the button does not end
  RECT after = {};
  EXPECT_TRUE(waitUntil([&] { return ::GetWindowRect(window, &after) && after.left != before.left; }));
  EXPECT_EQ(after.left - before.left, kRight);
  EXPECT_EQ(after.top - before.top, kDown);
  EXPECT_EQ(after.right - before.right, kRight);
  EXPECT_EQ(after.bottom - before.bottom, kDown);
  EXPECT_EQ(nextDots(2).size(), 2u);
}

TEST_F(SplashMouse, DotsGoOnDuringADrag) {
  open();
  beginDrag();
  EXPECT_EQ(nextDots(3).size(), 3u);
  ::PostMessageW(window, WM_LBUTTONUP, 0, 0);
  minimise();  // the window listens again
}

TEST_F(SplashMouse, ClosingDuringADragDoesNotWaitForTheUser) {
  open();
  beginDrag();
  std::atomic<bool> closed = false;
  std::thread run([this, &closed] {
    splash.reset();
    closed = true;
  });
  EXPECT_TRUE(waitUntil([&closed] { return closed.load(); }));
  ::PostMessageW(window, WM_LBUTTONUP, 0, 0);  // or a window that waits would hang the test
  run.join();
  EXPECT_FALSE(::IsWindow(window));
}

TEST_F(SplashMouse, HandShowsOverTheGlyphAlone) {
  const HCURSOR hand = ::LoadCursorW(nullptr, IDC_HAND);
  open();
  const auto handShown = [hand] {
    const std::vector<HCURSOR> shown = recorded(cursors);
    return std::find(shown.begin(), shown.end(), hand) != shown.end();
  };
  ::PostMessageW(control(1013), WM_MOUSEMOVE, 0, 0);
  ::PostMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, 0);  // comes behind it
  ASSERT_TRUE(waitUntil([] { return !recorded(systemCommands).empty(); }));
  EXPECT_FALSE(handShown());
  ::PostMessageW(control(1014), WM_MOUSEMOVE, 0, 0);
  EXPECT_TRUE(waitUntil(handShown));
}

TEST_F(SplashMouse, ClosingEndsTheThreadWhileTheWindowIsMinimised) {
  open();
  minimise();
  splash.reset();
  EXPECT_FALSE(::IsWindow(window));
}
