// package_selection_programme_test - the package that carries the experience programme: what the user's choices keep,
// and how the programme's installer package is saved before the control panel goes.

#include <optional>

#include "app/package_selection_fixture.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/system_message.h"

namespace {

// A path whose attributes the machine cannot tell, and one whose attributes it refuses to change.
std::wstring unreadableStatus;
std::wstring unchangeableAttributes;
bool writeFails = false;
int writes = 0;  // of the installer package's path, by the test as well

}  // namespace

LINK_SEAM(DWORD, GetFileAttributesW, (LPCWSTR path)) {
  if (!unreadableStatus.empty() && unreadableStatus == path) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_FILE_ATTRIBUTES;
  }
  return realFunction<decltype(&::GetFileAttributesW)>(L"kernel32.dll", "GetFileAttributesW")(path);
}

LINK_SEAM(BOOL, SetFileAttributesW, (LPCWSTR path, DWORD attributes)) {
  if (!unchangeableAttributes.empty() && unchangeableAttributes == path) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  return realFunction<decltype(&::SetFileAttributesW)>(L"kernel32.dll", "SetFileAttributesW")(path, attributes);
}

LINK_SEAM(LSTATUS, RegSetValueExW,
          (HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* bytes, DWORD size)) {
  if (name && std::wstring(name) == L"OriginalDB") {
    ++writes;
    if (writeFails) {
      return ERROR_ACCESS_DENIED;
    }
  }
  return realFunction<decltype(&::RegSetValueExW)>(L"advapi32.dll", "RegSetValueExW")(key, name, reserved, type, bytes,
                                                                                      size);
}

namespace {

constexpr wchar_t kProgramme[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\UXF";
constexpr wchar_t kInstalled[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\KTL Systems\\Install\\PPC";
constexpr wchar_t kTuning[] = L"KO_UXFStatus";
constexpr wchar_t kGraphics[] = L"HLX_UXFStatus";

constexpr char kHeader[] = "DEBUG -----------Applications Eligible to Unistall-------------";
constexpr char kChosen[] = "DEBUG Common";
constexpr char kExcluded[] = "DEBUG Excluding:\tCommon";
constexpr char kNotOptedIn[] = "DEBUG HLX not opted to :\tCommon";

class ExperienceProgramme : public SelectionTest {
 protected:
  ExperienceProgramme() {
    ApplicationPackage package = applicationWithRows(L"Common");
    package.CommonApp = true;
    data.ApplicationPackages = {package};
    data.InclusionApplications = {L"Common"};
    reset();
  }
  ~ExperienceProgramme() override { reset(); }

  void reset() {
    unreadableStatus.clear();
    unchangeableAttributes.clear();
    writeFails = false;
    removeKey(kProgramme);
    removeKey(kInstalled);
    source = folder.makeFile(L"Lumio\\UXF.msi", "installer package");
    target = installDir() + L"\\UXF64.msi";
    folder.makeDirectory(L"Programme");
    ::SetFileAttributesW(target.c_str(), FILE_ATTRIBUTE_NORMAL);
    ::DeleteFileW(target.c_str());
    packages.eligibleApplications.clear();
    exclusions.excludedRegistryKeys.clear();
    exclusions.excludedRegistryValues.clear();
    exclusions.excludedProcesses.clear();
    exclusions.excludedScheduledTasks.clear();
    data.ExcludedDirectories.clear();
    data.ExcludedFiles.clear();
  }

  std::wstring installDir() const { return folder / L"Programme"; }

  static void plantStatus(std::optional<DWORD> tuning, std::optional<DWORD> graphics) {
    plantKey(kProgramme);
    if (tuning) {
      plantDword(kProgramme, kTuning, *tuning);
    }
    if (graphics) {
      plantDword(kProgramme, kGraphics, *graphics);
    }
  }

  void plantPackage(const std::wstring& package) const {
    plantString(kInstalled, L"OriginalDB", package);
    plantString(kInstalled, L"InstallDir", installDir());
  }

  bool isEligible() const { return namesOf(packages.eligibleApplications) == Names{L"Common"}; }

  // The exclusions of a package that was merged on its way out of the control panel's folder.
  Exclusions mergedWithTask() const {
    Exclusions expected = exclusionsFor(data.ApplicationPackages[0]);
    expected.scheduledTasks = {L"StartUXF"};
    return expected;
  }

  Lines movingLines() const {
    return {"DEBUG Meridia MSI is present in LUMIO location - " + narrow(source) +
                ", need to copy to Meridia location - " + narrow(installDir()),
            "DEBUG Copying Meridia MSI is from " + narrow(source) + " to " + narrow(target)};
  }

  // The programme was given up: its opt-in is gone, the package goes, nothing is protected.
  void expectGivenUp(const Lines& lines, const Lines& between = {}) {
    Lines expected = {kHeader};
    expected.insert(expected.end(), between.begin(), between.end());
    expected.push_back(kChosen);
    EXPECT_EQ(lines, expected);
    EXPECT_TRUE(isEligible());
    EXPECT_EQ(exclusionsOf(data, exclusions), Exclusions());
    EXPECT_FALSE(valueExists(kProgramme, kTuning));
    EXPECT_EQ(readDword(kProgramme, kGraphics), std::optional<DWORD>(1));
  }

  TestFolder folder;
  std::wstring source;
  std::wstring target;
};

}  // namespace

TEST_F(ExperienceProgramme, OutcomesFollowTheChoicesAndThePlaceOfTheInstallerPackage) {
  const struct {
    DWORD tuning;
    bool inControlPanel;
    DWORD graphics;
    bool moved;
    bool eligible;
  } rows[] = {
      {0, true, 0, false, true},  {0, true, 1, false, true},   {0, false, 0, false, true},  {2, true, 1, false, true},
      {1, false, 1, false, true}, {1, false, 0, false, false}, {1, false, 2, false, false}, {1, true, 1, true, true},
      {1, true, 0, true, false},  {1, true, 2, true, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.tuning << row.inControlPanel << row.graphics);
    reset();
    const std::wstring package = row.inControlPanel ? source : folder / L"Elsewhere\\UXF.msi";
    plantStatus(row.tuning, row.graphics);
    plantPackage(package);
    const Lines lines = selectApplications();

    Lines expected = {kHeader};
    if (row.moved) {
      const Lines moving = movingLines();
      expected.insert(expected.end(), moving.begin(), moving.end());
      expected.push_back(kExcluded);
    }
    expected.push_back(row.eligible ? kChosen : kNotOptedIn);
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(isEligible(), row.eligible);
    EXPECT_EQ(packages.eligibleApplications.size(), row.eligible ? 1u : 0u);
    EXPECT_EQ(exclusionsOf(data, exclusions), row.moved ? mergedWithTask() : Exclusions());
    EXPECT_EQ(readFile(target), row.moved ? "installer package" : "");
    EXPECT_EQ(readString(kInstalled, L"OriginalDB"), row.moved ? target : package);
    EXPECT_EQ(readString(kInstalled, L"InstallDir"), installDir());
    EXPECT_EQ(readDword(kProgramme, kTuning), std::optional<DWORD>(row.tuning));
    EXPECT_EQ(readDword(kProgramme, kGraphics), std::optional<DWORD>(row.graphics));
    EXPECT_TRUE(pathExists(source)) << "the package is copied, not moved";
  }
}

TEST_F(ExperienceProgramme, PackageThatIsNotCommonKnowsNoChoices) {
  data.ApplicationPackages[0].CommonApp = false;
  plantStatus(1, 0);
  plantPackage(source);
  EXPECT_EQ(selectApplications(), (Lines{kHeader, kChosen}));
  EXPECT_TRUE(isEligible());
  EXPECT_FALSE(pathExists(target));
}

TEST_F(ExperienceProgramme, MissingChoicesLetThePackageGo) {
  plantPackage(source);
  EXPECT_EQ(selectApplications(), (Lines{kHeader, kChosen}));
  plantStatus({}, 1);
  EXPECT_EQ(selectApplications(), (Lines{kHeader, kChosen}));
  EXPECT_FALSE(pathExists(target));
  EXPECT_EQ(readDword(kProgramme, kGraphics), std::optional<DWORD>(1));
}

TEST_F(ExperienceProgramme, MissingGraphicsChoiceKeepsTheTuningChoiceAsRead) {
  plantStatus(1, {});
  plantPackage(folder / L"Elsewhere\\UXF.msi");
  EXPECT_EQ(selectApplications(), (Lines{kHeader, kNotOptedIn}));
  EXPECT_FALSE(isEligible());
  EXPECT_EQ(readDword(kProgramme, kTuning), std::optional<DWORD>(1));
}

TEST_F(ExperienceProgramme, ChoiceOfAnotherTypeCountsAsMissing) {
  plantStatus({}, 1);
  plantString(kProgramme, kTuning, L"1");
  plantPackage(folder / L"Elsewhere\\UXF.msi");
  EXPECT_EQ(selectApplications(), (Lines{kHeader, kChosen}));

  plantStatus(1, {});
  plantString(kProgramme, kGraphics, L"1");
  EXPECT_EQ(selectApplications(), (Lines{kHeader, kNotOptedIn}));
}

TEST_F(ExperienceProgramme, WhatCannotBeReadGivesTheProgrammeUp) {
  const struct {
    const char* what;
    void (*damage)();
  } rows[] = {
      {"no key", [] { removeKey(kInstalled); }},
      {"no installer package",
       [] {
         const std::wstring kept = *readString(kInstalled, L"InstallDir");
         removeKey(kInstalled);
         plantString(kInstalled, L"InstallDir", kept);
       }},
      {"no folder",
       [] {
         const std::wstring package = *readString(kInstalled, L"OriginalDB");
         removeKey(kInstalled);
         plantString(kInstalled, L"OriginalDB", package);
       }},
      {"package of another type", [] { plantDword(kInstalled, L"OriginalDB", 1); }},
      {"folder of another type", [] { plantDword(kInstalled, L"InstallDir", 1); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    reset();
    plantStatus(1, 1);
    plantPackage(source);
    row.damage();
    const int before = writes;
    expectGivenUp(selectApplications());
    EXPECT_FALSE(pathExists(target));
    EXPECT_EQ(writes, before);
  }
}

TEST_F(ExperienceProgramme, PackageOutsideTheControlPanelNeedsNoFolder) {
  plantStatus(1, 1);
  plantString(kInstalled, L"OriginalDB", L"C:\\Elsewhere\\lumio\\UXF.msi");  // the word is searched for with its case
  EXPECT_EQ(selectApplications(), (Lines{kHeader, kChosen}));
  EXPECT_EQ(exclusionsOf(data, exclusions), Exclusions());
  EXPECT_EQ(readDword(kProgramme, kTuning), std::optional<DWORD>(1));
}

TEST_F(ExperienceProgramme, ControlPanelsNameIsFoundAnywhereInThePath) {
  source = folder.makeFile(L"before.Lumio.behind", "installer package");
  plantStatus(1, 0);
  plantPackage(source);
  selectApplications();
  EXPECT_EQ(readFile(target), "installer package");
}

TEST_F(ExperienceProgramme, InstallerPackagesPathMayHave129Characters) {
  for (const std::size_t length : {std::size_t{129}, std::size_t{130}}) {
    reset();
    const std::wstring end = L"\\Lumio.msi";
    const std::wstring package = L"C:\\bench\\" + std::wstring(length - 9 - end.size(), L'x') + end;
    ASSERT_EQ(package.size(), length);
    plantStatus(1, 1);
    plantPackage(package);
    const Lines lines = selectApplications();
    if (length == 129) {
      EXPECT_EQ(readString(kInstalled, L"OriginalDB"), target) << "read, and rewritten though there is nothing to copy";
      EXPECT_EQ(exclusionsOf(data, exclusions), mergedWithTask());
    } else {
      expectGivenUp(lines);
      EXPECT_EQ(readString(kInstalled, L"OriginalDB"), package);
    }
  }
}

TEST_F(ExperienceProgramme, ReadOnlyTargetIsReplaced) {
  folder.makeFile(L"Programme\\UXF64.msi", "older package");
  ASSERT_TRUE(::SetFileAttributesW(target.c_str(), FILE_ATTRIBUTE_READONLY));
  plantStatus(1, 0);
  plantPackage(source);
  selectApplications();
  EXPECT_EQ(readFile(target), "installer package");
  EXPECT_EQ(exclusionsOf(data, exclusions), mergedWithTask());
}

TEST_F(ExperienceProgramme, CopyThatFailsIsLoggedAndChangesNothingInWhatFollows) {
  source = folder / L"Lumio\\missing.msi";
  plantStatus(1, 1);
  plantPackage(source);
  Lines expected = {kHeader};
  const Lines moving = movingLines();
  expected.insert(expected.end(), moving.begin(), moving.end());
  expected.push_back("ERROR Unable to copy file from " + narrow(source) + " to " + narrow(target) + ". Error code: 2 " +
                     narrow(systemMessage(ERROR_FILE_NOT_FOUND)));
  expected.insert(expected.end(), {kExcluded, kChosen});
  EXPECT_EQ(selectApplications(), expected);
  EXPECT_TRUE(isEligible());
  EXPECT_EQ(exclusionsOf(data, exclusions), mergedWithTask());
  EXPECT_EQ(readString(kInstalled, L"OriginalDB"), target);
  EXPECT_EQ(readDword(kProgramme, kTuning), std::optional<DWORD>(1));
}

TEST_F(ExperienceProgramme, TargetWhoseStatusCannotBeToldGivesTheProgrammeUp) {
  plantStatus(1, 1);
  plantPackage(source);
  unreadableStatus = target;
  const Lines lines = selectApplications();
  unreadableStatus.clear();
  expectGivenUp(lines, {movingLines()[0]});
  EXPECT_FALSE(pathExists(target));
  EXPECT_EQ(readString(kInstalled, L"OriginalDB"), source);
}

TEST_F(ExperienceProgramme, TargetThatStaysReadOnlyGivesTheProgrammeUp) {
  folder.makeFile(L"Programme\\UXF64.msi", "older package");
  plantStatus(1, 1);
  plantPackage(source);
  unchangeableAttributes = target;
  expectGivenUp(selectApplications(), {movingLines()[0]});
  EXPECT_EQ(readFile(target), "older package");
  EXPECT_EQ(readString(kInstalled, L"OriginalDB"), source);
}

TEST_F(ExperienceProgramme, RewriteThatFailsGivesTheProgrammeUpWithThePackageCopied) {
  plantStatus(1, 1);
  plantPackage(source);
  const int before = writes;
  writeFails = true;
  expectGivenUp(selectApplications(), movingLines());
  EXPECT_EQ(writes, before + 1);
  EXPECT_EQ(readFile(target), "installer package");
  EXPECT_EQ(readString(kInstalled, L"OriginalDB"), source);
}

TEST_F(ExperienceProgramme, ChoicesAreReadAnewForEachPackage) {
  // The first package gives the programme up and takes the opt-in with it, so the second one has none.
  ApplicationPackage second = data.ApplicationPackages[0];
  second.Name = L"Second";
  data.ApplicationPackages.push_back(second);
  data.InclusionApplications.push_back(L"Second");
  plantStatus(1, 0);
  EXPECT_EQ(selectApplications(), (Lines{kHeader, kChosen, "DEBUG Second"}));
  EXPECT_FALSE(valueExists(kProgramme, kTuning));
}

TEST_F(ExperienceProgramme, PackageThatWasMovedIsNotMovedAgain) {
  plantStatus(1, 1);
  plantPackage(source);
  selectApplications();
  EXPECT_EQ(selectApplications(), (Lines{kHeader, kChosen}));
  EXPECT_EQ(exclusions.excludedScheduledTasks, (Names{L"StartUXF"}));
}
