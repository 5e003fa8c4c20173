#include "manifest_rules.h"

#include <string>

#include <gtest/gtest.h>

#include "system/protected_places.h"

// The rules check the shipped manifest, so they have to refuse what would harm a machine.
namespace {

using namespace manifest_rules;

TEST(ManifestRules, DirectoriesOutsideTheMakersFoldersAreRefused) {
  for (const wchar_t* row : {
           L"",
           L"INSTALL_DIR",
           L"INSTALL_DIR32",
           L"INSTALL_DIR\\",
           L"INSTALL_DIR\\..",
           L"INSTALL_DIR\\LM\\..\\..",
           L"INSTALL_DIR\\LM\\",
           L"INSTALL_DIR\\\\LM",
           L"INSTALL_DIR\\*",
           L"INSTALL_DIRECTORY\\LM",
           L"%LOCALAPPDATA%",
           L"%LOCALAPPDATA%\\ORV",
           L"%LOCALAPPDATA%\\Microsoft\\LM",
           L"%APPDATA%\\ORV\\.",
           L"%USERPROFILE%\\ORV\\LM",
           L"%SystemRoot%",
           L"%SystemRoot%\\ORV\\LM",
           L"%SystemRoot%\\System32",
           L"%SystemRoot%\\System32\\ORV",
           L"%SystemRoot%\\System32\\drivers\\ORV",
           L"C:\\",
           L"C:\\ORV",
           L"C:\\LM\\Packages",
           L"D:\\ORV\\Packages",
           L"C:",
           L"\\",
           L"Windows",
           L"Windows\\System32",
           L"Windows\\System32\\ORV",
           L"Windows\\ORV\\LM",
           L"Program Files",
           L"Program Files\\ORV",
           L"Program Files\\Other\\LM",
           L"Program Files (x86)",
           L"ProgramData",
           L"ProgramData\\ORV",
           L"ProgramData\\Microsoft\\LM",
           L"Users\\ORV\\LM",
           L"ORV\\LM",
           L"Program Files\\ORV\\LM/x",
           L"Program Files\\ORV\\LM ",
           L"\\\\server\\ORV\\LM",
       }) {
    EXPECT_FALSE(isSafeDirectory(row)) << ::testing::PrintToString(std::wstring(row));
  }
  for (const wchar_t* row : {L"INSTALL_DIR\\LM", L"INSTALL_DIR32\\LM\\Logs", L"%localappdata%\\ORV\\LM",
                             L"%SystemRoot%\\System32\\ORV\\Data", L"Program Files\\ORV\\LM",
                             L"Windows\\SysWOW64\\ORV\\Logs", L"C:\\ORV\\Packages"}) {
    EXPECT_TRUE(isSafeDirectory(row)) << ::testing::PrintToString(std::wstring(row));
  }
}

TEST(ManifestRules, FilesOfOthersAndWidePatternsAreRefused) {
  for (const wchar_t* row : {
           L"",
           L"INSTALL_DIR",
           L"INSTALL_DIR\\*",
           L"INSTALL_DIR\\*.*",
           L"INSTALL_DIR\\*.log",
           L"INSTALL_DIR\\or*.log",
           L"INSTALL_DIR\\gpu-*",
           L"INSTALL_DIR\\gpu-**.log",
           L"INSTALL_DIR\\LM*\\gpu.log",
           L"INSTALL_DIR\\gpu-?.log",
           L"INSTALL_DIR\\gpu.*",
           L"INSTALL_DIR\\..\\gpu.log",
           L"Windows\\System32\\kernel32.dll",
           L"Windows\\System32\\*.dll",
           L"Windows\\System32\\or*.dll",
           L"Windows\\System32\\or*v1*.dll",
           L"Windows\\System32\\*.orvgfx",
           L"Windows\\System32\\*orvgfx*",
           L"Windows\\System32\\orvgfx*.dll*",
           L"Windows\\System32\\*orv*.sys",
           L"Windows\\System32\\storv*.sys",
           L"Windows\\System32\\kernel*.dll",
           L"Windows\\System32\\drivers\\orv.sys",
           L"Windows\\orv.ini",
           L"Program Files\\orv.log",
           L"ProgramData\\orv.log",
           L"%LOCALAPPDATA%\\orv.log",
           L"%LOCALAPPDATA%\\ORV\\noextension",
           L"C:\\ORV\\orv.log",
           L"orv.log",
       }) {
    EXPECT_FALSE(isSafeFile(row)) << ::testing::PrintToString(std::wstring(row));
  }
  for (const wchar_t* row :
       {L"INSTALL_DIR\\LM\\a.dll", L"INSTALL_DIR\\gpu-*.log", L"Windows\\System32\\orvcore.dll",
        L"Windows\\System32\\ORV\\gpu-*.log", L"%APPDATA%\\ORV\\a.xml", L"Windows\\System32\\*orvgfx*.dll",
        L"Windows\\SysWOW64\\orv*.dll", L"Windows\\System32\\ORV-*-old.dll", L"INSTALL_DIR\\*gpu*.log",
        L"INSTALL_DIR\\a*gpu.log"}) {
    EXPECT_TRUE(isSafeFile(row)) << ::testing::PrintToString(std::wstring(row));
  }
}

// The program has to carry out what these rules accept.
TEST(ManifestRules, PatternThatPassesIsNoneThatTheProgramRefuses) {
  int passed = 0;
  for (const wchar_t* one : {L"", L"o", L"or", L"orv", L"orvgfx", L"a b", L"lumio "}) {
    for (const wchar_t* other : {L"", L"v", L"-1", L"orv", L"orvgfx", L".orvgfx", L"lumio-x"}) {
      for (const wchar_t* end : {L"*.dll", L".dll", L".*", L"*", L"*.d*"}) {
        const std::wstring name = std::wstring(one) + L"*" + other + end;
        if (isSafeFile(L"Windows\\System32\\" + name)) {
          ++passed;
          EXPECT_FALSE(isProtectedPattern(L"C:\\Windows\\System32\\" + name)) << ::testing::PrintToString(name);
        }
      }
    }
  }
  EXPECT_GT(passed, 10);
}

TEST(ManifestRules, KeysOfThePlatformAndOfOthersAreRefused) {
  for (const wchar_t* row : {
           L"",
           L"HKEY_LOCAL_MACHINE",
           L"HKEY_LOCAL_MACHINE\\",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\ORV",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\ORV",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Other",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\storvsc",
           L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\orvgfx\\Parameters",
           L"HKEY_LOCAL_MACHINE\\ORV\\LM",
           L"HKEY_CURRENT_USER\\Software",
           L"HKEY_CURRENT_USER\\Software\\ORV",
           L"HKEY_CLASSES_ROOT\\Directory",
           L"HKEY_CLASSES_ROOT\\.lumio\\shell",
           L"HKEY_USERS\\S-1-5-21-0-0-0-1000\\Software\\ORV\\LM",
           L"hkey_local_machine\\SOFTWARE\\ORV\\LM",
           L"HKLM\\SOFTWARE\\ORV\\LM",
           L"SOFTWARE\\ORV\\LM",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\\\LM",
           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\*",
       }) {
    EXPECT_FALSE(isSafeKey(row)) << ::testing::PrintToString(std::wstring(row));
  }
  for (const wchar_t* row : {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\LM", L"HKEY_CURRENT_USER\\Software\\Lumio\\Streaming",
                             L"HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\KTL Systems\\Install",
                             L"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\orvgfx",
                             L"HKEY_CLASSES_ROOT\\Lumio.Profile", L"HKEY_LOCAL_MACHINE\\SOFTWARE\\UXF"}) {
    EXPECT_TRUE(isSafeKey(row)) << ::testing::PrintToString(std::wstring(row));
  }
}

TEST(ManifestRules, ValuesOfOthersAreRefused) {
  const std::wstring run = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run\\";
  for (const std::wstring& row :
       {std::wstring(), run, run + L"OneDrive", std::wstring(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV"),
        std::wstring(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\LM\\"),
        std::wstring(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\ORVValue")}) {
    EXPECT_FALSE(isSafeValue(row)) << ::testing::PrintToString(row);
  }
  EXPECT_TRUE(isSafeValue(run + L"ORVTrayAgent"));
  EXPECT_TRUE(isSafeValue(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\LM\\Version"));
}

TEST(ManifestRules, ShortcutsOutsideAFolderOfTheMakerAreRefused) {
  for (const wchar_t* row :
       {L"", L"Lumio.lnk", L"Accessories\\Lumio.lnk", L"Lumio\\..\\Lumio.lnk", L"..\\Lumio.lnk", L"\\Lumio.lnk",
        L"Lumio\\Inner\\Lumio.lnk", L"Lumio\\Lumio.url", L"Lumio\\*.lnk", L"Lumio\\.lnk"}) {
    EXPECT_FALSE(isSafeShortcut(row)) << ::testing::PrintToString(std::wstring(row));
  }
  EXPECT_TRUE(isSafeShortcut(L"Lumio Control Panel\\Control Panel.lnk"));
}

TEST(ManifestRules, NamesOfOthersAreRefused) {
  for (const wchar_t* row : {L"", L"svchost.exe", L"explorer.exe", L"orv*.exe", L"folder\\orv.exe", L"\"orv\"", L"orv ",
                             L"services", L"Control Panel"}) {
    EXPECT_FALSE(isSafeName(row)) << ::testing::PrintToString(std::wstring(row));
  }
  EXPECT_TRUE(isSafeName(L"ORVTelemetryService"));
  EXPECT_FALSE(isSafeService(L"storvsc"));
  EXPECT_TRUE(isSafeService(L"ORVTelemetryService"));
  EXPECT_FALSE(isSafeProcess(L"ORVTelemetryService"));
  EXPECT_TRUE(isSafeProcess(L"LumioStreaming.exe"));
}

}  // namespace
