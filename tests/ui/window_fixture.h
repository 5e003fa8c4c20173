// window_fixture - helpers for tests of windows: reading texts, waiting for a change without a fixed pause, the message
// queue.
#pragma once

#include <string>

#include <windows.h>

inline constexpr DWORD kWaitLimitMilliseconds = 20'000;

inline std::wstring windowText(HWND window) {
  wchar_t text[300] = {};
  ::SendMessageW(window, WM_GETTEXT, 300, reinterpret_cast<LPARAM>(text));
  return text;
}

inline std::wstring controlText(HWND dialog, int control) {
  return windowText(::GetDlgItem(dialog, control));
}

// Polls until the condition holds; false if it does not within the limit.
template <class Condition>
bool waitUntil(Condition condition) {
  const ULONGLONG end = ::GetTickCount64() + kWaitLimitMilliseconds;
  while (!condition()) {
    if (::GetTickCount64() > end) {
      return false;
    }
    ::Sleep(5);
  }
  return true;
}

// Dispatches the messages in the thread's queue. Returns the code of a quit message, or -1 if there is none.
inline int pumpWaitingMessages(HWND dialog) {
  MSG message = {};
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {
      return static_cast<int>(message.wParam);
    }
    if (!::IsDialogMessageW(dialog, &message)) {
      ::TranslateMessage(&message);
      ::DispatchMessageW(&message);
    }
  }
  return -1;
}
