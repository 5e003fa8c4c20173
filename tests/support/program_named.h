// program_named - runs the test program under another name, for code that looks for processes by name. A test file that
// uses it needs a main of its own that calls runAsChild first.
#pragma once

#include <string>

#include <windows.h>

#include "support/test_child.h"
#include "support/test_folder.h"

class ProgramNamed {
 public:
  explicit ProgramNamed(const std::wstring& name)
      : path_(folder_ / name),
        copied_(::CopyFileW(ownProgram().c_str(), path_.c_str(), TRUE)),
        process_(L"\"" + path_ + L"\" --wait " + ready_.name() + L" " + go_.name()) {}
  ~ProgramNamed() {
    go_.set();
    process_.waitForEnd();
  }
  ProgramNamed(const ProgramNamed&) = delete;
  ProgramNamed& operator=(const ProgramNamed&) = delete;

  bool runs() const { return copied_ && ready_.wait() && process_.isRunning(); }

 private:
  TestFolder folder_;
  NamedEvent ready_;
  NamedEvent go_;
  std::wstring path_;
  BOOL copied_;
  ChildProcess process_;
};
