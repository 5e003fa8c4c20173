#include "manifest/scrub_list.h"

#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "manifest_document.h"
#include "support/captured_log.h"
#include "support/test_folder.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

namespace {

using Rows = std::vector<std::wstring>;

constexpr bool kFactoryReset = true;

class ScrubListReader : public ::testing::Test {
 protected:
  ScrubListData& parse(const std::string& document, bool factoryReset = false) {
    temporary.writeManifest(document);
    list.parseScrubList(factoryReset, temporary.openManifest().get());
    return list.data();
  }

  TemporaryFolder temporary;
  ScrubList list;
};

TEST_F(ScrubListReader, EveryListLandsInItsFieldInOrder) {
  ScrubListData& data = parse(kManifestDocument);
  const auto rows = [](const std::wstring& name) { return Rows{name + L" 1", name + L" 2"}; };
  EXPECT_EQ(rows(L"generic task"), data.ScheduledTasks);
  EXPECT_EQ(rows(L"generic service"), data.Services);
  EXPECT_EQ(rows(L"generic shortcut"), data.Shortcuts);
  EXPECT_EQ(rows(L"generic file"), data.Files);
  EXPECT_EQ(rows(L"generic key"), data.RegistryKeys);
  EXPECT_EQ(rows(L"generic empty key"), data.RegistryKeysEmpty);
  EXPECT_EQ(rows(L"generic value"), data.RegistryValues);
  EXPECT_EQ(rows(L"generic process"), data.Process);
  EXPECT_EQ(rows(L"generic directory"), data.Directories);
  EXPECT_EQ(rows(L"excluded task"), data.ExcludedScheduledTasks);
  EXPECT_EQ(rows(L"excluded service"), data.ExcludedServices);
  EXPECT_EQ(rows(L"excluded file"), data.ExcludedFiles);
  EXPECT_EQ(rows(L"excluded key"), data.ExcludedRegistryKeys);
  EXPECT_EQ(rows(L"excluded value"), data.ExcludedRegistryValues);
  EXPECT_EQ(rows(L"excluded process"), data.ExcludedProcess);
  EXPECT_EQ(rows(L"excluded directory"), data.ExcludedDirectories);
  EXPECT_THAT(data.InclusionApplications, ElementsAre(L"ControlPanel", L"Tuning"));
  EXPECT_THAT(data.InclusionUWP, ElementsAre(L"OrvaneDevicesInc-2.One*", L"OrvaneDevicesInc-2.Two*"));
  EXPECT_THAT(data.TrackerDirectories, IsEmpty());
  EXPECT_THAT(data.Commands, IsEmpty());
}

TEST_F(ScrubListReader, DriverRecordHoldsEveryField) {
  ScrubListData& data = parse(kManifestDocument);
  ASSERT_THAT(data.DriverPackages, SizeIs(2));
  const DriverPackage& driver = data.DriverPackages[0];
  EXPECT_EQ(L"FilterDriver", driver.Name);
  EXPECT_EQ(L"Driver", driver.Type);
  EXPECT_EQ(L"PCI\\VEN_7A11&DEV_0A01,PCI\\VEN_7A11&DEV_0A02", driver.Id);
  EXPECT_THAT(driver.HardwareIds, ElementsAre(L"PCI\\VEN_7A11&DEV_0A01", L"PCI\\VEN_7A11&DEV_0A02"));
  EXPECT_EQ(L"driver version", driver.ProductVersion);
  EXPECT_EQ(L"", driver.UpgradeID);
  EXPECT_EQ(L"driver inf", driver.InfName);
  EXPECT_EQ(L"driver pid", driver.PID);
  EXPECT_EQ(L"driver class", driver.ClassName);
  EXPECT_EQ(L"driver compatible", driver.CompatibleId);
  EXPECT_EQ(L"sibling class", driver.SibblingClassName);
  EXPECT_EQ(L"sibling compatible", driver.SibblingCompatibleId);
  EXPECT_EQ(L"driver description", driver.DeviceDesc);
  EXPECT_EQ(L"", driver.CommandLine);
  EXPECT_EQ(L"driver device id", driver.DeviceID);
  EXPECT_EQ(0, driver.UninstallResult);
  EXPECT_THAT(driver.BasicInf, ElementsAre(Pair(L"basic load", L"basic name")));
  EXPECT_FALSE(driver.CommonApp);
  EXPECT_THAT(driver.RegistryKeys, ElementsAre(L"driver key 1", L"driver key 2"));
  EXPECT_THAT(driver.RegistryValues, ElementsAre(L"driver value 1", L"driver value 2"));
  EXPECT_THAT(driver.Services, ElementsAre(L"driver service 1", L"driver service 2"));
  EXPECT_THAT(driver.Directories, ElementsAre(L"driver directory 1", L"driver directory 2"));
}

TEST_F(ScrubListReader, DriverWithoutValuesHasEmptyFields) {
  const DriverPackage& driver = parse(kManifestDocument).DriverPackages.at(1);
  EXPECT_EQ(L"AudioDriver", driver.Name);
  EXPECT_EQ(L"Driver", driver.Type);
  EXPECT_EQ(L"media", driver.ClassName);
  EXPECT_EQ(L"", driver.Id);
  EXPECT_THAT(driver.HardwareIds, IsEmpty());
  EXPECT_THAT(driver.BasicInf, ElementsAre(Pair(L"", L"")));
  EXPECT_THAT(driver.Services, IsEmpty());
}

TEST_F(ScrubListReader, ApplicationRecordHoldsEveryField) {
  ScrubListData& data = parse(kManifestDocument);
  ASSERT_THAT(data.ApplicationPackages, SizeIs(2));
  const ApplicationPackage& application = data.ApplicationPackages[0];
  EXPECT_EQ(L"Tuning", application.Name);
  EXPECT_EQ(L"Application", application.Type);
  EXPECT_EQ(L"tuning upgrade", application.UpgradeID);
  EXPECT_EQ(L"tuning command", application.CommandLine);
  EXPECT_TRUE(application.CommonApp);
  EXPECT_THAT(application.BasicInf, ElementsAre(Pair(L"", L"")));
  EXPECT_EQ(0, application.UninstallResult);
  for (const std::wstring& field : {application.Id, application.ProductVersion, application.InfName, application.PID,
                                    application.ClassName, application.CompatibleId, application.SibblingClassName,
                                    application.SibblingCompatibleId, application.DeviceDesc, application.DeviceID}) {
    EXPECT_EQ(L"", field);
  }
  EXPECT_THAT(application.HardwareIds, IsEmpty());
  EXPECT_THAT(application.Files, ElementsAre(L"tuning file 1", L"tuning file 2"));
  EXPECT_THAT(application.RegistryKeys, ElementsAre(L"tuning key 1", L"tuning key 2"));
  EXPECT_THAT(application.RegistryValues, ElementsAre(L"tuning value 1", L"tuning value 2"));
  EXPECT_THAT(application.Process, ElementsAre(L"tuning process 1", L"tuning process 2"));
  EXPECT_THAT(application.Directories, ElementsAre(L"tuning directory 1", L"tuning directory 2"));
}

TEST_F(ScrubListReader, ApplicationServicesAreIgnored) {
  ScrubListData& data = parse(kManifestDocument);
  ASSERT_EQ(L"ControlPanel", data.ApplicationPackages.at(1).Name);
  EXPECT_THAT(data.Services, ElementsAre(L"generic service 1", L"generic service 2"));
}

TEST_F(ScrubListReader, CommonAppIsFalseUnlessItIsABoolean) {
  struct Case {
    std::string json;
    bool commonApp;
  };
  const Case cases[] = {
      {R"("CommonApp": true)", true},         {R"("CommonApp": false)", false}, {R"("CommonApp": "true")", true},
      {R"("CommonApp": "1")", true},          {R"("CommonApp": "yes")", false}, {R"("CommonApp": "")", false},
      {R"("CommonApp": "True text")", false}, {R"("CommonApp": {})", false},    {R"("Other": true)", false},
  };
  for (const Case& field : cases) {
    temporary.writeManifest(withReplaced(kManifestDocument, R"("CommonApp": true)", field.json));
    ScrubList fresh;
    fresh.parseScrubList(false, temporary.openManifest().get());
    EXPECT_EQ(field.commonApp, fresh.data().ApplicationPackages.at(0).CommonApp) << field.json;
  }
}

TEST_F(ScrubListReader, OrdinaryRunConsidersBothDisplayDriversFirst) {
  ScrubListData& data = parse(kManifestDocument);
  EXPECT_THAT(data.InclusionDrivers,
              ElementsAre(L"DisplayDriver", L"DisplayDriver64", L"AudioDriver", L"FilterDriver"));
  EXPECT_THAT(data.ExcludedRegistryValues, ElementsAre(L"excluded value 1", L"excluded value 2"));
}

TEST_F(ScrubListReader, FactoryResetKeepsDisplayDriversAndTheGraphicType) {
  ScrubListData& data = parse(kManifestDocument, kFactoryReset);
  EXPECT_THAT(data.InclusionDrivers, ElementsAre(L"AudioDriver", L"FilterDriver"));
  EXPECT_THAT(data.ExcludedRegistryValues,
              ElementsAre(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Install\\GraphicType", L"excluded value 1",
                          L"excluded value 2"));
}

TEST_F(ScrubListReader, LogTellsEveryStep) {
  const CapturedLog log;
  parse(kManifestDocument);
  EXPECT_THAT(
      log.lines(),
      ElementsAre("DEBUG Parsing ScrubList.JSON File", "DEBUG Loading ScrubList.JSON File",
                  "DEBUG Getting Generic Data from ScrubList.JSON File",
                  "DEBUG Getting Inclusion List Data from ScrubList.JSON File",
                  "DEBUG Getting Applications Data from ScrubList.JSON File",
                  "DEBUG Getting Drivers Data from ScrubList.JSON File",
                  "DEBUG Getting Drivers Data ------------- HWID's PCI\\VEN_7A11&DEV_0A01,PCI\\VEN_7A11&DEV_0A02"
                  "-------",
                  "DEBUG Getting Drivers Data ------------- HWID's Empty-------",
                  "DEBUG performPKMTrackerParsing - driver not installed ....",
                  "DEBUG performPKMTrackerParsing method ended ...."));
}

TEST_F(ScrubListReader, HardwareIdsAreSplitAtEveryCommaAndNotTrimmed) {
  struct Case {
    std::string id;
    Rows pieces;
  };
  const Case cases[] = {
      {"one", {L"one"}},
      {"one,", {L"one", L""}},
      {",", {L"", L""}},
      {",one", {L"", L"one"}},
      {" one , two ", {L" one ", L" two "}},
      {"a,,b", {L"a", L"", L"b"}},
  };
  for (const Case& field : cases) {
    temporary.writeManifest(
        withReplaced(kManifestDocument, R"(PCI\\VEN_7A11&DEV_0A01,PCI\\VEN_7A11&DEV_0A02)", field.id));
    ScrubList fresh;
    fresh.parseScrubList(false, temporary.openManifest().get());
    EXPECT_EQ(field.pieces, fresh.data().DriverPackages.at(0).HardwareIds) << field.id;
  }
}

TEST_F(ScrubListReader, DuplicateAndEmptyRowsStay) {
  ScrubListData& data = parse(withReplaced(kManifestDocument, R"("generic file 2")", R"("generic file 1", "", "")"));
  EXPECT_THAT(data.Files, ElementsAre(L"generic file 1", L"generic file 1", L"", L""));
}

TEST_F(ScrubListReader, UnknownKeysAreIgnored) {
  std::string document =
      withReplaced(kManifestDocument, R"("ORVDrivers": {)", R"("StrayDriver": { "Info": {} }, "ORVDrivers": {)");
  document = withReplaced(document, R"("Generic": {)", R"("Comment": "text", "Generic": { "Unknown": ["row"],)");
  ScrubListData& data = parse(document);
  EXPECT_THAT(data.DriverPackages, SizeIs(2));
  EXPECT_THAT(data.ApplicationPackages, SizeIs(2));
  EXPECT_THAT(data.ScheduledTasks, ElementsAre(L"generic task 1", L"generic task 2"));
}

TEST_F(ScrubListReader, EscapedCharactersAreRead) {
  ScrubListData& data = parse(withReplaced(kManifestDocument, "generic file 1", R"(ORV\\caf\u00E9\\\u4E2D.log)"));
  EXPECT_EQ(L"ORV\\caf\u00E9\\\u4E2D.log", data.Files.at(0));
}

TEST_F(ScrubListReader, NoPackagesAreNoFailure) {
  const std::string document = kManifestDocument.substr(0, kManifestDocument.find(R"("Packages")")) +
                               R"("Packages": { "ORVDrivers": {}, "ORVApplications": {} } })";
  ScrubListData& data = parse(document);
  EXPECT_THAT(data.DriverPackages, IsEmpty());
  EXPECT_THAT(data.ApplicationPackages, IsEmpty());
  EXPECT_THAT(data.ExcludedDirectories, SizeIs(2));
}

TEST_F(ScrubListReader, ReadStringListAppendsWithoutClearing) {
  parse(kManifestDocument);
  Rows rows = {L"before", L"generic file 1"};
  list.readStringList(L"Generic.Files", rows);
  EXPECT_THAT(rows, ElementsAre(L"before", L"generic file 1", L"generic file 1", L"generic file 2"));
  EXPECT_ANY_THROW(list.readStringList(L"Generic.Missing", rows));
  EXPECT_THAT(rows, SizeIs(4));
}

}  // namespace
