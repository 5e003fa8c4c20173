// protected_places_test - what no document may remove as a whole, and that the maker's own places are no part of it.

#include <gtest/gtest.h>

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
           profile,
           profile + L"\\AppData",
           profile + L"\\AppData\\Local",
           profile + L"\\AppData\\Roaming\\",
           profile + L"\\Documents",
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
           std::wstring(L""),
       }) {
    EXPECT_FALSE(isProtectedDirectory(path)) << narrow(path);
  }
}

TEST(ProtectedPattern, IsOneThatTakesAllOrAllOfAKindInAProtectedPlace) {
  for (const wchar_t* path : {L"C:\\*", L"C:\\\\*", L"\\*", L"C:*", L"C:\\*.*", L"C:\\Windows\\*",
                              L"C:\\Windows\\\\*.dll", L"C:/Windows/System32/*", L"C:\\Program Files\\?*",
                              L"C:\\ProgramData\\.", L"\\\\?\\C:\\Windows\\*", L"C:\\Program Files\\ORV\\..\\*"}) {
    EXPECT_TRUE(isProtectedPattern(path)) << narrow(path);
  }
  for (const wchar_t* path :
       {L"C:\\orv*.log", L"C:\\Windows\\System32\\orv*.dll", L"C:\\Windows\\System32\\?orv*.dll", L"C:\\ORV\\*",
        L"C:\\Program Files\\ORV\\*.*", L"C:\\Windows\\orv.log", L"C:\\Windows\\", L"C:\\", L"C:", L"*", L""}) {
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
       }) {
    EXPECT_FALSE(isProtectedKey(path)) << narrow(path);
  }
}
