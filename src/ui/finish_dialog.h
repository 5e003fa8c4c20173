// finish_dialog - the dialog at the end of an interactive run: the outcome in words and as a picture, the report at the
// press of one button, the end of the run at the press of the other. Knows nothing of the session.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <windows.h>

// Shows the dialog in the middle of the screen and returns its handle, null when it cannot be made. `outcome` is 1
// (success), 0 (warnings) or -1 (failure). `onFinish` is called for the Finish button and for Esc. One dialog a
// process.
HWND openFinishDialog(std::int32_t outcome, std::function<void(HWND dialog)> onFinish);

// Opens the report in the default browser, or with the program that belongs to the file's type. The dialog stays. What
// the shell makes of it is not looked at. ShellExecuteW.
void onViewReport();

// The name under which the browser for http listens; empty when the registry has none.
std::wstring GetDefaultBrowser();

INT_PTR CALLBACK finishDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
