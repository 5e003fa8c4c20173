// captured_log - what the product has written to its log since the capture began, a line a string.
#pragma once

#include <string>
#include <vector>

// Reads the real log file of the process: what a test compares is what a user would find.
class CapturedLog {
 public:
  CapturedLog();

  // "<level> <message>" for each line, such as "DEBUG Stopping Service\t:\tExample". A message may hold line feeds.
  // A character that the log's locale cannot hold stands as \u and four digits, as in the file.
  std::vector<std::string> lines() const;

  // The file's bytes since the capture began, carriage returns included.
  std::string bytes() const;

 private:
  long start_;
};
