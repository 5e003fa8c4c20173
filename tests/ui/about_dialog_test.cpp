// about_dialog_test - the About box: its template and how it closes.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "resources/resource_ids.h"
#include "ui/about_dialog.h"
#include "ui/template_reader.h"
#include "ui/window_fixture.h"

namespace {

// Shows the box, sends it a message as soon as it runs, and returns its result.
INT_PTR closedBy(UINT message, WPARAM wParam) {
  static UINT sentMessage;
  static WPARAM sentParameter;
  sentMessage = message;
  sentParameter = wParam;
  ::SetTimer(nullptr, 0, 1, [](HWND, UINT, UINT_PTR timer, DWORD) {
    const HWND box = ::FindWindowW(nullptr, L"About");
    if (box && ::IsWindowVisible(box)) {
      ::KillTimer(nullptr, timer);
      ::PostMessageW(box, sentMessage, sentParameter, 0);
    }
  });
  return ::DialogBoxParamW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_ABOUT), nullptr, aboutDialogProc, 0);
}

}  // namespace

TEST(AboutBox, Template) {
  const DialogTemplate box = TemplateReader(IDD_ABOUT).read();
  EXPECT_EQ(box.width, 230);
  EXPECT_EQ(box.height, 75);
  EXPECT_EQ(box.title, L"About");
  EXPECT_EQ(box.fontFace, L"System");
  EXPECT_EQ(box.fontPoints, 8);
  ASSERT_EQ(box.items.size(), 4u);
  EXPECT_EQ(box.items[0].text, L"#" + std::to_wstring(IDI_PROGRAM));
  EXPECT_EQ(box.items[0].style & SS_TYPEMASK, static_cast<DWORD>(SS_ICON));
  EXPECT_EQ(std::vector<int>(box.items[0].place.begin(), box.items[0].place.begin() + 2), (std::vector<int>{14, 9}));
  EXPECT_EQ(box.items[1].text, L"ORVCleanupUtility Version 1.0");
  EXPECT_EQ(std::vector<int>(box.items[1].place.begin(), box.items[1].place.begin() + 2), (std::vector<int>{49, 10}));
  EXPECT_FALSE(box.items[2].text.empty());
  EXPECT_EQ(std::vector<int>(box.items[2].place.begin(), box.items[2].place.begin() + 2), (std::vector<int>{49, 20}));
  EXPECT_EQ(box.items[3].id, IDOK);
  EXPECT_EQ(box.items[3].text, L"OK");
  EXPECT_EQ(box.items[3].place, (std::vector<int>{195, 6, 30, 11}));
}

TEST(AboutBox, ButtonEndsItWithItsNumber) {
  EXPECT_EQ(closedBy(WM_COMMAND, IDOK), IDOK);
}

TEST(AboutBox, EscEndsIt) {
  EXPECT_EQ(closedBy(WM_KEYDOWN, VK_ESCAPE), IDCANCEL);
}

TEST(AboutBox, CloseGlyphEndsIt) {
  EXPECT_EQ(closedBy(WM_SYSCOMMAND, SC_CLOSE), IDCANCEL);
}

TEST(AboutBox, AnswersItsStartAndItsTwoCommandsAlone) {
  const HWND box =
      ::CreateDialogParamW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_ABOUT), nullptr, aboutDialogProc, 0);
  ASSERT_TRUE(box);
  EXPECT_EQ(aboutDialogProc(box, WM_INITDIALOG, 0, 0), 1);
  EXPECT_EQ(aboutDialogProc(box, WM_COMMAND, 7, 0), 0);
  EXPECT_EQ(aboutDialogProc(box, WM_PAINT, 0, 0), 0);
  EXPECT_EQ(aboutDialogProc(box, WM_CLOSE, 0, 0), 0);
  EXPECT_EQ(aboutDialogProc(box, WM_COMMAND, IDOK, 0), 1);
  ::DestroyWindow(box);
}
