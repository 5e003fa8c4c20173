// not_covered - how the model of device installation refuses what it has no honest answer for.
#pragma once

namespace bench {

// The exit code of a program that has asked for something that the model does not cover.
constexpr unsigned kNotCoveredExitCode = 99;

// Names the call or flag on standard error and ends the process: a made-up answer could let a test pass.
[[noreturn]] void notCovered(const char* what);

}  // namespace bench
