#include "system/service_plan.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ServiceDeletionPlan, SparesTheFilterDriverByItsExactName) {
  const ServiceDeletionPlan plan = PlanServiceDeletion({L"orvhda", L"orvpcifd", L"ORVPCIFD", L"orvpcifdx"});
  EXPECT_THAT(plan.remove, ElementsAre(L"orvhda", L"ORVPCIFD", L"orvpcifdx"));
  EXPECT_THAT(plan.spared, ElementsAre(L"orvpcifd"));
}

TEST(ServiceDeletionPlan, OfNoServicesIsEmpty) {
  EXPECT_THAT(PlanServiceDeletion({}).remove, IsEmpty());
  EXPECT_THAT(PlanServiceDeletion({}).spared, IsEmpty());
}

TEST(StaleServicePlan, HoldsKeysOfGraphicsKernelDriversAloneAsTheyAreSpelled) {
  const StaleServicePlan plan =
      PlanStaleDisplayServices({{L"orvkmdag"}, {L"AudioSrv", L"ORVKMDAG", L"OrvWdmxG", L"orvg", L"orvaaaag"}});
  EXPECT_THAT(plan.stale, ElementsAre(L"OrvWdmxG", L"orvaaaag"));
  EXPECT_THAT(plan.inUse, ElementsAre(L"ORVKMDAG"));
}

TEST(StaleServicePlan, OfAMachineWithoutSuchServicesIsEmpty) {
  const StaleServicePlan plan = PlanStaleDisplayServices({{L"orvkmdag"}, {L"AudioSrv"}});
  EXPECT_THAT(plan.stale, IsEmpty());
  EXPECT_THAT(plan.inUse, IsEmpty());
}
