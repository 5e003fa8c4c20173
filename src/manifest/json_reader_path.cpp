#include "manifest/json_reader_path.h"

std::string jsonReaderPath(std::wstring_view path) {
  std::string narrow;
  for (const wchar_t character : path) {
    narrow.push_back(static_cast<char>(character & 0xFF));
  }
  return narrow;
}
