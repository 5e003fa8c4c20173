// process_launch - starts other programs. Their windows are hidden, a program named without a path is taken from the
// system folder, and no child inherits a handle except the pipe that it prints to. Knows nothing of why a program is
// started.
#pragma once

#include <cstdint>
#include <string>

#include <windows.h>

// Starts a command line with CreateProcessW and does not wait. `commandLine` must be writable. Returns 1 when the
// process was started and *exitCode is zero, else 0. *exitCode is never written: it holds what the caller has put
// there. A failure to start is logged and gives 0.
int LaunchExeByCreateProcess(wchar_t* commandLine, bool ignoredFlag, const DWORD* exitCode);

// Starts `file` with ShellExecuteExW and waits up to `timeoutMilliseconds` for it to end. Returns its exit code, or
// STILL_ACTIVE (259) when it is still running then; it is not ended. Throws std::system_error "Unable to create
// process" or "Unable to process exit code", after a log line.
DWORD LaunchProcessAndWait(const std::wstring& file, const std::wstring& parameters, DWORD timeoutMilliseconds);

// Runs `cmd.exe /C "<command>"` and returns what it printed. Each chunk that was read is padded with zero bytes to
// twice its length, so the result is for searching, not for printing. Has no time-out and polls without a pause.
std::string RunCommandCaptureOutput(const std::wstring& command);

// Runs `cmd.exe /C "<commandLine>"`. With `wait` it waits without a limit and returns the exit code; otherwise the code
// is read at once and is STILL_ACTIVE (259) while the command runs. When the command cannot be started, that is logged
// and the system's error returned, which the caller cannot tell from an exit code.
DWORD RunCommand(const std::wstring& commandLine, const std::wstring& workingDirectory, bool wait);

// Runs `"<system folder>\cmd.exe" /C "<command>"` and waits for it to end, without a limit. True when it could be
// started; its exit code is ignored.
bool RunInSystemShell(const std::wstring& command);

// Calls ShellExecuteExW on a thread of its own, in a single-threaded apartment, and waits for that thread, not for the
// program. The result is ignored.
void RunShellExecuteOnThread(const std::wstring& file, const std::wstring& parameters);
