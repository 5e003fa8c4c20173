// command_line - parses the switches of the command line. Acts on none of them and logs nothing.
#pragma once

#include <string>
#include <vector>

#include "devices/graphics_devices.h"

// The default is an interactive run that keeps nothing.
struct Switches {
  bool silent = false;
  bool safeModeRequested = false;
  bool rebootAfterRun = false;
  bool factoryReset = false;
  bool removeInstallManager = true;  // false: the install manager's folder is kept
  GpuExclusion gpuExclusion;
};

struct CommandLine {
  Switches switches;
  std::vector<const wchar_t*> logLines;  // one for each switch found that has one, in the order of the command line
};

// Parses the command line without the program's name. A switch counts anywhere in a token between blanks; unknown
// tokens are ignored. Pure.
CommandLine parseSwitches(const std::wstring& text);

// The parts of `text` between the matches of the regular expression (ECMAScript grammar), empty ones included. An empty
// text gives an empty list.
std::vector<std::wstring> splitByPattern(const std::wstring& pattern, const std::wstring& text);
