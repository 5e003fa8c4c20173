// collectors_fixture - manifest data that a test fills in by hand, and the lists that the collectors make of it.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "manifest/collectors.h"

class CollectorsTest : public ::testing::Test {
 protected:
  using Rows = std::vector<std::wstring>;

  ApplicationPackage& addApplication() { return packages.eligibleApplications.emplace_back(); }
  DriverPackage& addDriver() { return packages.eligibleDrivers.emplace_back(); }

  ProtectedRows handleDirectories() { return HandleDirectories(sources, work, exclusions); }
  ProtectedRows handleFiles() { return HandleFiles(sources, work, exclusions, failedFiles); }
  ProtectedRegistryRows handleRegistries() { return HandleRegistries(sources, work, exclusions); }

  ScrubListData data;
  EligiblePackages packages;
  WorkLists work;
  ExclusionLists exclusions;
  Rows failedFiles;
  const CollectorSources sources = {data, packages};
};
