#include "bench_list.h"

#include <cstdio>
#include <cstdlib>

#include "system/handles.h"

namespace {

std::string readWholeFile(const wchar_t* path) {
  const FileHandle file(
      ::CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    std::fprintf(stderr, "bench: %ls cannot be opened (%lu)\n", path, ::GetLastError());
    std::exit(2);
  }
  std::string text;
  char buffer[4096];
  DWORD read = 0;
  while (::ReadFile(file.get(), buffer, sizeof buffer, &read, nullptr) && read != 0) {
    text.append(buffer, read);
  }
  return text;
}

std::vector<std::wstring> cut(const std::wstring& text, wchar_t separator) {
  std::vector<std::wstring> pieces;
  size_t begin = 0;
  for (size_t end = text.find(separator); end != std::wstring::npos; end = text.find(separator, begin)) {
    pieces.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  pieces.push_back(text.substr(begin));
  return pieces;
}

}  // namespace

std::vector<BenchLine> readBenchList(const wchar_t* path) {
  std::vector<BenchLine> lines;
  int number = 0;
  for (const std::wstring& text : cut(fromUtf8(readWholeFile(path)), L'\n')) {
    ++number;
    if (!text.empty() && text.front() != L'#') {
      lines.push_back({number, cut(text, L'\t')});
    }
  }
  return lines;
}

void failLine(const BenchLine& line, const char* what, DWORD code) {
  std::fprintf(stderr, "bench: line %d: %s: error %lu:", line.number, what, code);
  for (const std::wstring& word : line.words) {
    std::fprintf(stderr, " [%s]", toUtf8(word).c_str());
  }
  std::fprintf(stderr, "\n");
  std::exit(1);
}

HKEY splitKeyPath(const BenchLine& line, const std::wstring& path, std::wstring& subkey) {
  static const struct {
    const wchar_t* name;
    HKEY root;
  } kRoots[] = {
      {L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
      {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
      {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
      {L"HKEY_USERS", HKEY_USERS},
  };
  const size_t backslash = path.find(L'\\');
  for (const auto& row : kRoots) {
    if (path.substr(0, backslash) == row.name) {
      subkey = backslash == std::wstring::npos ? std::wstring() : path.substr(backslash + 1);
      return row.root;
    }
  }
  failLine(line, "unknown registry root", ERROR_INVALID_PARAMETER);
}

std::wstring fromUtf8(const std::string& text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(static_cast<size_t>(::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string toUtf8(const std::wstring& text) {
  const int size = static_cast<int>(text.size());
  std::string narrow(
      static_cast<size_t>(::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr)), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), static_cast<int>(narrow.size()), nullptr,
                        nullptr);
  return narrow;
}
