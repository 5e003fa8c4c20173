// command_line - reads the switches of the command line into a struct. Acts on none of them and logs nothing.
#pragma once

#include <string>
#include <vector>

#include "devices/graphics_devices.h"

// What the command line asks for; by default an interactive run that keeps nothing.
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
  std::vector<const wchar_t*> logLines;  // one for each word that has one, in the order of the words
};

// Reads the text behind the program's own name. A word counts wherever it stands in a token between blanks; unknown
// tokens are ignored. Pure.
CommandLine parseSwitches(const std::wstring& text);

// The pieces of `text` between the matches of the regular expression (ECMAScript grammar), empty pieces included. An
// empty text gives an empty list.
std::vector<std::wstring> splitByPattern(const std::wstring& pattern, const std::wstring& text);
