// finish_dialog - the dialog at the end of an interactive run. It shows the outcome as text and picture, one button
// opens the report, the other ends the run. Knows nothing of the session.
#pragma once

#include <cstdint>
#include <functional>

#include <windows.h>

// Shows the dialog centred on the screen and returns its handle, null if it cannot be created. `outcome` is 1
// (success), 0 (warnings) or -1 (failure). `onFinish` is called on Finish and on Esc. Only one dialog per process.
// CreateDialogParamW.
HWND openFinishDialog(std::int32_t outcome, std::function<void(HWND dialog)> onFinish);

INT_PTR CALLBACK finishDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
