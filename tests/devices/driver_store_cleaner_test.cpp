// driver_store_cleaner_test - which packages are removed from the driver store, what is logged, and what the sweep
// returns.
#include "devices/driver_store_cleaner.h"

#include <optional>

#include "devices/device_fixture.h"
#include "support/link_seam.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char kStarted[] = "DEBUG ----------CleanDriverStore::Started-------------";
constexpr char kEnded[] = "DEBUG ----------CleanDriverStore::Ended-------------";
constexpr DWORD kPackageInUse = 0x800F023D;

// While set, the result of looking up newdev.dll.
std::optional<HMODULE> newdevModule;

std::string infLine(const PlantedPackage& package) {
  return "DEBUG Inf Name: C:\\windows\\INF\\" + narrow(package.name) + ", Class Name: " + narrow(package.className) +
         ", Signature: $WINDOWS NT$, Provider: " + narrow(package.provider) +
         ", Catalog Name: " + narrow(package.catalog);
}

int openInfs = 0;

// What becomes of one package.
struct Fate {
  std::wstring className;
  std::wstring provider;
  std::wstring catalog;
  bool removed;
};

class DriverStoreCleaner : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    newdevModule.reset();
  }

  static PlantedPackage package(const std::wstring& className, const std::wstring& catalog,
                                const std::wstring& name = L"oem1.inf") {
    PlantedPackage planted = makerPackage(name, className, catalog);
    planted.classGuid = kOtherClassGuid;
    return planted;
  }

  // Whether the display devices must go.
  bool clean(bool gpuExclusionApplied = false, bool factoryReset = false) {
    const CapturedLog log;
    const StoreSweep sweep = CleanDriverStore(gpuExclusionApplied, factoryReset);
    rebootNeeded = sweep.rebootNeeded;
    lines = log.lines();
    EXPECT_EQ(openInfs, 0) << "an INF was left open";
    return sweep.displayDevicesMustGo;
  }

  // All lines but the first and last one and the one about the INF.
  Lines linesOnRemoval() const {
    return lines.size() < 3 ? Lines{"too few lines"} : Lines(lines.begin() + 2, lines.end() - 1);
  }

  void expectFates(const std::vector<Fate>& fates, bool factoryReset = false) {
    for (const Fate& fate : fates) {
      forgetDevices();
      PlantedPackage planted = package(fate.className, fate.catalog);
      planted.provider = fate.provider;
      plantDriverPackage(planted);
      clean(false, factoryReset);
      EXPECT_EQ(!packageExists(L"oem1.inf"), fate.removed)
          << narrow(fate.className) << " of " << narrow(fate.provider) << " with " << narrow(fate.catalog);
      ASSERT_GE(lines.size(), 3u);
      EXPECT_EQ(lines[1], infLine(planted)) << "in the case of the file";
      if (!fate.removed && !factoryReset) {
        EXPECT_THAT(linesOnRemoval(), IsEmpty()) << "passed over in silence";
      }
    }
  }

  Lines lines;
  bool rebootNeeded = false;
};

}  // namespace

LINK_SEAM(HMODULE, GetModuleHandleW, (LPCWSTR name)) {
  if (newdevModule && name && std::wstring(name) == L"newdev") {
    return *newdevModule;
  }
  return realFunction<decltype(&::GetModuleHandleW)>(L"kernel32.dll", "GetModuleHandleW")(name);
}

LINK_SEAM(HINF, SetupOpenInfFileW, (PCWSTR path, PCWSTR infClass, DWORD style, PUINT line)) {
  const HINF inf =
      realFunction<decltype(&::SetupOpenInfFileW)>(L"setupapi.dll", "SetupOpenInfFileW")(path, infClass, style, line);
  openInfs += inf != INVALID_HANDLE_VALUE ? 1 : 0;
  return inf;
}

LINK_SEAM(void, SetupCloseInfFile, (HINF inf)) {
  openInfs -= inf != INVALID_HANDLE_VALUE ? 1 : 0;
  realFunction<decltype(&::SetupCloseInfFile)>(L"setupapi.dll", "SetupCloseInfFile")(inf);
}

TEST_F(DriverStoreCleaner, CatalogWordsMakeAPackageOfAnyClassACandidate) {
  std::vector<Fate> fates;
  for (const wchar_t* word :
       {L"orvjournal",  L"orvshieldfd", L"orvqz",        L"orvtonefd_comp", L"orvtonefdcomp", L"orvearsetcomp",
        L"orvtonebus",  L"orvtonebus2", L"apxtwin",      L"orvnoisefd",     L"orvglrt",       L"orvvlk",
        L"orvmnt",      L"orvclrt",     L"orvdesk",      L"npulinkdrv",     L"orvstoremini",  L"orvwirectl",
        L"sensorqa01x", L"sensorqb02y", L"sensorqc2750", L"sensorqd9240",   L"orvearset",     L"orvtonebtx"}) {
    fates.push_back({L"Net", kMaker, std::wstring(word) + L".cat", true});
  }
  fates.push_back({L"Net", kMaker, L"ORVTONEBUS.CAT", true});
  fates.push_back({L"Net", kMaker, L"a_orvdesk_b.cat", true});
  expectFates(fates);
}

TEST_F(DriverStoreCleaner, CatalogWordsWithCapitalsNeverMatch) {
  for (const wchar_t* word : {L"sensorQE1100", L"sensorQF08Z", L"sensorQG55H0"}) {
    expectFates({{L"USB", kMaker, std::wstring(word) + L".cat", false},
                 {L"Camera", kMaker, std::wstring(word) + L".cat", true}});
  }
}

TEST_F(DriverStoreCleaner, CandidateClasses) {
  expectFates({
      {L"Display", kMaker, L"any.cat", true},
      {L"DISPLAY", kMaker, L"any.cat", true},
      {L"SSG", kMaker, L"any.cat", true},
      {L"Extension", kMaker, L"any.cat", true},
      {L"MEDIA", kMaker, L"any.cat", true},
      {L"Camera", kMaker, L"any.cat", true},
      {L"Net", kMaker, L"any.cat", false},
      {L"System", kMaker, L"orvpcifd.cat", false},
      {L"DisplayX", kMaker, L"any.cat", false},  // the whole class name counts
      {L"Extensions", kMaker, L"any.cat", false},
      {L"Cameras", kMaker, L"any.cat", false},
      {L"SoftwareComponent", kMaker, L"", false},
  });
}

TEST_F(DriverStoreCleaner, ProviderMustBeTheMaker) {
  expectFates({
      {L"Display", L"Microsoft", L"any.cat", false},
      {L"Net", L"Microsoft", L"orvtonebus.cat", false},
      {L"Display", L"", L"any.cat", false},
      {L"Net", L"ORV Inc.", L"orvtonebus.cat", true},
      {L"Display", L"Orvane Devices, Inc.", L"any.cat", true},
      {L"Display", L"KTLTech", L"any.cat", true},
      {L"Display", L"KTL Tech Ltd.", L"any.cat", true},
      {L"Display", L"KTL", L"any.cat", false},
      {L"Display", L"KTL-Tech", L"any.cat", false},
      {L"Display", L"Corvus Sound", L"any.cat", true},  // the three letters inside a word are enough
      {L"MEDIA", L"Corvus Sound", L"any.cat", true},
      {L"Camera", L"Corvus Sound", L"any.cat", true},
      {L"Extension", L"Corvus Sound", L"any.cat", true},
      {L"Net", L"Corvus Sound", L"any.cat", false},
  });
}

TEST_F(DriverStoreCleaner, PackageLeavesTheStoreWithAllThatBelongsToIt) {
  const PlantedPackage planted = package(L"Display", L"OrvDisp.cat");
  plantDriverPackage(planted);
  EXPECT_FALSE(clean());
  EXPECT_THAT(lines, ElementsAre(kStarted, infLine(planted), "DEBUG Uninstall successful", kEnded));
  EXPECT_THAT(recordedCalls(), ElementsAre(L"DiUninstallDriverW " + infPath(L"oem1.inf") + L" -> 0"));
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
  EXPECT_FALSE(rebootNeeded);
}

TEST_F(DriverStoreCleaner, NeighboursStayAsTheyAre) {
  plantDriverPackage(package(L"Display", L"any.cat", L"oem1.inf"));
  plantDriverPackage(package(L"Net", L"any.cat", L"oem2.inf"));
  PlantedPackage other = package(L"Display", L"any.cat", L"oem3.inf");
  other.provider = L"Microsoft";
  plantDriverPackage(other);
  plantDriverPackage(package(L"Net", L"orvdesk.cat", L"oem4.inf"));
  auto expected = infFolder();
  for (const wchar_t* name : {L"oem1.inf", L"oem1.PNF", L"oem4.inf", L"oem4.PNF"}) {
    ASSERT_EQ(expected.erase(name), 1u);
  }
  clean();
  EXPECT_EQ(infFolder(), expected);
  EXPECT_THAT(recordedCalls(), ElementsAre(L"DiUninstallDriverW " + infPath(L"oem1.inf") + L" -> 0",
                                           L"DiUninstallDriverW " + infPath(L"oem4.inf") + L" -> 0"));
}

TEST_F(DriverStoreCleaner, EmptyStoreLeavesNothingToDo) {
  EXPECT_FALSE(clean());
  EXPECT_THAT(lines, ElementsAre(kStarted, kEnded));
}

TEST_F(DriverStoreCleaner, PackageThatAsksForARestartMakesItDue) {
  PlantedPackage planted = package(L"Display", L"any.cat");
  planted.needsReboot = true;
  plantDriverPackage(planted);
  clean();
  EXPECT_THAT(linesOnRemoval(), ElementsAre("DEBUG Uninstall successful", "DEBUG \tReboot is requested by driver."));
  EXPECT_TRUE(rebootNeeded);
}

TEST_F(DriverStoreCleaner, RefusedPackageGoesTheSecondWay) {
  plantDriverPackage(package(L"Display", L"any.cat"));
  failPackageCall(L"oem1.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
  clean();
  EXPECT_THAT(linesOnRemoval(),
              ElementsAre("DEBUG Uninstall of driver failed with error code 5 - " + systemText(ERROR_ACCESS_DENIED),
                          "DEBUG CleanDriverStore::Uninstalled INF File : oem1.inf"));
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
}

TEST_F(DriverStoreCleaner, SecondWayForcesAPackageThatADeviceUses) {
  plantDevice(makerDevice(L"PCI\\VEN_7A11&DEV_0001\\1", L"Display"));
  plantDriverPackage(package(L"Display", L"any.cat"));
  failPackageCall(L"oem1.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
  clean();
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
}

TEST_F(DriverStoreCleaner, SystemWithoutTheFirstWayTakesTheSecondWithoutAWord) {
  for (const HMODULE module : {static_cast<HMODULE>(nullptr), ::GetModuleHandleW(L"kernel32")}) {
    plantDriverPackage(package(L"Display", L"any.cat"));
    forgetCalls();
    newdevModule = module;
    clean();
    newdevModule.reset();
    EXPECT_THAT(linesOnRemoval(), ElementsAre("DEBUG CleanDriverStore::Uninstalled INF File : oem1.inf"));
    EXPECT_THAT(recordedCalls(), ElementsAre(L"SetupUninstallOEMInfW oem1.inf -> 0"));
  }
}

TEST_F(DriverStoreCleaner, PackageThatIsRefusedTwiceStaysAndTheWalkGoesOn) {
  const PlantedPackage refused = package(L"Display", L"any.cat", L"oem1.inf");
  const PlantedPackage next = package(L"Display", L"any.cat", L"oem2.inf");
  plantDriverPackage(refused);
  plantDriverPackage(next);
  failPackageCall(L"oem1.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
  failPackageCall(L"oem1.inf", L"SetupUninstallOEMInfW", ERROR_GEN_FAILURE);
  EXPECT_FALSE(clean());
  EXPECT_THAT(lines,
              ElementsAre(kStarted, infLine(refused),
                          "DEBUG Uninstall of driver failed with error code 5 - " + systemText(ERROR_ACCESS_DENIED),
                          "ERROR CleanDriverStore::SetupUninstallOEMInf Failed for INF: oem1.inf, Error code is : 31",
                          infLine(next), "DEBUG Uninstall successful", kEnded));
  EXPECT_TRUE(packageExists(L"oem1.inf"));
  EXPECT_TRUE(packageIsWiped(L"oem2.inf"));
}

TEST_F(DriverStoreCleaner, UnreadableInfIsLoggedAndStays) {
  PlantedPackage unreadable;
  unreadable.name = L"oem1.inf";
  unreadable.text = L"This is no INF of the maker ORV.\r\n";
  plantDriverPackage(unreadable);
  plantDriverPackage(package(L"Display", L"any.cat", L"oem2.inf"));
  UINT line = 0;
  ASSERT_EQ(::SetupOpenInfFileW(infPath(L"oem1.inf").c_str(), nullptr, INF_STYLE_WIN4, &line), INVALID_HANDLE_VALUE);
  const std::string error = numberText(::GetLastError());
  clean();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[1], "ERROR SetupOpenInfFile Failed for inf: C:\\windows\\INF\\oem1.inf. Error code is: " + error);
  EXPECT_EQ(lines[2],
            "DEBUG Inf Name: C:\\windows\\INF\\oem1.inf, Class Name: , Signature: , Provider: , Catalog Name: ");
  EXPECT_TRUE(packageExists(L"oem1.inf"));
  EXPECT_TRUE(packageIsWiped(L"oem2.inf"));
}

TEST_F(DriverStoreCleaner, DateAloneInDriverVerDisturbsNothing) {
  PlantedPackage planted = package(L"Display", L"any.cat");
  planted.driverVer = L"05/17/2024";
  plantDriverPackage(planted);
  clean();
  EXPECT_TRUE(packageIsWiped(L"oem1.inf"));
}

TEST_F(DriverStoreCleaner, CatalogUnderADecoratedKeyDoesNotCount) {
  PlantedPackage planted;
  planted.name = L"oem1.inf";
  planted.text =
      L"[Version]\r\nSignature = \"$WINDOWS NT$\"\r\nClass = Net\r\nProvider = ORV\r\nCatalogFile.NT = orvdesk.cat\r\n";
  plantDriverPackage(planted);
  clean();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[1],
            "DEBUG Inf Name: C:\\windows\\INF\\oem1.inf, Class Name: Net, Signature: $WINDOWS NT$, Provider: ORV, "
            "Catalog Name: ");
  EXPECT_TRUE(packageExists(L"oem1.inf"));
}

TEST_F(DriverStoreCleaner, FactoryResetSpares) {
  const char dispExt[] = "ERROR CleanDriverStore::Skipping ORVDISPEXT driver as it is factory reset";
  const char bridge[] = "ERROR CleanDriverStore::Skipping orvbridgeextension driver";
  const char display[] = "ERROR CleanDriverStore::Skipping display driver in factory reset";
  struct Row {
    const wchar_t* className;
    const wchar_t* catalog;
    const char* line;  // none for a package that goes
  };
  const Row rows[] = {
      {L"Extension", L"OrvDispExt.cat", dispExt},
      {L"Display", L"orvdispext.cat", dispExt},  // the first match decides which line is logged
      {L"Extension", L"orvdispext_orvbridgeextension.cat", dispExt},
      {L"Extension", L"OrvBridgeExtension.cat", bridge},
      {L"Display", L"orvbridgeextension.cat", bridge},
      {L"Display", L"any.cat", display},
      {L"BenchDisplayUnit", L"orvdesk.cat", display},
      {L"Extension", L"orvgpuke.cat", nullptr},
      {L"MEDIA", L"any.cat", nullptr},
      {L"Net", L"orvdesk.cat", nullptr},
  };
  for (const Row& row : rows) {
    forgetDevices();
    plantDriverPackage(package(row.className, row.catalog));
    const bool result = clean(false, /*factoryReset=*/true);
    EXPECT_EQ(packageExists(L"oem1.inf"), row.line != nullptr) << narrow(row.className) << ", " << narrow(row.catalog);
    EXPECT_EQ(linesOnRemoval(), Lines{row.line ? row.line : "DEBUG Uninstall successful"});
    EXPECT_EQ(result, std::wstring(row.catalog) == L"orvgpuke.cat") << narrow(row.catalog);
  }
}

TEST_F(DriverStoreCleaner, FactoryResetDoesNotNameOthersPackages) {
  expectFates({{L"Display", L"Microsoft", L"orvdispext.cat", false}}, /*factoryReset=*/true);
  EXPECT_THAT(linesOnRemoval(), IsEmpty());
}

TEST_F(DriverStoreCleaner, DisplayExtensionsMakeTheResultTrue) {
  const std::pair<const wchar_t*, bool> rows[] = {
      {L"orvdispext.cat", true},   {L"ORVDISPEXT.cat", true}, {L"orvgpuke.cat", true},
      {L"my_orvgpuke2.cat", true}, {L"orvdisp.cat", false},   {L"orvbridgeextension.cat", false},
  };
  for (const auto& [catalog, result] : rows) {
    forgetDevices();
    plantDriverPackage(package(L"Extension", catalog));
    plantDriverPackage(package(L"MEDIA", L"any.cat", L"oem2.inf"));
    EXPECT_EQ(clean(), result) << narrow(catalog);
  }
  // Not if it is another vendor's.
  forgetDevices();
  PlantedPackage other = package(L"Extension", L"orvdispext.cat");
  other.provider = L"Microsoft";
  plantDriverPackage(other);
  EXPECT_FALSE(clean());
}

TEST_F(DriverStoreCleaner, RefusedDisplayExtensions) {
  struct Row {
    const wchar_t* className;
    DWORD error;
    bool gpuExclusionApplied;
    bool result;
  };
  const Row rows[] = {
      {L"Display", kPackageInUse, true, false},  // a graphics device that was spared still uses it
      {L"Display", 0x8001023D, true, false},     // only a part of the code counts
      {L"Display", kPackageInUse, false, true},    {L"Extension", kPackageInUse, true, true},
      {L"Display", ERROR_GEN_FAILURE, true, true}, {L"Display", 0x0000023D, true, true},
      {L"Display", 0x800F023E, true, true},
  };
  for (const Row& row : rows) {
    forgetDevices();
    plantDriverPackage(package(row.className, L"orvdispext.cat"));
    failPackageCall(L"oem1.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
    failPackageCall(L"oem1.inf", L"SetupUninstallOEMInfW", row.error);
    EXPECT_EQ(clean(row.gpuExclusionApplied), row.result) << std::hex << row.error;
    EXPECT_THAT(linesOnRemoval(),
                ElementsAre("DEBUG Uninstall of driver failed with error code 5 - " + systemText(ERROR_ACCESS_DENIED),
                            "ERROR CleanDriverStore::SetupUninstallOEMInf Failed for INF: oem1.inf, Error code is : " +
                                numberText(row.error)));
    EXPECT_TRUE(packageExists(L"oem1.inf"));
  }
}

TEST_F(DriverStoreCleaner, PackageKeptByAGraphicsDeviceDoesNotTakeBackWhatAnotherHasSet) {
  plantDriverPackage(package(L"Extension", L"orvgpuke.cat", L"oem1.inf"));
  plantDriverPackage(package(L"Display", L"orvdispext.cat", L"oem2.inf"));
  failPackageCall(L"oem2.inf", L"DiUninstallDriverW", ERROR_ACCESS_DENIED);
  failPackageCall(L"oem2.inf", L"SetupUninstallOEMInfW", kPackageInUse);
  EXPECT_TRUE(clean(/*gpuExclusionApplied=*/true));
}

TEST_F(DriverStoreCleaner, VirtualMachineMakesTheResultTrueWithoutAPackage) {
  for (const wchar_t* product : {L"Virtual Machine", L"Bench Virtual Platform", L"VIRTUALBENCH"}) {
    nameMachine(product);
    EXPECT_TRUE(clean()) << narrow(product);
    EXPECT_TRUE(clean(false, /*factoryReset=*/true)) << narrow(product);
  }
  nameMachine(L"Bench PC");
  EXPECT_FALSE(clean());
}
