// current_directory - makes a folder the current directory for as long as a test needs it.
#pragma once

#include <stdexcept>
#include <string>

#include <windows.h>

class CurrentDirectory {
 public:
  explicit CurrentDirectory(const std::wstring& path) {
    ::GetCurrentDirectoryW(MAX_PATH, before_);
    if (!::SetCurrentDirectoryW(path.c_str())) {
      throw std::runtime_error("SetCurrentDirectoryW");
    }
  }
  ~CurrentDirectory() { ::SetCurrentDirectoryW(before_); }
  CurrentDirectory(const CurrentDirectory&) = delete;
  CurrentDirectory& operator=(const CurrentDirectory&) = delete;

 private:
  wchar_t before_[MAX_PATH] = L"";
};
