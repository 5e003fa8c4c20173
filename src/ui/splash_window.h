// splash_window - the small window that tells the user that work goes on while the main thread is busy. It runs on a
// thread of its own with its own message pump, and shows no progress: all that it is ever told is to close.
#pragma once

#include <atomic>
#include <thread>

#include <windows.h>

class CleanupSession;

class SplashWindow {
 public:
  // Starts the thread and returns at once. Texts are translated only with a session. Throws std::system_error when the
  // thread cannot be started. A window that cannot be made only ends the thread.
  SplashWindow(int dialogId, const CleanupSession* session);
  // Has the window close and waits for its thread, without a limit.
  ~SplashWindow();
  SplashWindow(const SplashWindow&) = delete;
  SplashWindow& operator=(const SplashWindow&) = delete;

 private:
  void runThread(int dialogId);
  void showWindow(int dialogId);
  void pumpMessages(HWND window, UINT_PTR timer, HWND background);

  const CleanupSession* session;
  std::atomic<DWORD> threadId{0};  // written by the splash thread at its start
  std::atomic<bool> stopRequested{false};
  std::thread thread;  // last: it reads the members above
};
