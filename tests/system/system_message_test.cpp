#include "system/system_message.h"

#include <gtest/gtest.h>

#include <string>

TEST(SystemMessage, IsTheSystemsTextOnOneLine) {
  wchar_t text[1024] = L"";
  ASSERT_NE(::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, ERROR_ACCESS_DENIED,
                             0, text, 1024, nullptr),
            0u);
  std::wstring firstLine = text;
  firstLine.resize(firstLine.find_last_not_of(L"\r\n ") + 1);
  const std::wstring message = systemMessage(ERROR_ACCESS_DENIED);
  EXPECT_EQ(message.find_first_of(L"\r\n"), std::wstring::npos);
  EXPECT_EQ(message.substr(0, firstLine.size()), firstLine);
  EXPECT_FALSE(firstLine.empty());
}

TEST(SystemMessage, UnknownCodeHasNone) {
  EXPECT_EQ(systemMessage(0x0BADC0DE), L"");
}
