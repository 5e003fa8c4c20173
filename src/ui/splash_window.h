// splash_window - the small window that tells the user that work goes on while the main thread is busy. It runs on a
// thread of its own with its own message pump, and knows no progress: all that it is ever told is to close.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

#include <windows.h>

class SplashWindow {
 public:
  // Gives the text of a caption in the user's language; called on the window's thread.
  using TextLookup = std::wstring (*)(int captionId, const wchar_t* defaultText);

  // Starts the thread and returns at once. Without `text` the texts are English. Throws std::system_error when the
  // thread cannot be started. A window that cannot be made only ends the thread.
  SplashWindow(int dialogId, TextLookup text);
  // Has the window close and waits for its thread, without a limit.
  ~SplashWindow();
  SplashWindow(const SplashWindow&) = delete;
  SplashWindow& operator=(const SplashWindow&) = delete;

 private:
  // Procedure of the background, whose timer moves the dots: it is called also while a drag of the window has a message
  // loop of its own.
  static LRESULT CALLBACK backgroundProc(HWND background, UINT message, WPARAM wParam, LPARAM lParam);

  void runThread(int dialogId);
  void showWindow(int dialogId);
  void startTimer(HWND background);
  void showNextFrame(HWND background);
  void dragByMouse(HWND window);
  void pumpMessages(HWND window);

  TextLookup text_;
  // Of the splash thread alone.
  WNDPROC staticProc_ = nullptr;  // what the background had for a procedure
  UINT_PTR timer_ = 0;
  std::size_t frame_ = 0;
  bool dragged_ = false;

  std::atomic<DWORD> threadId_{0};  // written by the splash thread at its start
  std::atomic<bool> stopRequested_{false};
  std::thread thread_;  // last: it reads the members above
};
