#include "support/captured_log.h"

#include <share.h>
#include <stdio.h>

#include <regex>
#include <sstream>

#include "system/log_file.h"

namespace {

std::string readFrom(long start, long* size) {
  std::string text;
  if (FILE* file = ::_wfsopen(Logger::GetPath().c_str(), L"rb", _SH_DENYNO)) {
    ::fseek(file, 0, SEEK_END);
    const long end = ::ftell(file);
    if (size) {
      *size = end;
    }
    text.resize(static_cast<std::size_t>(end > start ? end - start : 0));
    ::fseek(file, start, SEEK_SET);
    text.resize(::fread(text.data(), 1, text.size(), file));
    ::fclose(file);
  }
  return text;
}

}  // namespace

CapturedLog::CapturedLog() : start_(0) {
  readFrom(0, &start_);
}

std::string CapturedLog::bytes() const {
  return readFrom(start_, nullptr);
}

std::vector<std::string> CapturedLog::lines() const {
  static const std::regex prefix(R"(^Thread Id:\d+\t\d{4}:\d\d:\d\d-\d\d:\d\d:\d\d\t(DEBUG|ERROR)\t)");
  std::vector<std::string> result;
  std::istringstream stream(bytes());
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    std::smatch match;
    if (std::regex_search(line, match, prefix)) {
      result.push_back(match[1].str() + " " + match.suffix().str());
    } else if (!result.empty()) {
      result.back() += "\n" + line;
    }
  }
  return result;
}
