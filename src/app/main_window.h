// main_window - the hidden main window, which gives an interactive run a menu and a target for messages. Knows nothing
// of the manifest.
#pragma once

#include <windows.h>

constexpr int kWindowTextCharacters = 100;

// Loaded from the resources.
struct MainWindow {
  wchar_t windowTitle[kWindowTextCharacters] = {};
  wchar_t windowClass[kWindowTextCharacters] = {};
  HACCEL accelerators = nullptr;
};

// Registers the window class, sets moduleInstance and, unless the run is silent, creates the window, which is never
// shown. Returns false when it cannot be created; the accelerators are not loaded then. RegisterClassExW,
// CreateWindowExW.
bool createMainWindow(HINSTANCE instance, bool silent, MainWindow& mainWindow);
