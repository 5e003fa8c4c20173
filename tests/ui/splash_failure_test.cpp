// splash_failure_test - a splash window that cannot be created completely: the thread ends early or continues without a
// font, the run is not affected, and closing works.

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <string>
#include <system_error>

#include <process.h>
#include <windows.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "system/handles.h"
#include "ui/splash_fixture.h"

namespace {

std::atomic<bool> backgroundFails{false};
std::atomic<int> failingFontHeight{0};
std::atomic<bool> systemIsOld{false};
std::atomic<bool> threadsFail{false};
std::atomic<bool> fontThrows{false};
std::atomic<int> failures{0};
KernelHandle splashThread;

}  // namespace

LINK_SEAM(HWND, CreateWindowExW,
          (DWORD extendedStyle, LPCWSTR className, LPCWSTR name, DWORD style, int x, int y, int width, int height,
           HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter)) {
  if (backgroundFails) {
    ++failures;
    return nullptr;
  }
  return realFunction<decltype(&::CreateWindowExW)>(L"user32.dll", "CreateWindowExW")(
      extendedStyle, className, name, style, x, y, width, height, parent, menu, instance, parameter);
}

LINK_SEAM(HFONT, CreateFontW,
          (int height, int width, int escapement, int orientation, int weight, DWORD italic, DWORD underline,
           DWORD strikeOut, DWORD characterSet, DWORD outPrecision, DWORD clipPrecision, DWORD quality,
           DWORD pitchAndFamily, LPCWSTR face)) {
  if (fontThrows) {
    ++failures;
    throw std::bad_alloc();
  }
  if (height == failingFontHeight) {
    ++failures;
    return nullptr;
  }
  return realFunction<decltype(&::CreateFontW)>(L"gdi32.dll", "CreateFontW")(
      height, width, escapement, orientation, weight, italic, underline, strikeOut, characterSet, outPrecision,
      clipPrecision, quality, pitchAndFamily, face);
}

// kernel32 takes the place of an older user32, which lacks the functions that the splash window looks for.
LINK_SEAM(HMODULE, GetModuleHandleW, (LPCWSTR name)) {
  const auto real = realFunction<decltype(&::GetModuleHandleW)>(L"kernel32.dll", "GetModuleHandleW");
  return real(systemIsOld && name && std::wstring(name) == L"User32" ? L"kernel32" : name);
}

LINK_SEAM(uintptr_t, _beginthreadex,
          (void* security, unsigned stack, unsigned(__stdcall* start)(void*), void* argument, unsigned flags,
           unsigned* id)) {
  if (threadsFail) {
    errno = EAGAIN;
    return 0;
  }
  const uintptr_t thread = realFunction<decltype(&::_beginthreadex)>(L"msvcrt.dll", "_beginthreadex")(
      security, stack, start, argument, flags, id);
  ::DuplicateHandle(::GetCurrentProcess(), reinterpret_cast<HANDLE>(thread), ::GetCurrentProcess(), splashThread.put(),
                    0, FALSE, DUPLICATE_SAME_ACCESS);
  return thread;
}

namespace {

constexpr int kHeadlineHeight = -27;
constexpr int kSmallHeight = -16;

class SplashFailure : public SplashFixture {
 protected:
  void SetUp() override {
    SplashFixture::SetUp();
    backgroundFails = fontThrows = systemIsOld = threadsFail = false;
    failingFontHeight = 0;
    failures = 0;
  }

  // Opens a window whose thread ends by itself; closing it afterwards works, and nothing is logged.
  void expectEarlyEnd(int dialogId = IDD_SPLASH) {
    constexpr DWORD kLimitMilliseconds = 10'000;
    const CapturedLog log;
    splash = std::make_unique<SplashWindow>(dialogId, nullptr);
    EXPECT_EQ(::WaitForSingleObject(splashThread.get(), kLimitMilliseconds), WAIT_OBJECT_0);
    EXPECT_FALSE(findDialog(L"ORV Cleanup Utility"));
    splash.reset();
    EXPECT_EQ(log.lines(), std::vector<std::string>());
  }
};

}  // namespace

TEST_F(SplashFailure, BackgroundThatCannotBeMadeEndsTheThread) {
  backgroundFails = true;
  expectEarlyEnd();
  EXPECT_EQ(failures, 1);
}

TEST_F(SplashFailure, HeadlineFontThatCannotBeMadeEndsTheThread) {
  failingFontHeight = kHeadlineHeight;
  expectEarlyEnd();
  EXPECT_EQ(failures, 1);
}

TEST_F(SplashFailure, ExceptionEndsTheThreadAlone) {
  fontThrows = true;
  expectEarlyEnd();
  EXPECT_EQ(failures, 1);
}

TEST_F(SplashFailure, SmallFontThatCannotBeMadeLeavesTheTemplatesFont) {
  failingFontHeight = kSmallHeight;
  open();
  EXPECT_EQ(failures, 1);
  LOGFONTW font = {};
  ::GetObjectW(reinterpret_cast<HFONT>(::SendMessageW(control(IDC_SPLASH_DOTS), WM_GETFONT, 0, 0)), sizeof(font),
               &font);
  EXPECT_STREQ(font.lfFaceName, L"Segoe MDL2 Assets");
  EXPECT_EQ(nextDots(1).size(), 1u);
}

TEST_F(SplashFailure, DialogThatIsMissingEndsTheThread) {
  expectEarlyEnd(9'999);
}

TEST_F(SplashFailure, OlderSystemWithoutTheDpiFunctionsShowsItAllTheSame) {
  systemIsOld = true;
  open();
  EXPECT_EQ(nextDots(1).size(), 1u);
}

TEST_F(SplashFailure, ThreadThatCannotBeStartedIsASystemError) {
  threadsFail = true;
  EXPECT_THROW(SplashWindow(IDD_SPLASH, nullptr), std::system_error);
}
