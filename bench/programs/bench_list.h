// bench_list - reads lists of what to plant or do on a test machine, and ends the program with a message when a line
// fails.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

// One line of a list: a verb and its arguments, separated by tabs. A missing argument is empty.
struct BenchLine {
  int number;
  std::vector<std::wstring> words;
  const std::wstring& verb() const { return words.front(); }
  std::wstring argument(size_t index) const { return index + 1 < words.size() ? words[index + 1] : std::wstring(); }
};

// The lines of a UTF-8 file without empty lines and lines that begin with #. Ends the program with exit code 2 if the
// file cannot be read.
std::vector<BenchLine> readBenchList(const wchar_t* path);

// Prints the failed line and the system's error code to standard error, and ends the program with exit code 1: a test
// on a machine that is not set up as intended proves nothing.
[[noreturn]] void failLine(const BenchLine& line, const char* what, DWORD code);

// Splits "HKEY_LOCAL_MACHINE\a\b" into its root and the path below it. Ends the program if the root is unknown.
HKEY splitKeyPath(const BenchLine& line, const std::wstring& path, std::wstring& subkey);

// Conversion from and to UTF-8, for lists and records.
std::wstring fromUtf8(const std::string& text);
std::string toUtf8(const std::wstring& text);
