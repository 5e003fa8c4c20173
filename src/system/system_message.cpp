#include "system/system_message.h"

#include "system/handles.h"

std::wstring systemMessage(DWORD code) {
  wchar_t* text = nullptr;
  ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                       FORMAT_MESSAGE_MAX_WIDTH_MASK,
                   nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  const LocalMemory owner(text);
  return text ? text : L"";
}

std::wstring systemMessage(const std::error_code& error) {
  std::wstring text = systemMessage(static_cast<DWORD>(error.value()));
  text.resize(text.find_last_not_of(L" \r\n") + 1);
  return text;
}
