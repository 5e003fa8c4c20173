// safe_mode_decision_test - where the sequence starts in place, and where it must not start.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include <windows.h>

#include "app/cleanup_session.h"
#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_registry.h"

namespace {

int cleanBoot = 0;
int askedQuestions = 0;

constexpr wchar_t kSystemInformation[] = L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\SystemInformation";
constexpr char kVmLine[] = "DEBUG ------------------ VM Detected -----------------";
constexpr char kFirstStage[] = "DEBUG -----------Deletion of Preuninstall Registries Values Started-------------";

}  // namespace

LINK_SEAM(int, GetSystemMetrics, (int index)) {
  return index == SM_CLEANBOOT ? cleanBoot
                               : realFunction<decltype(&::GetSystemMetrics)>(L"user32.dll", "GetSystemMetrics")(index);
}

LINK_SEAM(int, MessageBoxW, (HWND, LPCWSTR, LPCWSTR, UINT)) {
  ++askedQuestions;
  return IDCANCEL;
}

namespace {

class SafeModeDecision : public testing::Test {
 protected:
  void SetUp() override {
    cleanBoot = 0;
    askedQuestions = 0;
    plantString(kSystemInformation, L"SystemProductName", L"Workstation");
  }

  // Whether the sequence has run, and the lines that were logged.
  bool decide(bool safeModeRequested, bool silent) {
    const CapturedLog log;
    CleanupSession session(::GetModuleHandleW(nullptr), arguments_, SW_SHOW);
    session.silent = silent;
    session.safeModeRequested = safeModeRequested;
    quitRequested = 0;
    EXPECT_EQ(session.decideAndStart(), 1);
    lines_ = log.lines();
    return holds(kFirstStage);
  }

  bool holds(const std::string& line) const { return std::find(lines_.begin(), lines_.end(), line) != lines_.end(); }

  wchar_t arguments_[1] = L"";
  std::vector<std::string> lines_;
};

}  // namespace

TEST_F(SafeModeDecision, SafeModeRunsInPlaceWithAndWithoutNetwork) {
  for (const int boot : {1, 2}) {
    cleanBoot = boot;
    EXPECT_TRUE(decide(/*safeModeRequested=*/true, /*silent=*/true)) << boot;
    EXPECT_TRUE(decide(/*safeModeRequested=*/false, /*silent=*/true)) << boot;
    EXPECT_FALSE(holds(kVmLine));
  }
}

TEST_F(SafeModeDecision, VirtualMachineRunsInPlaceAndIgnoresSafeMode) {
  plantString(kSystemInformation, L"SystemProductName", L"VIRTUAL Machine");
  EXPECT_TRUE(decide(/*safeModeRequested=*/true, /*silent=*/true));
  EXPECT_TRUE(holds(kVmLine));
  EXPECT_LT(std::find(lines_.begin(), lines_.end(), kVmLine), std::find(lines_.begin(), lines_.end(), kFirstStage));
}

TEST_F(SafeModeDecision, SilentAloneRunsInPlaceWithoutAQuestion) {
  EXPECT_TRUE(decide(/*safeModeRequested=*/false, /*silent=*/true));
  EXPECT_EQ(askedQuestions, 0);
}

TEST_F(SafeModeDecision, InteractiveRunInPlaceAsksForConsentOnly) {
  EXPECT_FALSE(decide(/*safeModeRequested=*/false, /*silent=*/false));  // the consent was refused
  EXPECT_EQ(askedQuestions, 1);
}

TEST_F(SafeModeDecision, RequestedSafeModeOnANormalBootRemovesNothingAndEnds) {
  EXPECT_FALSE(decide(/*safeModeRequested=*/true, /*silent=*/true));
  EXPECT_TRUE(holds("ERROR The restart into safe mode is not part of this version, nothing was removed"));
  EXPECT_EQ(quitRequested, 1);
  EXPECT_EQ(askedQuestions, 0);
}
