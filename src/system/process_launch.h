// process_launch - the ways in which the cleanup starts other programs. Every started process is hidden. What is
// named without a path is a program of the system folder, and no process inherits more than the pipe that it prints to.
// Knows nothing of why a program is started.
#pragma once

#include <cstdint>
#include <string>

#include <windows.h>

// Starts a command line with CreateProcessW and waits for nothing. `commandLine` must be writable. Returns 1 when the
// process was started and *exitCode is zero, else 0: the variable is read as the caller left it and never written, and
// the caller knows what to make of that. A failure to start is logged and gives 0.
int LaunchExeByCreateProcess(wchar_t* commandLine, bool ignoredFlag, const DWORD* exitCode);

// Starts `file` through ShellExecuteExW and waits up to `timeoutMilliseconds` for its end. Returns the exit code, which
// is STILL_ACTIVE (259) for a process that outlives the time-out: that one goes on running. Throws std::system_error
// "Unable to create process" or "Unable to process exit code", after a log line.
DWORD LaunchProcessAndWait(const std::wstring& file, const std::wstring& parameters, DWORD timeoutMilliseconds);

// Runs `cmd.exe /C "<command>"` and returns what it printed. Every chunk read stands in the result at twice its length,
// filled up with zero bytes: the result is made for searching, not for printing. No time-out; polls without a pause.
std::string RunCommandCaptureOutput(const std::wstring& command);

// Runs `cmd.exe /C "<commandLine>"`. With `wait` it waits without a limit and returns the exit code; without, the code
// is read at once and is STILL_ACTIVE (259) while the command runs. A command that cannot be started is logged and
// gives the system's error, which the caller cannot tell from an exit code.
DWORD RunCommand(const std::wstring& commandLine, const std::wstring& workingDirectory, bool wait);

// Runs `"<system folder>\cmd.exe" /C "<command>"` and waits for its end without a limit. True when it could be started;
// its exit code is not looked at.
bool RunInSystemShell(const std::wstring& command);

// Runs ShellExecuteExW on a thread of its own, in a single-threaded apartment, and waits for that thread, not for the
// program. The result is not looked at.
void RunShellExecuteOnThread(const std::wstring& file, const std::wstring& parameters);
