// splash_window_test - the small window that shows that work goes on: template, texts, animation, end.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <windows.h>

#include "support/link_seam.h"
#include "support/test_folder.h"
#include "ui/recorded.h"
#include "ui/splash_fixture.h"
#include "ui/template_reader.h"

namespace {

// What the splash thread has done.
std::vector<UINT> timerIntervals;
std::vector<HWND> redrawn;
bool timerStands = false;

}  // namespace

// What the splash thread tells the system about DPI before its window is made, and behind it. This program stands in
// for the library that it looks in: the bench machine's own does not know of hosting.
std::vector<std::string> dpiCalls;
std::vector<DWORD> dpiThreads;
constexpr DPI_HOSTING_BEHAVIOR kHostingBefore = DPI_HOSTING_BEHAVIOR_DEFAULT;
const DPI_AWARENESS_CONTEXT kContextBefore = DPI_AWARENESS_CONTEXT_SYSTEM_AWARE;
bool dpiIsRecorded = false;

void recordDpiCall(const std::string& call) {
  record(dpiCalls, call);
  record(dpiThreads, ::GetCurrentThreadId());
}

using Hosting = DPI_HOSTING_BEHAVIOR;
using Context = DPI_AWARENESS_CONTEXT;

extern "C" __declspec(dllexport) Hosting WINAPI recordHosting(Hosting behaviour) __asm__("SetThreadDpiHostingBehavior");
extern "C" Hosting WINAPI recordHosting(Hosting behaviour) {
  recordDpiCall("hosting " + std::to_string(behaviour));
  return kHostingBefore;
}

extern "C" __declspec(dllexport) Context WINAPI recordContext(Context context) __asm__("SetThreadDpiAwarenessContext");
extern "C" Context WINAPI recordContext(Context context) {
  recordDpiCall("context " + std::to_string(reinterpret_cast<LONG_PTR>(context)));
  return kContextBefore;
}

LINK_SEAM(HMODULE, GetModuleHandleW, (LPCWSTR name)) {
  const auto real = realFunction<decltype(&::GetModuleHandleW)>(L"kernel32.dll", "GetModuleHandleW");
  return real(dpiIsRecorded && name && std::wstring(name) == L"User32" ? nullptr : name);
}

LINK_SEAM(HWND, CreateDialogParamW, (HINSTANCE module, LPCWSTR name, HWND owner, DLGPROC procedure, LPARAM parameter)) {
  if (dpiIsRecorded) {
    recordDpiCall("dialog");
  }
  return realFunction<decltype(&::CreateDialogParamW)>(L"user32.dll", "CreateDialogParamW")(module, name, owner,
                                                                                            procedure, parameter);
}

LINK_SEAM(BOOL, InvalidateRect, (HWND window, const RECT* rectangle, BOOL erase)) {
  if (!rectangle && !erase) {
    record(redrawn, window);
  }
  return realFunction<decltype(&::InvalidateRect)>(L"user32.dll", "InvalidateRect")(window, rectangle, erase);
}

LINK_SEAM(UINT_PTR, SetTimer, (HWND window, UINT_PTR timer, UINT interval, TIMERPROC procedure)) {
  record(timerIntervals, interval);
  if (timerStands) {
    return timer;
  }
  return realFunction<decltype(&::SetTimer)>(L"user32.dll", "SetTimer")(window, timer, interval, procedure);
}

namespace {

class Splash : public SplashFixture {
 protected:
  void SetUp() override {
    SplashFixture::SetUp();
    timerIntervals.clear();
    redrawn.clear();
    timerStands = false;
    dpiCalls.clear();
    dpiThreads.clear();
    dpiIsRecorded = false;
  }

  LOGFONTW font(int id) const {
    LOGFONTW font = {};
    ::GetObjectW(reinterpret_cast<HFONT>(::SendMessageW(control(id), WM_GETFONT, 0, 0)), sizeof(font), &font);
    return font;
  }
};

const std::vector<std::wstring> kFrames = {L"◉ ○ ○", L"○ ◉ ○", L"○ ○ ◉"};

}  // namespace

TEST_F(Splash, Template) {
  const DialogTemplate splashTemplate = TemplateReader(IDD_SPLASH).read();
  EXPECT_EQ(splashTemplate.style, 0x90800C40u);
  EXPECT_EQ(splashTemplate.width, 286);
  EXPECT_EQ(splashTemplate.height, 72);
  EXPECT_EQ(splashTemplate.fontFace, L"Segoe MDL2 Assets");
  EXPECT_EQ(splashTemplate.fontPoints, 16);
  const struct {
    int id;
    std::vector<int> place;
    DWORD style;
    DWORD extendedStyle;
    const wchar_t* text;
  } rows[] = {
      {1004, {15, 57, 194, 11}, 0x5002004C, 0x20, L""},
      {1013, {15, 47, 268, 20}, 0x5002004C, 0x20, L""},
      {1005, {216, 57, 63, 11}, 0x50020002, 0x1020, L""},
      {1014, {260, 3, 10, 9}, 0x50020101, 0x20, L"—"},
  };
  EXPECT_EQ(splashTemplate.items.size(), std::size(rows));
  for (const auto& row : rows) {
    const TemplateItem& item = splashTemplate.item(row.id);
    EXPECT_EQ(item.place, row.place) << row.id;
    EXPECT_EQ(item.style, row.style) << row.id;
    EXPECT_EQ(item.extendedStyle, row.extendedStyle) << row.id;
    EXPECT_EQ(item.className, kStaticClass) << row.id;
    EXPECT_EQ(item.text, row.text) << row.id;
  }
}

TEST_F(Splash, WithoutALanguageFileTheEnglishTextsShow) {
  open(&userText);
  EXPECT_EQ(windowText(window), L"ORV Cleanup Utility");
  EXPECT_EQ(controlText(window, 1004), L"Removing Drivers, Applications, Utilities");
  EXPECT_EQ(controlText(window, 1013), L"Cleanup Utility");
  EXPECT_EQ(controlText(window, 1014), L"—");
}

TEST_F(Splash, TextsAreThoseOfTheLookup) {
  const TestFolder folder;
  languageFilePath = folder.makeFile(L"DEU.xml",
                                     "<Language X><c Value=\"126\">Titel</c><c Value=\"139\">Entfernen</c>"
                                     "<c Value=\"140\">Werkzeug</c></Language>");
  open(&userText, L"Titel");
  EXPECT_EQ(controlText(window, 1004), L"Entfernen");
  EXPECT_EQ(controlText(window, 1013), L"Werkzeug");
}

TEST_F(Splash, TextsStayEnglishWithoutALookup) {
  const TestFolder folder;
  languageFilePath =
      folder.makeFile(L"DEU.xml", "<Language X><c Value=\"126\">Titel</c><c Value=\"139\">Entfernen</c></Language>");
  open(nullptr);
  EXPECT_EQ(controlText(window, 1004), L"Removing Drivers, Applications, Utilities");
}

TEST_F(Splash, DotsChangeAndWrapAfterTheThirdFrame) {
  open();
  const std::wstring first = dots();
  const auto start = std::find(kFrames.begin(), kFrames.end(), first);
  ASSERT_NE(start, kFrames.end());
  std::vector<std::wstring> expected;
  for (std::size_t step = 1; step <= 4; ++step) {
    expected.push_back(kFrames[(static_cast<std::size_t>(start - kFrames.begin()) + step) % 3]);
  }
  EXPECT_EQ(nextDots(4), expected);
  const std::vector<UINT> intervals = recorded(timerIntervals);
  EXPECT_GE(intervals.size(), 5u);  // the first, and one after each change
  EXPECT_EQ(intervals, std::vector<UINT>(intervals.size(), 500));
}

TEST_F(Splash, WholeWindowIsDrawnAnewWithEachFrame) {
  open();
  ASSERT_EQ(nextDots(2).size(), 2u);
  ASSERT_TRUE(waitUntil([] { return recorded(redrawn).size() >= 2; }));
  for (const HWND drawn : recorded(redrawn)) {
    EXPECT_EQ(drawn, window);
  }
}

TEST_F(Splash, FirstFrameStandsAtTheStart) {
  timerStands = true;
  open();
  EXPECT_EQ(dots(), kFrames[0]);
}

TEST_F(Splash, BackgroundFillsTheWindowBehindTheTexts) {
  open();
  const HWND child = background();
  ASSERT_TRUE(child);
  EXPECT_EQ(::GetWindowLongW(child, GWL_STYLE) & 0x4FFF004E, 0x4000004E);
  EXPECT_TRUE(::GetWindowLongW(child, GWL_STYLE) & WS_VISIBLE);
  BITMAP bitmap = {};
  ::GetObjectW(reinterpret_cast<HBITMAP>(::SendMessageW(child, STM_GETIMAGE, IMAGE_BITMAP, 0)), sizeof(bitmap),
               &bitmap);
  EXPECT_EQ(bitmap.bmWidth, 640);
  EXPECT_EQ(bitmap.bmHeight, 192);
  EXPECT_FALSE(::GetWindow(child, GW_HWNDNEXT)) << "it is the hindmost of the children";
  RECT client = {};
  RECT own = {};
  ::GetClientRect(window, &client);
  ::GetClientRect(child, &own);
  EXPECT_TRUE(::EqualRect(&client, &own))
      << own.right << "x" << own.bottom << " in " << client.right << "x" << client.bottom;
}

TEST_F(Splash, FontsAreLargeForTheHeadlineAndSmallForDotsAndGlyph) {
  open();
  for (const auto& [id, height] : std::vector<std::pair<int, LONG>>{{1013, -27}, {1005, -16}, {1014, -16}}) {
    const LOGFONTW set = font(id);
    EXPECT_EQ(set.lfHeight, height) << id;
    EXPECT_EQ(set.lfWeight, FW_NORMAL) << id;
    EXPECT_STREQ(set.lfFaceName, L"Segoe UI") << id;
  }
  EXPECT_STREQ(font(1004).lfFaceName, L"Segoe MDL2 Assets");
}

TEST_F(Splash, TextsAreLightOnNoGroundOfTheirOwn) {
  open();
  const HDC dc = ::CreateCompatibleDC(nullptr);
  const LRESULT brush =
      ::SendMessageW(window, WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(dc), reinterpret_cast<LPARAM>(control(1004)));
  EXPECT_EQ(brush, reinterpret_cast<LRESULT>(::GetStockObject(NULL_BRUSH)));
  EXPECT_EQ(::GetTextColor(dc), 0xFFFFF0u);
  EXPECT_EQ(::GetBkMode(dc), TRANSPARENT);
  ::DeleteDC(dc);
}

TEST_F(Splash, HasTheProgramsIcon) {
  open();
  // A shared one: loading it again gives the same.
  const HICON icon = ::LoadIconW(moduleInstance, MAKEINTRESOURCEW(107));
  ASSERT_TRUE(icon);
  EXPECT_EQ(::SendMessageW(window, WM_GETICON, ICON_BIG, 0), reinterpret_cast<LRESULT>(icon));
}

TEST_F(Splash, IsDrawnUnawareOfDpiAndTheMainThreadKeepsItsOwnWay) {
  const DPI_AWARENESS_CONTEXT before = ::GetThreadDpiAwarenessContext();
  open();
  EXPECT_TRUE(::AreDpiAwarenessContextsEqual(::GetWindowDpiAwarenessContext(window), DPI_AWARENESS_CONTEXT_UNAWARE));
  EXPECT_TRUE(::AreDpiAwarenessContextsEqual(::GetThreadDpiAwarenessContext(), before));
}

TEST_F(Splash, HostingOfOtherDpisIsAllowedToItsThreadAndTakenBack) {
  const auto context = [](DPI_AWARENESS_CONTEXT value) {
    return "context " + std::to_string(reinterpret_cast<LONG_PTR>(value));
  };
  const auto hosting = [](DPI_HOSTING_BEHAVIOR value) { return "hosting " + std::to_string(value); };
  dpiIsRecorded = true;
  open();
  const DWORD splashThread = ::GetWindowThreadProcessId(window, nullptr);
  const std::vector<std::string> opening = {context(DPI_AWARENESS_CONTEXT_UNAWARE), hosting(DPI_HOSTING_BEHAVIOR_MIXED),
                                            "dialog"};
  EXPECT_EQ(recorded(dpiCalls), opening);
  splash.reset();
  std::vector<std::string> whole = opening;
  whole.insert(whole.end(), {context(kContextBefore), hosting(kHostingBefore)});
  EXPECT_EQ(recorded(dpiCalls), whole);
  EXPECT_EQ(recorded(dpiThreads), std::vector<DWORD>(whole.size(), splashThread));
}

TEST_F(Splash, ClosingEndsTheThreadAndTheWindow) {
  open();
  splash.reset();
  EXPECT_FALSE(::IsWindow(window));
}

TEST_F(Splash, ClosingAtOnceEndsTheThreadAtAnyMoment) {
  for (int round = 0; round < 20; ++round) {
    splash = std::make_unique<SplashWindow>(IDD_SPLASH, nullptr);
    ::Sleep(static_cast<DWORD>(round));  // another point of the thread's start each time
    splash.reset();
    EXPECT_EQ(findDialog(L"ORV Cleanup Utility"), nullptr);
  }
}

TEST_F(Splash, MessageThatEndsTheLoopEndsTheWindowAndClosingStillWorks) {
  for (const UINT message : {WM_CLOSE, WM_DESTROY, WM_QUIT}) {
    open();
    ::PostThreadMessageW(::GetWindowThreadProcessId(window, nullptr), message, 0, 0);
    EXPECT_TRUE(threadEnds()) << message;
    splash.reset();
  }
}

TEST_F(Splash, TwoInARowWork) {
  open();
  splash.reset();
  open();
  EXPECT_EQ(nextDots(1).size(), 1u);
}

namespace {

std::vector<HDC> takenContexts;
std::vector<HDC> releasedContexts;

}  // namespace

LINK_SEAM(HDC, GetDC, (HWND control)) {
  const HDC context = realFunction<decltype(&::GetDC)>(L"user32.dll", "GetDC")(control);
  record(takenContexts, context);
  return context;
}

LINK_SEAM(int, ReleaseDC, (HWND control, HDC context)) {
  record(releasedContexts, context);
  return realFunction<decltype(&::ReleaseDC)>(L"user32.dll", "ReleaseDC")(control, context);
}

TEST_F(Splash, DeviceContextOfTheFontsIsGivenBack) {
  takenContexts.clear();
  releasedContexts.clear();
  open();
  EXPECT_EQ(recorded(takenContexts).size(), 1u);
  EXPECT_EQ(recorded(releasedContexts), recorded(takenContexts));
}
