// store_app_plan_test - the plan for a store app pattern, without a machine.
#include "applications/store_app_plan.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "support/text.h"

TEST(StoreAppPlan, HoldsTheWholeCommand) {
  const PlannedStoreApp planned = PlanStoreAppRemoval(L"OrvaneDevicesInc-2.Sample*");
  EXPECT_FALSE(planned.isRefused);
  EXPECT_EQ(planned.commandLine,
            L"%SYSTEMROOT%\\System32\\WindowsPowerShell\\v1.0\\powershell.exe \"Get-AppxPackage -AllUsers "
            L"\"OrvaneDevicesInc-2.Sample*\" | Remove-AppxPackage -AllUsers\"");
  EXPECT_EQ(planned.closingLine, L"Finished uninstalling ORV UWP Application: OrvaneDevicesInc-2.Sample*");
}

TEST(StoreAppPlan, RefusesAPatternThatBeginsWithoutAName) {
  for (const wchar_t* pattern : {L"", L"*", L"?*", L"[a-z]*", L" ", L" Maker.App*", L"\t*", L"\"\""}) {
    EXPECT_TRUE(PlanStoreAppRemoval(pattern).isRefused) << narrow(pattern);
  }
  for (const wchar_t* pattern : {L"Maker.App*", L"M*", L"M", L"M [a-z]"}) {
    EXPECT_FALSE(PlanStoreAppRemoval(pattern).isRefused) << narrow(pattern);
  }
}

TEST(StoreAppPlan, ClosingLineCountsAsAFormat) {
  for (const auto& [pattern, printed] : {std::pair{L"a%sb", L"ab"}, {L"100%%", L"100%"}, {L"a%5", L"a"}}) {
    EXPECT_EQ(PlanStoreAppRemoval(pattern).closingLine,
              std::wstring(L"Finished uninstalling ORV UWP Application: ") + printed);
  }
}
