// splash_fixture - the splash window as a test sees it from outside: found by its title, asked with messages.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <windows.h>

#include "resources/resource_ids.h"
#include "ui/localised_strings.h"
#include "ui/program_module.h"
#include "ui/splash_window.h"
#include "ui/window_fixture.h"

inline HWND findDialog(const std::wstring& title) {
  return ::FindWindowW(L"#32770", title.c_str());
}

class SplashFixture : public testing::Test {
 protected:
  void SetUp() override {
    moduleInstance = ::GetModuleHandleW(nullptr);
    languageFilePath.clear();
  }

  void TearDown() override {
    splash.reset();
    languageFilePath.clear();
  }

  // Opens the window and waits until it is complete. The style is the last thing that it sets.
  void open(SplashWindow::TextLookup text = nullptr, const std::wstring& title = L"ORV Cleanup Utility") {
    splash = std::make_unique<SplashWindow>(IDD_SPLASH, text);
    ASSERT_TRUE(waitUntil([this, &title] {
      window = findDialog(title);
      return window && (::GetWindowLongW(window, GWL_STYLE) & WS_MINIMIZEBOX);
    }));
  }

  // The child that is the background: it has no number.
  HWND background() const {
    HWND found = nullptr;
    ::EnumChildWindows(
        window,
        [](HWND child, LPARAM result) {
          if (::GetDlgCtrlID(child) == 0) {
            *reinterpret_cast<HWND*>(result) = child;
          }
          return TRUE;
        },
        reinterpret_cast<LPARAM>(&found));
    return found;
  }

  HWND control(int id) const { return ::GetDlgItem(window, id); }
  std::wstring dots() const { return controlText(window, IDC_SPLASH_DOTS); }

  // The next texts of the dots, as many as asked for; fewer when they stand still.
  std::vector<std::wstring> nextDots(std::size_t count) const {
    std::vector<std::wstring> seen;
    std::wstring last = dots();
    while (seen.size() < count && waitUntil([this, &last] { return dots() != last; })) {
      last = dots();
      seen.push_back(last);
    }
    return seen;
  }

  bool threadEnds() const {
    return waitUntil([this] { return !::IsWindow(window); });
  }

  std::unique_ptr<SplashWindow> splash;
  HWND window = nullptr;
};
