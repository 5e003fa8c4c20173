// protected_places_test - what no manifest may remove as a whole, and that the maker's own places are not included.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include <windows.h>

#include "support/current_directory.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/protected_places.h"

namespace {

std::wstring environment(const wchar_t* name) {
  wchar_t value[MAX_PATH] = {};
  ::GetEnvironmentVariableW(name, value, MAX_PATH);
  return value;
}

std::wstring shortPath(const std::wstring& path) {
  wchar_t answer[MAX_PATH] = L"";
  ::GetShortPathNameW(path.c_str(), answer, MAX_PATH);
  return answer;
}

// The user's temporary folder as it may be on a real machine: given with a short name, and moved behind a link. The
// places are looked up only once, so it is set up before the first test.
class TemporaryFolder : public ::testing::Environment {
 public:
  void SetUp() override {
    folder = std::make_unique<TestFolder>();
    folder->makeDirectory(L"real\\temporary folder");
    folder->makeDirectoryLink(L"moved", *folder / L"real");
    told = shortPath(*folder / L"moved\\temporary folder");
    ASSERT_NE(told, *folder / L"moved\\temporary folder");
    ::SetEnvironmentVariableW(L"TMP", told.c_str());
    ::SetEnvironmentVariableW(L"TEMP", told.c_str());
  }
  void TearDown() override { folder.reset(); }

  std::unique_ptr<TestFolder> folder;
  std::wstring told;
};

auto* const temporary = static_cast<TemporaryFolder*>(::testing::AddGlobalTestEnvironment(new TemporaryFolder));

}  // namespace

TEST(ProtectedDirectory, PlacesOfTheSystemAndOfTheUserAreProtectedHoweverSpelled) {
  const std::wstring profile = environment(L"USERPROFILE");
  ASSERT_FALSE(profile.empty());
  for (const std::wstring& path : {
           std::wstring(L"C:\\"),
           std::wstring(L"C:"),
           std::wstring(L"C:\\\\"),
           std::wstring(L"D:\\"),
           std::wstring(L"\\"),
           std::wstring(L"C:\\Windows"),
           std::wstring(L"c:\\WINDOWS\\"),
           std::wstring(L"C:\\Windows\\System32"),
           std::wstring(L"C:\\Program Files"),
           std::wstring(L"C:\\Program Files\\\\"),
           std::wstring(L"C:\\Program Files (x86)"),
           std::wstring(L"C:\\Program Files\\ORV\\..\\..\\Windows"),
           std::wstring(L"C:/Windows/system32"),
           std::wstring(L"\\\\?\\C:\\Windows"),
           std::wstring(L"\\\\?\\C:\\"),
           std::wstring(L"\\\\?\\C:"),
           std::wstring(L"\\\\.\\C:\\Windows"),
           std::wstring(L"\\\\?\\\\\\?\\c:\\windows\\"),
           std::wstring(L"//?/C:/Windows"),
           std::wstring(L"//./c:/Program Files/"),
           std::wstring(L"C:\\ProgramData"),
           std::wstring(L"C:\\users"),
           std::wstring(L"C:\\users\\Public\\Desktop"),
           std::wstring(L"C:\\users\\Public\\Documents"),
           std::wstring(L"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs"),
           std::wstring(L"C:\\Program Files\\Common Files"),
           std::wstring(L"C:\\Program Files (x86)\\Common Files"),
           std::wstring(L"C:\\Windows\\SysWOW64"),
           std::wstring(L"C:\\Windows\\System32\\drivers"),
           std::wstring(L"C:\\Windows\\System32\\drivers\\etc"),
           std::wstring(L"C:\\windows\\system32\\DRIVERSTORE\\"),
           std::wstring(L"C:\\Windows\\System32\\DriverStore\\FileRepository"),
           std::wstring(L"C:\\Windows\\System32\\CatRoot"),
           std::wstring(L"C:\\Windows\\System32\\config"),
           std::wstring(L"C:\\Windows\\System32\\Tasks"),
           std::wstring(L"C:\\Windows\\System32\\wbem"),
           std::wstring(L"C:\\Windows\\WinSxS"),
           std::wstring(L"C:\\Windows\\INF"),
           std::wstring(L"C:\\Windows\\assembly"),
           std::wstring(L"C:\\Windows\\Fonts"),
           std::wstring(L"C:\\Windows\\Installer"),
           std::wstring(L"C:\\Windows\\Microsoft.NET"),
           std::wstring(L"C:\\Windows\\servicing"),
           std::wstring(L"C:\\Windows::$INDEX_ALLOCATION"),
           std::wstring(L"C:\\Windows:$I30:$INDEX_ALLOCATION\\System32::$INDEX_ALLOCATION"),
           profile,
           profile + L"\\AppData",
           profile + L"\\AppData\\Local",
           profile + L"\\AppData\\Roaming\\",
           profile + L"\\Documents",
           profile + L"\\Desktop",
           profile + L"\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs",
       }) {
    EXPECT_TRUE(isProtectedDirectory(path)) << narrow(path);
  }
}

TEST(ProtectedDirectory, BareDriveIsProtectedWhateverTheCurrentDirectoryIs) {
  const TestFolder folder;
  const CurrentDirectory current(folder.path());
  for (const wchar_t* path : {L"C:", L"c:", L"\\\\?\\C:"}) {
    EXPECT_TRUE(isProtectedDirectory(path)) << narrow(path);
  }
  EXPECT_FALSE(isProtectedDirectory(L"C:ORV")) << "a folder of the current directory";
}

TEST(ProtectedDirectory, ShortNamesAreComparedInTheirLongForm) {
  for (const wchar_t* path : {L"C:\\Program Files", L"C:\\ProgramData"}) {
    wchar_t shortPath[MAX_PATH] = L"";
    ASSERT_NE(::GetShortPathNameW(path, shortPath, MAX_PATH), 0u);
    ASSERT_STRNE(shortPath, path);
    EXPECT_TRUE(isProtectedDirectory(shortPath)) << narrow(shortPath);
    EXPECT_TRUE(isProtectedDirectory(std::wstring(L"\\\\?\\") + shortPath)) << narrow(shortPath);
    EXPECT_FALSE(isProtectedDirectory(std::wstring(shortPath) + L"\\ORV")) << narrow(shortPath);
  }
}

TEST(ProtectedDirectory, PlaceIsKnownByEachOfItsSpellings) {
  const TestFolder& folder = *temporary->folder;
  for (const std::wstring& path :
       {temporary->told, folder / L"moved\\temporary folder", folder / L"real\\temporary folder",
        shortPath(folder / L"real\\temporary folder"), folder / L"real", folder.path()}) {
    EXPECT_TRUE(isProtectedDirectory(path)) << narrow(path);
  }
  EXPECT_FALSE(isProtectedDirectory(folder / L"real\\temporary folder\\ORV"));
  EXPECT_FALSE(isProtectedDirectory(folder / L"real\\other"));
}

TEST(ProtectedDirectory, WayThroughALinkIsFollowedAndALinkItselfIsNone) {
  const TestFolder folder;
  const std::wstring windows = folder.makeDirectoryLink(L"windows", L"C:\\windows");
  const std::wstring root = folder.makeDirectoryLink(L"root", L"C:\\");
  EXPECT_TRUE(isProtectedDirectory(windows + L"\\System32"));
  EXPECT_TRUE(isProtectedDirectory(windows + L"\\system32\\drivers\\"));
  EXPECT_TRUE(isProtectedDirectory(root + L"\\Program Files"));
  EXPECT_TRUE(isProtectedDirectory(shortPath(root + L"\\Program Files")));
  EXPECT_FALSE(isProtectedDirectory(windows)) << "a link goes alone";
  EXPECT_FALSE(isProtectedDirectory(root));
  EXPECT_FALSE(isProtectedDirectory(windows + L"\\System32\\ORV"));
  EXPECT_TRUE(isProtectedPattern(windows + L"\\*.dll"))
      << "a pattern takes what is behind a link in its folder's place";
  EXPECT_TRUE(isProtectedPattern(root + L"\\*"));
  EXPECT_FALSE(isProtectedPattern(windows + L"\\orv*.dll"));
}

TEST(ProtectedDirectory, FoldersOfTheMakerAreNot) {
  const std::wstring profile = environment(L"USERPROFILE");
  for (const std::wstring& path : {
           std::wstring(L"C:\\ORV"),
           std::wstring(L"C:\\Program Files\\ORV"),
           std::wstring(L"C:\\Program Files\\ORV\\PKM"),
           std::wstring(L"C:\\ProgramData\\ORV"),
           std::wstring(L"C:\\Windows\\System32\\ORV"),
           std::wstring(L"C:\\Program Files (x86)\\KTL Systems"),
           profile + L"\\AppData\\Local\\ORV",
           std::wstring(L"C:\\Windows2"),
           std::wstring(L"\\\\?\\C:\\ORV"),
           std::wstring(L"//./C:/Program Files/ORV"),
           std::wstring(L"C:\\Program"),
           std::wstring(L"C:\\Program Files (x86)\\Common Files\\ORV"),
           std::wstring(L"C:\\Windows\\System32\\DriverStore\\FileRepository\\orvgfx.inf_amd64_0"),
           std::wstring(L"C:\\Windows\\INF\\ORV"),
           std::wstring(L"C:\\Windows\\System32\\drivers\\ORV"),
           std::wstring(L"C:\\ORV:stream"),
           std::wstring(L""),
       }) {
    EXPECT_FALSE(isProtectedDirectory(path)) << narrow(path);
  }
}

TEST(ProtectedPattern, IsOneWithFewerThanThreeCharactersInAProtectedPlace) {
  for (const wchar_t* path : {L"C:\\*",
                              L"C:\\\\*",
                              L"\\*",
                              L"C:*",
                              L"C:\\*.*",
                              L"C:\\Windows\\*",
                              L"C:\\Windows\\\\*.dll",
                              L"C:/Windows/System32/*",
                              L"C:\\Program Files\\?*",
                              L"C:\\ProgramData\\.",
                              L"\\\\?\\C:\\Windows\\*",
                              L"C:\\Program Files\\ORV\\..\\*",
                              L"C:\\Windows\\System32\\or*.dll",
                              L"C:\\Windows\\System32\\or*v1*.dll",
                              L"C:\\Windows\\System32\\o?r?v*.dll",
                              L"C:\\Windows\\System32\\*.orvgfx",
                              L"C:\\Windows\\System32\\*.dll.mui",
                              L"C:\\Windows\\System32\\*   ",
                              L"C:\\Windows\\System32\\<<<*.dll",
                              L"C:\\Windows\\System32\\>>>>",
                              L"C:\\Windows\\System32\\***\"\"\"*",
                              L"C:\\Windows\\System32\\drivers\\*.sys",
                              L"C:\\Windows\\INF\\*.inf",
                              L"C:\\Windows\\System32\\DriverStore\\*.dat",
                              L"C:\\Windows\\System32::$INDEX_ALLOCATION\\*.dll",
                              L"C:\\Program Files (x86)\\Common Files\\*"}) {
    EXPECT_TRUE(isProtectedPattern(path)) << narrow(path);
  }
}

TEST(ProtectedPattern, IsNoneThatNamesWhatItMeans) {
  for (const wchar_t* path :
       {L"C:\\orv*.log", L"C:\\Windows\\System32\\orv*.dll", L"C:\\Windows\\System32\\?orv*.dll",
        L"C:\\Windows\\System32\\*orvgfx*.dll", L"C:\\Windows\\System32\\*orv.dll", L"C:\\Windows\\System32\\*orv",
        L"C:\\Windows\\System32\\a*b*orv?.dll", L"C:\\Windows\\System32\\orv.*",
        L"C:\\Windows\\System32\\drivers\\orv*", L"C:\\ORV\\*", L"C:\\Program Files\\ORV\\*.*", L"C:\\Windows\\orv.log",
        L"C:\\Windows\\o.log", L"C:\\Windows\\", L"C:\\", L"C:", L"*", L""}) {
    EXPECT_FALSE(isProtectedPattern(path)) << narrow(path);
  }
}

TEST(ProtectedKey, RootsAndTheSystemsOwnKeysAreProtectedHoweverSpelled) {
  for (const wchar_t* path : {
           L"HKEY_LOCAL_MACHINE",
           L"HKEY_LOCAL_MACHINE\\",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE",
           L"HKEY_LOCAL_MACHINE\\software\\",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\\\Microsoft\\Windows",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes",
           L"HKEY_LOCAL_MACHINE\\SYSTEM",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001\\Services",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\\\controlset012\\Control\\",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CONTROLSET003\\Control\\Class",
           L"HKEY_CURRENT_USER",
           L"HKEY_CURRENT_USER\\Software",
           L"HKEY_CURRENT_USER\\Software\\Microsoft",
           L"HKEY_CLASSES_ROOT",
           L"HKEY_CLASSES_ROOT\\CLSID",
           L"HKEY_USERS",
           L"HKEY_USERS\\S-1-5-21-0-0-0-1000",
           L"HKEY_USERS\\S-1-5-21-0-0-0-1000\\Software",
           L"HKEY_USERS\\.Default\\Software\\Microsoft",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run",
           L"HKEY_LOCAL_MACHINE\\Software\\microsoft\\windows\\currentversion\\RUN\\",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Run",
           L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run",
           L"HKEY_USERS\\S-1-5-21-0-0-0-1000\\Software\\Microsoft\\Windows\\CurrentVersion\\RunOnce",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Policies",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Policies",
           L"HKEY_CURRENT_USER\\Software\\Policies",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Classes",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Classes\\CLSID",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\Wow6432Node\\CLSID",
           L"HKEY_CLASSES_ROOT\\WOW6432Node\\CLSID",
           L"HKEY_CLASSES_ROOT\\Interface",
           L"HKEY_CLASSES_ROOT\\Directory",
           L"HKEY_CURRENT_USER\\Software\\Classes\\CLSID",
           L"HKEY_USERS\\S-1-5-21-0-0-0-1000_Classes",
           L"HKEY_USERS\\S-1-5-21-0-0-0-1000_Classes\\CLSID",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001\\Enum",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum\\PCI",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\MountedDevices",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\Setup",
           L"HKEY_LOCAL_MACHINE\\SAM",
           L"HKEY_LOCAL_MACHINE\\sam\\SAM\\Domains",
           L"HKEY_LOCAL_MACHINE\\SECURITY",
           L"HKEY_LOCAL_MACHINE\\SECURITY\\Policy",
           L"HKEY_LOCAL_MACHINE\\BCD00000000\\Objects",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion",
           L"HKEY_CLASSES_ROOT\\AppID",
           L"HKEY_CLASSES_ROOT\\Installer",
           L"HKEY_CLASSES_ROOT\\TypeLib",
           L"HKEY_CLASSES_ROOT\\Directory\\Background\\shellex\\ContextMenuHandlers",
           L"HKEY_CURRENT_USER\\Control Panel",
           L"HKEY_CURRENT_USER\\Environment",
           L"HKEY_CURRENT_CONFIG\\Software",
           L"HKEY_CURRENT_CONFIG\\System",
           L"HKEY_LOCAL_MACHINE\\HARDWARE",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Class",
           L"HKEY_LOCAL_MACHINE\\COMPONENTS",
           L"HKEY_LOCAL_MACHINE\\DRIVERS",
       }) {
    EXPECT_TRUE(isProtectedKey(path)) << narrow(path);
  }
}

TEST(ProtectedKey, KeysOfTheMakerAreNot) {
  for (const wchar_t* path : {
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\ORV",
           L"HKEY_CURRENT_USER\\Software\\KTL",
           L"HKEY_USERS\\S-1-5-21-0-0-0-1000\\Software\\ORV",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\orvabcdg",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001\\Services\\orvabcdg",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet1",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSetOrv\\Services",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet0001\\Services",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ControlSet001\\Services",
           L"HKEY_CLASSES_ROOT\\ORV.Profile",
           L"HKEY_CLASSES_ROOT\\CLSID\\{00000000-0000-0000-0000-000000000001}",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\ORV Brimwood Install Manager",
           L"hkey_local_machine\\SOFTWAR",
           L"HKEY_LOCAL_MACHINE\\SAM2",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enumerated",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Policies\\ORV",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Classes\\CLSID\\{00000000-0000-0000-0000-000000000001}",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432NodeOrv",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run\\ORV",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\ORVCapture.exe",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\ORV",
           L"HKEY_USERS\\S-1-5-21-0-0-0-1000_Classes\\ORV.Profile",
           L"HKEY_USERS\\S-1-5-21-0-0-0-1000_Classes\\Software\\ORV",
       }) {
    EXPECT_FALSE(isProtectedKey(path)) << narrow(path);
  }
}
