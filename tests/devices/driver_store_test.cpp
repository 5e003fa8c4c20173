// driver_store_test - reading the [Version] section of an INF, and listing the INF files of the driver store.
#include "devices/driver_store.h"

#include <algorithm>

#include "devices/device_fixture.h"
#include "support/link_seam.h"
#include "system/handles.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::wstring windowsFolder;     // while set, the result of GetWindowsDirectoryW
bool linesAreOnlyKeys = false;  // while on, no line has a field after its key

class InfVersion : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    windowsFolder.clear();
    linesAreOnlyKeys = false;
  }

  // Reads an INF whose [Version] section has a signature and these lines.
  static InfVersionSection read(const std::wstring& lines) {
    PlantedPackage package;
    package.name = L"oem1.inf";
    package.text =
        L"[Version]\r\nSignature = \"$WINDOWS NT$\"\r\n" + lines +
        L"\r\n[Other]\r\nProvider = \"of another section\"\r\n[Strings]\r\nMaker = \"Orvane Devices, Inc.\"\r\n";
    plantDriverPackage(package);
    UINT line = 0;
    const InfFile file(::SetupOpenInfFileW(infPath(L"oem1.inf").c_str(), nullptr, INF_STYLE_WIN4, &line));
    EXPECT_TRUE(file) << ::GetLastError();
    InfVersionSection section;
    ReadInfVersionSection(file.get(), section);
    return section;
  }
};

}  // namespace

LINK_SEAM(UINT, GetWindowsDirectoryW, (LPWSTR buffer, UINT size)) {
  if (windowsFolder.empty()) {
    return realFunction<decltype(&::GetWindowsDirectoryW)>(L"kernel32.dll", "GetWindowsDirectoryW")(buffer, size);
  }
  return static_cast<UINT>(windowsFolder.copy(buffer, size));
}

LINK_SEAM(BOOL, SetupGetStringFieldW, (PINFCONTEXT context, DWORD index, PWSTR buffer, DWORD size, PDWORD required)) {
  if (linesAreOnlyKeys && index > 0) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  return realFunction<decltype(&::SetupGetStringFieldW)>(L"setupapi.dll", "SetupGetStringFieldW")(
      context, index, buffer, size, required);
}

TEST_F(InfVersion, HoldsEveryField) {
  const InfVersionSection section = read(
      L"Class = Display\r\nClassGUID = {4D36E968-E325-11CE-BFC1-08002BE10318}\r\nProvider = %Maker%\r\n"
      L"DriverVer = 05/17/2024,31.0.101.1\r\nCatalogFile = OrvDisp.cat\r\nPnpLockdown = 1\r\n");
  constexpr GUID kDisplay = {0x4D36E968, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
  EXPECT_EQ(section.signature, L"$WINDOWS NT$");
  EXPECT_EQ(section.className, L"Display");
  EXPECT_TRUE(::IsEqualGUID(section.classGuid, kDisplay));
  EXPECT_EQ(section.provider, L"Orvane Devices, Inc.");
  EXPECT_EQ(section.driverDate, L"05/17/2024");
  EXPECT_EQ(section.driverVersion, L"31.0.101.1");
  EXPECT_EQ(section.catalogFile, L"OrvDisp.cat");
}

TEST_F(InfVersion, KeysAreComparedWithCaseAndWhole) {
  const InfVersionSection section = read(
      L"class = Display\r\nCLASSGUID = {4D36E968-E325-11CE-BFC1-08002BE10318}\r\nprovider = ORV\r\n"
      L"Driverver = 05/17/2024,1.0.0.0\r\nCatalogfile = a.cat\r\nCatalogFile.NT = b.cat\r\n"
      L"CatalogFile.NTamd64 = c.cat\r\nClassName = Net\r\n");
  EXPECT_EQ(section.signature, L"$WINDOWS NT$");
  EXPECT_EQ(section.className, L"");
  EXPECT_TRUE(::IsEqualGUID(section.classGuid, GUID{}));
  EXPECT_EQ(section.provider, L"");
  EXPECT_EQ(section.driverDate, L"");
  EXPECT_EQ(section.driverVersion, L"");
  EXPECT_EQ(section.catalogFile, L"") << "a decorated key does not count";
}

TEST_F(InfVersion, DateAloneLeavesTheVersionEmpty) {
  const InfVersionSection section = read(L"DriverVer = 05/17/2024\r\nProvider = ORV\r\n");
  EXPECT_EQ(section.driverDate, L"05/17/2024");
  EXPECT_EQ(section.driverVersion, L"");
  EXPECT_EQ(section.provider, L"ORV");
}

TEST_F(InfVersion, LinesOfLessThanTwoFieldsArePassedOver) {
  linesAreOnlyKeys = true;
  const InfVersionSection section = read(L"Class = Net\r\nProvider = ORV\r\nCatalogFile = a.cat\r\n");
  for (const std::wstring& text : {section.signature, section.className, section.provider, section.catalogFile}) {
    EXPECT_EQ(text, L"");
  }
}

TEST_F(InfVersion, FurtherFieldsOfALineDoNotCount) {
  const InfVersionSection section = read(L"Class = Net, Display\r\nDriverVer = 05/17/2024,1.0.0.0,9.9.9.9\r\n");
  EXPECT_EQ(section.className, L"Net");
  EXPECT_EQ(section.driverVersion, L"1.0.0.0");
}

TEST_F(InfVersion, InvalidHandleLeavesEverythingEmpty) {
  InfVersionSection section;
  ReadInfVersionSection(static_cast<HINF>(INVALID_HANDLE_VALUE), section);
  for (const std::wstring& text : {section.signature, section.className, section.provider, section.driverDate,
                                   section.driverVersion, section.catalogFile}) {
    EXPECT_EQ(text, L"");
  }
  EXPECT_TRUE(::IsEqualGUID(section.classGuid, GUID{}));
}

TEST_F(InfVersion, ListHasTheOemFilesInTheOrderOfTheFolder) {
  for (const wchar_t* name : {L"oem10.inf", L"oem2.inf", L"OEM3.INF", L"display.inf", L"xoem4.inf", L"oem5.txt"}) {
    plantDriverPackage(makerPackage(name, L"MEDIA"));
  }
  std::vector<std::wstring> expected;
  for (const auto& [name, content] : infFolder()) {
    if (name == L"oem10.inf" || name == L"oem2.inf" || name == L"OEM3.INF") {
      expected.push_back(kInfFolder + name);
    }
  }
  ASSERT_EQ(expected.size(), 3u);
  EXPECT_THAT(ListOemInfFiles(), ::testing::UnorderedElementsAreArray(expected));

  std::vector<std::wstring> inTheOrderOfTheFolder;
  for (const auto& entry : std::filesystem::directory_iterator(kInfFolder)) {
    if (std::find(expected.begin(), expected.end(), entry.path().wstring()) != expected.end()) {
      inTheOrderOfTheFolder.push_back(entry.path().wstring());
    }
  }
  EXPECT_EQ(ListOemInfFiles(), inTheOrderOfTheFolder);
  for (const wchar_t* name : {L"display", L"xoem4"}) {
    ::DeleteFileW((kInfFolder + name + L".inf").c_str());
    ::DeleteFileW((kInfFolder + name + L".PNF").c_str());
  }
}

TEST_F(InfVersion, NoFolderNoFiles) {
  plantDriverPackage(makerPackage(L"oem1.inf", L"MEDIA"));
  windowsFolder = L"C:\\no such windows";
  EXPECT_THAT(ListOemInfFiles(), IsEmpty());
}

TEST_F(InfVersion, EmptyFolderHasNoFiles) {
  EXPECT_THAT(ListOemInfFiles(), IsEmpty());
}
