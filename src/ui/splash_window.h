// splash_window - the small window that shows that work is going on while the main thread is busy. It has its own
// thread and message loop. It knows nothing of the progress: the only thing it is told is to close.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

#include <windows.h>

class SplashWindow {
 public:
  // Returns a text in the user's language. Called on the splash thread.
  using TextLookup = std::wstring (*)(int captionId, const wchar_t* defaultText);

  // Starts the thread and returns at once. If `text` is null, the texts are English. Throws std::system_error when the
  // thread cannot be started. If the window cannot be created, only the thread ends.
  SplashWindow(int dialogId, TextLookup text);
  // Closes the window and waits for the thread, without a time-out.
  ~SplashWindow();
  SplashWindow(const SplashWindow&) = delete;
  SplashWindow& operator=(const SplashWindow&) = delete;

 private:
  // Window procedure of the background, whose timer moves the dots. Unlike the thread's message loop, it is also called
  // while the window is being dragged.
  static LRESULT CALLBACK backgroundProc(HWND background, UINT message, WPARAM wParam, LPARAM lParam);

  void runThread(int dialogId);
  void showWindow(int dialogId);
  void startTimer(HWND background);
  void showNextFrame(HWND background);
  void dragByMouse(HWND window);
  void pumpMessages(HWND window);

  TextLookup text_;
  // Used by the splash thread only.
  WNDPROC staticProc_ = nullptr;  // the original window procedure of the background
  UINT_PTR timer_ = 0;
  std::size_t frame_ = 0;
  bool dragged_ = false;

  std::atomic<DWORD> threadId_{0};  // set by the splash thread when it starts
  std::atomic<bool> stopRequested_{false};
  std::thread thread_;  // last: it reads the members above
};
