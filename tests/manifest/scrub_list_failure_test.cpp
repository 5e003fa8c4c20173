#include <string>
#include <vector>

#include <windows.h>

#include <boost/property_tree/exceptions.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "manifest/scrub_list.h"
#include "manifest_document.h"
#include "support/captured_log.h"
#include "support/link_seam.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Windows always reports a temporary folder.
bool noTemporaryFolder = false;

}  // namespace

LINK_SEAM(DWORD, GetTempPathW, (DWORD size, LPWSTR buffer)) {
  return noTemporaryFolder ? 0 : realFunction<decltype(&::GetTempPathW)>(L"kernel32.dll", "GetTempPathW")(size, buffer);
}

namespace {

// The text of the exception that ends the run; empty if the manifest was read.
std::string failureOf(ScrubList& list, const TemporaryFolder& temporary) {
  try {
    list.parseScrubList(false, temporary.openManifest().get());
  } catch (const boost::property_tree::ptree_bad_path& failure) {
    return failure.what();
  }
  return "";
}

const std::vector<std::string> kLinesOfAFailedLoad = {
    "DEBUG Parsing ScrubList.JSON File", "DEBUG Loading ScrubList.JSON File",
    "DEBUG Loading ScrubList.JSON File Failed!!!", "DEBUG Getting Generic Data from ScrubList.JSON File"};

TEST(ScrubListFailure, WholeDocumentIsNoFailure) {
  const TemporaryFolder temporary;
  temporary.writeManifest(kManifestDocument);
  ScrubList list;
  EXPECT_EQ("", failureOf(list, temporary));
}

TEST(ScrubListFailure, MissingFileEndsTheRun) {
  const TemporaryFolder temporary;
  const CapturedLog log;
  ScrubList list;
  EXPECT_EQ("No such node (Generic.ScheduledTasks)", failureOf(list, temporary));
  EXPECT_EQ(kLinesOfAFailedLoad, log.lines());
}

TEST(ScrubListFailure, MalformedDocumentEndsTheRun) {
  const TemporaryFolder temporary;
  for (const std::string& document :
       {std::string(), std::string("{"), std::string("text"), std::string(R"({"Generic": [})"),
        kManifestDocument.substr(0, kManifestDocument.size() - 1), kManifestDocument + "}",
        withReplaced(kManifestDocument, R"("generic directory 2"])", R"("generic directory 2",])")}) {
    temporary.writeManifest(document);
    const CapturedLog log;
    ScrubList list;
    EXPECT_EQ("No such node (Generic.ScheduledTasks)", failureOf(list, temporary));
    EXPECT_EQ(kLinesOfAFailedLoad, log.lines());
    EXPECT_THAT(list.data().ScheduledTasks, IsEmpty());
  }
}

TEST(ScrubListFailure, EmptyObjectIsReadAndEndsTheRunAtTheFirstPath) {
  const TemporaryFolder temporary;
  temporary.writeManifest("{}");
  const CapturedLog log;
  ScrubList list;
  EXPECT_EQ("No such node (Generic.ScheduledTasks)", failureOf(list, temporary));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Parsing ScrubList.JSON File", "DEBUG Loading ScrubList.JSON File",
                                       "DEBUG Getting Generic Data from ScrubList.JSON File"));
}

TEST(ScrubListFailure, NoTemporaryFolderEndsTheRun) {
  const TemporaryFolder temporary;
  temporary.writeManifest(kManifestDocument);
  // A manifest in the current folder must not be taken for the one that was extracted.
  wchar_t before[MAX_PATH] = L"";
  ::GetCurrentDirectoryW(MAX_PATH, before);
  ASSERT_TRUE(::SetCurrentDirectoryW((temporary.base() / L"Temp").c_str()));
  noTemporaryFolder = true;
  const CapturedLog log;
  ScrubList list;
  EXPECT_EQ("No such node (Generic.ScheduledTasks)", failureOf(list, temporary));
  noTemporaryFolder = false;
  ::SetCurrentDirectoryW(before);
  EXPECT_EQ(kLinesOfAFailedLoad, log.lines());
}

TEST(ScrubListFailure, TemporaryFolderOutsideEightBitsIsNotFound) {
  const TemporaryFolder temporary(L"\u4E2D");
  temporary.writeManifest(kManifestDocument);
  ASSERT_TRUE(pathExists(temporary.manifestPath()));
  const CapturedLog log;
  ScrubList list;
  EXPECT_EQ("No such node (Generic.ScheduledTasks)", failureOf(list, temporary));
  EXPECT_EQ(kLinesOfAFailedLoad, log.lines());
}

// The reader's path keeps only the low byte of each character. What is at that path is not the document.
TEST(ScrubListFailure, FileBehindTheNarrowPathIsNotTaken) {
  const TemporaryFolder temporary(L"\u0141");
  temporary.writeManifest(kManifestDocument);
  temporary.base().makeFile(L"A\\CleanUp\\ScrubList.JSON", kManifestDocument);  // U+0141 leaves 0x41, the letter A
  const CapturedLog log;
  ScrubList list;
  EXPECT_EQ("No such node (Generic.ScheduledTasks)", failureOf(list, temporary));
  EXPECT_EQ(kLinesOfAFailedLoad, log.lines());
}

TEST(ScrubListFailure, DocumentIsTheOpenFileWhateverItsPathLeadsToByNow) {
  const TemporaryFolder temporary;
  temporary.writeManifest(kManifestDocument);
  const FileHandle document(::CreateFileW(temporary.manifestPath().c_str(), GENERIC_READ,
                                          FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(::MoveFileExW(temporary.manifestPath().c_str(), (temporary.base() / L"moved").c_str(), 0));
  temporary.writeManifest("{}");
  ScrubList list;
  EXPECT_NO_THROW(list.parseScrubList(false, document.get()));
}

// It does not matter whether a required path is missing or misspelt: each ends the run with its own name.
TEST(ScrubListFailure, EveryRequiredPathEndsTheRun) {
  struct Case {
    std::string from;  // a key's text in the document
    std::string path;
  };
  const std::vector<Case> cases = {
      {R"("Generic": {)", "Generic.ScheduledTasks"},
      {R"("ScheduledTasks": ["generic)", "Generic.ScheduledTasks"},
      {R"("Services": ["generic)", "Generic.Services"},
      {R"("Shortcuts": ["generic)", "Generic.Shortcuts"},
      {R"("Files": ["generic)", "Generic.Files"},
      {R"("RegistryKeys": ["generic)", "Generic.RegistryKeys"},
      {R"("RegistryKeysEmpty": ["generic)", "Generic.RegistryKeysEmpty"},
      {R"("RegistryValues": ["generic)", "Generic.RegistryValues"},
      {R"("Process": ["generic)", "Generic.Process"},
      {R"("Directories": ["generic)", "Generic.Directories"},
      {R"("InclusionList": {)", "InclusionList.Drivers"},
      {R"("Drivers": ["Audio)", "InclusionList.Drivers"},
      {R"("Applications": ["Control)", "InclusionList.Applications"},
      {R"("UWP": ["Orvane)", "InclusionList.UWP"},
      {R"("ExclusionList": {)", "ExclusionList.ScheduledTasks"},
      {R"("ScheduledTasks": ["excluded)", "ExclusionList.ScheduledTasks"},
      {R"("Services": ["excluded)", "ExclusionList.Services"},
      {R"("Files": ["excluded)", "ExclusionList.Files"},
      {R"("RegistryKeys": ["excluded)", "ExclusionList.RegistryKeys"},
      {R"("RegistryValues": ["excluded)", "ExclusionList.RegistryValues"},
      {R"("Process": ["excluded)", "ExclusionList.Process"},
      {R"("Directories": ["excluded)", "ExclusionList.Directories"},
      {R"("Packages": {)", "Packages.ORVApplications"},
      {R"("ORVApplications": {)", "Packages.ORVApplications"},
      {R"("Info": { "UpgradeID": "tuning)", "Info.CommandLine"},
      {R"("UpgradeID": "tuning)", "Info.UpgradeID"},
      {R"("CommandLine": "tuning)", "Info.CommandLine"},
      {R"("Files": ["tuning)", "Packages.ORVApplications.Tuning.Files"},
      {R"("RegistryKeys": ["tuning)", "Packages.ORVApplications.Tuning.RegistryKeys"},
      {R"("RegistryValues": ["tuning)", "Packages.ORVApplications.Tuning.RegistryValues"},
      {R"("Process": ["tuning)", "Packages.ORVApplications.Tuning.Process"},
      {R"("Directories": ["tuning)", "Packages.ORVApplications.Tuning.Directories"},
      {R"("ORVDrivers": {)", "Packages.ORVDrivers"},
      {R"("ID": "PCI)", "Info.ID"},
      {R"("InfName": "driver)", "Info.InfName"},
      {R"("PID": "driver)", "Info.PID"},
      {R"("ClassName": "driver)", "Info.ClassName"},
      {R"("ProductVersion": "driver)", "Info.ProductVersion"},
      {R"("CompatibleId": "driver)", "Info.CompatibleId"},
      {R"("SibblingCompatibleId": "sibling)", "Info.SibblingCompatibleId"},
      {R"("SibblingClassName": "sibling)", "Info.SibblingClassName"},
      {R"("DeviceDesc": "driver)", "Info.DeviceDesc"},
      {R"("DeviceID": "driver)", "Info.DeviceID"},
      {R"("BasicINF": { "LoadBasicDriver": "basic)", "Info.BasicINF.BasicINFName"},
      {R"("BasicINFName": "basic)", "Info.BasicINF.BasicINFName"},
      {R"("LoadBasicDriver": "basic)", "Info.BasicINF.LoadBasicDriver"},
      {R"("RegistryKeys": ["driver)", "Packages.ORVDrivers.FilterDriver.RegistryKeys"},
      {R"("RegistryValues": ["driver)", "Packages.ORVDrivers.FilterDriver.RegistryValues"},
      {R"("Services": ["driver)", "Packages.ORVDrivers.FilterDriver.Services"},
      {R"("Directories": ["driver)", "Packages.ORVDrivers.FilterDriver.Directories"},
  };
  const TemporaryFolder temporary;
  for (const Case& required : cases) {
    temporary.writeManifest(withReplaced(kManifestDocument, required.from, "\"Not" + required.from.substr(1)));
    ScrubList list;
    EXPECT_EQ("No such node (" + required.path + ")", failureOf(list, temporary)) << required.from;
  }
}

TEST(ScrubListFailure, PackageNameWithADotCannotBeRead) {
  const TemporaryFolder temporary;
  temporary.writeManifest(withReplaced(kManifestDocument, R"("Tuning": {)", R"("Tuning.2": {)"));
  ScrubList applications;
  EXPECT_EQ("No such node (Packages.ORVApplications.Tuning.2.Files)", failureOf(applications, temporary));
  temporary.writeManifest(withReplaced(kManifestDocument, R"("FilterDriver": {)", R"("Filter.Driver": {)"));
  ScrubList drivers;
  EXPECT_EQ("No such node (Packages.ORVDrivers.Filter.Driver.RegistryKeys)", failureOf(drivers, temporary));
}

TEST(ScrubListFailure, WhatWasReadBeforeTheFailureStays) {
  const TemporaryFolder temporary;
  temporary.writeManifest(withReplaced(kManifestDocument, R"("Shortcuts": ["generic)", R"("Links": ["generic)"));
  ScrubList list;
  EXPECT_EQ("No such node (Generic.Shortcuts)", failureOf(list, temporary));
  EXPECT_THAT(list.data().Services, ElementsAre(L"generic service 1", L"generic service 2"));
  EXPECT_THAT(list.data().Files, IsEmpty());
}

}  // namespace
