#include "system/log.h"

namespace {

// Needs no constructor, so that a sink which is installed while the program's static objects are made stays.
constinit LogSink installedSink = nullptr;

}  // namespace

void setLogSink(LogSink sink) {
  installedSink = sink;
}

void LogDebug(const wchar_t* format, ...) {
  if (!installedSink) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  installedSink(LogLevel::Debug, format, arguments);
  va_end(arguments);
}

void LogError(const wchar_t* format, ...) {
  if (!installedSink) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  installedSink(LogLevel::Error, format, arguments);
  va_end(arguments);
}
