// bench_list - reads the lists that say what is to be planted or done on a bench machine, and ends a bench program with
// a plain message when a line cannot be carried out.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

// One line of a list: a verb and its arguments, cut at the tabs. An argument that the line does not have is empty.
struct BenchLine {
  int number;
  std::vector<std::wstring> words;
  const std::wstring& verb() const { return words.front(); }
  std::wstring argument(size_t index) const { return index + 1 < words.size() ? words[index + 1] : std::wstring(); }
};

// The lines of a UTF-8 file; empty lines and lines that begin with # are passed over. Ends the program with exit code 2
// when the file cannot be read.
std::vector<BenchLine> readBenchList(const wchar_t* path);

// Says on standard error which line could not be carried out and the system's code, and ends the program with exit code
// 1: a machine that is not what a test believes it to be proves nothing.
[[noreturn]] void failLine(const BenchLine& line, const char* what, DWORD code);

// Cuts "HKEY_LOCAL_MACHINE\a\b" into its root and the path below it. Ends the program when the root is unknown.
HKEY splitKeyPath(const BenchLine& line, const std::wstring& path, std::wstring& subkey);

// UTF-8 in both directions, for lists and records.
std::wstring fromUtf8(const std::string& text);
std::string toUtf8(const std::wstring& text);
