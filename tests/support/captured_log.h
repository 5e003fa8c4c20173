// captured_log - what the product has written to its log since the capture began, one string per line.
#pragma once

#include <string>
#include <vector>

// Reads the real log file of the process, so that a test compares what a user would find.
class CapturedLog {
 public:
  CapturedLog();

  // "<level> <message>" for each line, such as "DEBUG Stopping Service\t:\tExample". A message may contain line feeds.
  // A character that the log's locale lacks is \u and four digits, as in the file.
  std::vector<std::string> lines() const;

  // The file's bytes since the capture began, carriage returns included.
  std::string bytes() const;

 private:
  long start_;
};
