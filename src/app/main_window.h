// main_window - the hidden main window, which gives an interactive run its menu and its message target.
#pragma once

#include <windows.h>

constexpr int kWindowTextCharacters = 100;

// What the resources say of the window.
struct MainWindow {
  wchar_t windowTitle[kWindowTextCharacters] = {};
  wchar_t windowClass[kWindowTextCharacters] = {};
  HACCEL accelerators = nullptr;
};

// Registers the window's class, sets moduleInstance and, unless the run is silent, creates the window, which is never
// shown. False when it cannot be created; there are no accelerators then. RegisterClassExW, CreateWindowExW.
bool createMainWindow(HINSTANCE instance, bool silent, MainWindow& mainWindow);
