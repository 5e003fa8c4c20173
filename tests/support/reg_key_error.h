// reg_key_error - what a test expects of a registry call that fails.
#pragma once

#include <string>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/registry.h"

// Runs `call`, which must raise a RegKeyError with this status in the system's category and this text in front.
template <class Call>
void expectRegKeyError(Call call, LSTATUS status, const std::string& text) {
  try {
    call();
    ADD_FAILURE() << "nothing was raised";
  } catch (const RegKeyError& error) {
    EXPECT_EQ(error.code(), std::error_code(static_cast<int>(status), std::system_category()));
    EXPECT_THAT(error.what(), testing::StartsWith(text + ": "));
  }
}
