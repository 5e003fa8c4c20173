// not_covered - ends the program when it calls something that the model of device installation does not cover.
#pragma once

namespace bench {

// The exit code of a program that called something that the model does not cover.
constexpr unsigned kNotCoveredExitCode = 99;

// Prints the call or flag to standard error and ends the process. An invented result could let a test pass.
[[noreturn]] void notCovered(const char* what);

}  // namespace bench
