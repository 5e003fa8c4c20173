// main_window_test - the hidden main window with its menu and keys, and what the program asks of Windows before its
// first line runs.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "app/main_window.h"
#include "resources/resource_ids.h"
#include "support/link_seam.h"
#include "ui/program_module.h"

namespace {

std::optional<WNDCLASSEXW> registeredClass;

struct CreatedWindow {
  HWND handle;
  DWORD extendedStyle;
  DWORD style;
  int x, y, width, height;
  HWND parent;
  HMENU menu;
};
std::vector<CreatedWindow> createdWindows;
std::vector<LPCWSTR> openedDialogs;
bool dialogsAreShown = false;

}  // namespace

LINK_SEAM(ATOM, RegisterClassExW, (const WNDCLASSEXW* windowClass)) {
  registeredClass = *windowClass;
  return realFunction<decltype(&::RegisterClassExW)>(L"user32.dll", "RegisterClassExW")(windowClass);
}

LINK_SEAM(HWND, CreateWindowExW,
          (DWORD extendedStyle, LPCWSTR className, LPCWSTR windowName, DWORD style, int x, int y, int width, int height,
           HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter)) {
  const HWND handle = realFunction<decltype(&::CreateWindowExW)>(L"user32.dll", "CreateWindowExW")(
      extendedStyle, className, windowName, style, x, y, width, height, parent, menu, instance, parameter);
  createdWindows.push_back({handle, extendedStyle, style, x, y, width, height, parent, menu});
  return handle;
}

LINK_SEAM(INT_PTR, DialogBoxParamW, (HINSTANCE module, LPCWSTR name, HWND owner, DLGPROC procedure, LPARAM parameter)) {
  openedDialogs.push_back(name);
  return dialogsAreShown ? realFunction<decltype(&::DialogBoxParamW)>(L"user32.dll", "DialogBoxParamW")(
                               module, name, owner, procedure, parameter)
                         : 1;
}

namespace {

class HiddenMainWindow : public testing::Test {
 protected:
  HiddenMainWindow() {
    registeredClass.reset();
    createdWindows.clear();
    openedDialogs.clear();
    dialogsAreShown = false;
    if (createMainWindow(instance, /*silent=*/false, mainWindow) && !createdWindows.empty()) {
      window = createdWindows[0].handle;
    }
  }
  ~HiddenMainWindow() override {
    ::DestroyWindow(window);
    takeQuitMessage();
  }

  // The code of the quit message that waits for this thread.
  static std::optional<WPARAM> takeQuitMessage() {
    MSG message = {};
    return ::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) ? std::optional<WPARAM>(message.wParam)
                                                                          : std::nullopt;
  }

  const HINSTANCE instance = ::GetModuleHandleW(nullptr);
  MainWindow mainWindow;
  HWND window = nullptr;
};

// The titles of the dialogs that the main window has had to wait for. Each is closed by its button as soon as it has
// nothing more to do.
std::vector<std::wstring> waitedFor;
WNDPROC mainWindowProcedure = nullptr;

LRESULT CALLBACK closeWhatIsWaitedFor(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_ENTERIDLE && wParam == MSGF_DIALOGBOX) {
    const HWND dialog = reinterpret_cast<HWND>(lParam);
    wchar_t title[40] = {};
    ::GetWindowTextW(dialog, title, 40);
    waitedFor.emplace_back(::IsWindowVisible(dialog) ? title : L"not to be seen");
    ::PostMessageW(dialog, WM_COMMAND, IDOK, 0);
  }
  return ::CallWindowProcW(mainWindowProcedure, window, message, wParam, lParam);
}

// A key that is pressed with Alt, as the run loop gets it, handed to the accelerators as the loop does it.
bool isTaken(const MainWindow& mainWindow, HWND window, UINT kind, wchar_t letter, bool withAlt) {
  constexpr LPARAM kWithAlt = 1 << 29;
  BYTE before[256] = {};
  ::GetKeyboardState(before);
  BYTE keys[256] = {};
  keys[VK_MENU] = withAlt ? 0x80 : 0;
  ::SetKeyboardState(keys);
  MSG message = {};
  message.hwnd = window;
  message.message = kind;
  message.wParam = letter;
  message.lParam = withAlt ? kWithAlt : 0;
  const bool taken = ::TranslateAcceleratorW(window, mainWindow.accelerators, &message) != 0;
  ::SetKeyboardState(before);
  return taken;
}

std::wstring menuText(HMENU menu, UINT position) {
  wchar_t text[40] = {};
  ::GetMenuStringW(menu, position, text, 40, MF_BYPOSITION);
  return text;
}

// The document that Windows reads before it starts the program.
std::string applicationManifest() {
  const HRSRC resource = ::FindResourceW(nullptr, MAKEINTRESOURCEW(1), RT_MANIFEST);
  return resource ? std::string(static_cast<const char*>(::LockResource(::LoadResource(nullptr, resource))),
                                ::SizeofResource(nullptr, resource))
                  : std::string();
}

}  // namespace

TEST_F(HiddenMainWindow, ClassHasItsStyleColourIconAndMenu) {
  ASSERT_TRUE(registeredClass);
  EXPECT_EQ(registeredClass->cbSize, 80u);
  EXPECT_EQ(registeredClass->style, 3u);
  EXPECT_EQ(registeredClass->cbClsExtra, 0);
  EXPECT_EQ(registeredClass->cbWndExtra, 0);
  EXPECT_EQ(registeredClass->hInstance, instance);
  EXPECT_EQ(registeredClass->hIcon, ::LoadIconW(instance, MAKEINTRESOURCEW(107)));
  EXPECT_EQ(registeredClass->hIconSm, registeredClass->hIcon);
  EXPECT_TRUE(registeredClass->hIcon);
  EXPECT_EQ(registeredClass->hCursor, ::LoadCursorW(nullptr, MAKEINTRESOURCEW(32512)));
  EXPECT_EQ(registeredClass->hbrBackground, reinterpret_cast<HBRUSH>(6));
  EXPECT_EQ(registeredClass->lpszMenuName, MAKEINTRESOURCEW(109));
  EXPECT_STREQ(mainWindow.windowClass, L"ORVCLEANUPUTILITY");
  EXPECT_STREQ(mainWindow.windowTitle, L"ORVCleanupUtility");
  EXPECT_EQ(moduleInstance, instance);
}

TEST_F(HiddenMainWindow, IsThereAndNeverShown) {
  ASSERT_EQ(createdWindows.size(), 1u);
  EXPECT_EQ(window, ::FindWindowW(L"ORVCLEANUPUTILITY", L"ORVCleanupUtility"));
  EXPECT_FALSE(::IsWindowVisible(window));
  const CreatedWindow& created = createdWindows[0];
  EXPECT_EQ(created.extendedStyle, 0u);
  EXPECT_EQ(created.style, 0xCF0000u);
  EXPECT_EQ(created.x, CW_USEDEFAULT);
  EXPECT_EQ(created.y, 0);
  EXPECT_EQ(created.width, CW_USEDEFAULT);
  EXPECT_EQ(created.height, 0);
  EXPECT_FALSE(created.parent);
  EXPECT_FALSE(created.menu);
}

TEST_F(HiddenMainWindow, MenuOffersTheExitAndTheAboutBox) {
  const HMENU menu = ::GetMenu(window);
  ASSERT_EQ(::GetMenuItemCount(menu), 2);
  const HMENU file = ::GetSubMenu(menu, 0);
  const HMENU help = ::GetSubMenu(menu, 1);
  EXPECT_EQ(menuText(menu, 0), L"&File");
  ASSERT_EQ(::GetMenuItemCount(file), 1);
  EXPECT_EQ(menuText(file, 0), L"E&xit");
  EXPECT_EQ(::GetMenuItemID(file, 0), 105u);
  EXPECT_EQ(menuText(menu, 1), L"&Help");
  ASSERT_EQ(::GetMenuItemCount(help), 1);
  EXPECT_EQ(menuText(help, 0), L"&About ...");
  EXPECT_EQ(::GetMenuItemID(help, 0), 104u);
}

TEST_F(HiddenMainWindow, AltWithQuestionMarkOrSlashOpensTheAboutBox) {
  dialogsAreShown = true;
  mainWindowProcedure = reinterpret_cast<WNDPROC>(
      ::SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&closeWhatIsWaitedFor)));
  for (const wchar_t letter : {L'?', L'/'}) {
    waitedFor.clear();
    EXPECT_TRUE(isTaken(mainWindow, window, WM_SYSCHAR, letter, true));
    EXPECT_EQ(waitedFor, std::vector<std::wstring>{L"About"}) << static_cast<char>(letter);
  }
}

TEST_F(HiddenMainWindow, OtherKeysOpenNothing) {
  for (const wchar_t letter : {L'?', L'/'}) {
    EXPECT_FALSE(isTaken(mainWindow, window, WM_CHAR, letter, false)) << static_cast<char>(letter);
  }
  EXPECT_FALSE(isTaken(mainWindow, window, WM_SYSCHAR, L'a', true));
  EXPECT_TRUE(openedDialogs.empty());
}

TEST_F(HiddenMainWindow, AboutCommandOpensTheDialogAndKeepsTheWindow) {
  ::SendMessageW(window, WM_COMMAND, 104, 0);
  EXPECT_EQ(openedDialogs, (std::vector<LPCWSTR>{MAKEINTRESOURCEW(103)}));
  EXPECT_TRUE(::IsWindow(window));
  EXPECT_EQ(takeQuitMessage(), std::nullopt);
}

TEST_F(HiddenMainWindow, ExitCommandDestroysItAndQuitsWithZero) {
  ::SendMessageW(window, WM_COMMAND, 105, 0);
  EXPECT_FALSE(::IsWindow(window));
  EXPECT_EQ(takeQuitMessage(), std::optional<WPARAM>(0));
}

TEST_F(HiddenMainWindow, OtherCommandsChangeNothing) {
  ::SendMessageW(window, WM_COMMAND, 106, 0);
  EXPECT_TRUE(::IsWindow(window));
  EXPECT_TRUE(openedDialogs.empty());
  EXPECT_EQ(takeQuitMessage(), std::nullopt);
}

TEST(ApplicationManifest, AsksForAnAdministratorForTheScreensOwnDensityAndForTheNewerControls) {
  const std::string manifest = applicationManifest();
  for (const char* part : {"<requestedExecutionLevel level=\"requireAdministrator\" uiAccess=\"false\"/>",
                           ">true/PM</dpiAware>", "name=\"Microsoft.Windows.Common-Controls\" version=\"6.0.0.0\""}) {
    EXPECT_NE(manifest.find(part), std::string::npos) << part;
  }
}

TEST_F(HiddenMainWindow, WhatItHasDealtWithIsAnsweredWithZero) {
  EXPECT_EQ(::SendMessageW(window, WM_COMMAND, 104, 0), 0);
  EXPECT_EQ(::SendMessageW(window, WM_PAINT, 0, 0), 0);
  EXPECT_EQ(::SendMessageW(window, WM_DESTROY, 0, 0), 0);
  EXPECT_EQ(::SendMessageW(window, WM_COMMAND, 105, 0), 0);
}

TEST(SilentMainWindow, IsNotThereAndItsKeysAre) {
  createdWindows.clear();
  MainWindow mainWindow;
  EXPECT_TRUE(createMainWindow(::GetModuleHandleW(nullptr), /*silent=*/true, mainWindow));
  EXPECT_TRUE(createdWindows.empty());
  EXPECT_TRUE(mainWindow.accelerators);
}
