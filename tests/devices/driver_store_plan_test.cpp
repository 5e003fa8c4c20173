// driver_store_plan_test - what becomes of driver packages, on hand-made INF records, without a machine.
#include "devices/driver_store_plan.h"

#include <string>

#include <gtest/gtest.h>

#include "support/text.h"

namespace {

InfRecord inf(const std::wstring& className, const std::wstring& catalogFile, const std::wstring& provider = L"ORV") {
  InfRecord record;
  record.className = className;
  record.catalogFile = catalogFile;
  record.provider = provider;
  return record;
}

}  // namespace

TEST(PackageFates, Rows) {
  struct Row {
    InfRecord inf;
    bool factoryReset;
    PackageFate fate;
  };
  const Row rows[] = {
      {inf(L"Display", L"any.cat"), false, PackageFate::Remove},
      {inf(L"DISPLAY", L"any.cat", L"Orvane Devices, Inc."), false, PackageFate::Remove},
      {inf(L"Display", L"any.cat", L"Microsoft"), false, PackageFate::NotTheMakers},
      {inf(L"Net", L"OrvDesk.cat"), false, PackageFate::Remove},
      {inf(L"Net", L"any.cat"), false, PackageFate::NotTheMakers},
      {inf(L"USB", L"sensorQE1100.cat"), false, PackageFate::NotTheMakers},
      {inf(L"", L""), false, PackageFate::NotTheMakers},
      {inf(L"Display", L"any.cat"), true, PackageFate::KeptInFactoryReset},
      {inf(L"Display", L"any.cat", L"Microsoft"), true, PackageFate::NotTheMakers},
      {inf(L"Extension", L"orvdispext.cat"), true, PackageFate::KeptInFactoryReset},
      {inf(L"Extension", L"orvbridgeextension.cat"), true, PackageFate::KeptInFactoryReset},
      {inf(L"Extension", L"orvgpuke.cat"), true, PackageFate::Remove},
      {inf(L"MEDIA", L"any.cat"), true, PackageFate::Remove},
  };
  for (const Row& row : rows) {
    const PlannedPackage planned = PlanPackageRemoval(row.inf, row.factoryReset);
    EXPECT_EQ(planned.fate, row.fate) << narrow(row.inf.className) << ", " << narrow(row.inf.catalogFile);
    EXPECT_EQ(planned.keptLine != nullptr, row.fate == PackageFate::KeptInFactoryReset);
  }
}

TEST(PackageKinds, AreToldWithoutRegardToCase) {
  EXPECT_TRUE(PlanPackageRemoval(inf(L"DISPLAY", L"any.cat"), false).isDisplayDriver);
  EXPECT_FALSE(PlanPackageRemoval(inf(L"DisplayUnit", L"any.cat"), false).isDisplayDriver);
  EXPECT_TRUE(PlanPackageRemoval(inf(L"Extension", L"OrvDispExt.cat"), false).isDisplayExtension);
  EXPECT_TRUE(PlanPackageRemoval(inf(L"Extension", L"my_orvgpuke2.cat"), false).isDisplayExtension);
  EXPECT_FALSE(PlanPackageRemoval(inf(L"Extension", L"orvdisp.cat"), false).isDisplayExtension);
}
