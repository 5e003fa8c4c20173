// collectors_fixture - a session whose manifest data a test fills in by hand.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include <gtest/gtest.h>

#include "app/cleanup_session.h"
#include "manifest/collectors.h"

class CollectorsTest : public ::testing::Test {
 protected:
  using Rows = std::vector<std::wstring>;

  ApplicationPackage& addApplication() { return session.eligibleApplications.emplace_back(); }
  DriverPackage& addDriver() { return session.eligibleDrivers.emplace_back(); }

 private:
  wchar_t noCommandLine_[1] = L"";

 protected:
  CleanupSession session{::GetModuleHandleW(nullptr), noCommandLine_, SW_HIDE};
  ScrubListData& data = *session.scrubListData;
};
