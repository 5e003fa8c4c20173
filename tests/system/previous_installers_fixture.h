// previous_installers_fixture - a machine on which installers have left their folders, and what the removal says of it.
#pragma once

#include <algorithm>
#include <cwctype>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/test_folder.h"
#include "support/test_registry.h"
#include "support/text.h"
#include "system/directory_walk.h"
#include "system/previous_installers_removal.h"
#include "system/tree_removal.h"

inline const std::wstring kRoot = L"C:\\ORV";
inline const std::wstring kMinimalInstaller = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\QBX Installer\\Install\\MinimalInstaller";
// The only line of a run that finds nothing: where the system's drive is, as the module asked for it says.
inline constexpr char kDriveLine[] = "DEBUG CommonHelperUtilities::GetOSDrive: C:\\";

class PreviousInstallersMachine : public testing::Test {
 protected:
  void SetUp() override {
    removeKey(kMinimalInstaller);
    removeTree(kRoot);
  }
  void TearDown() override {
    removeKey(kMinimalInstaller);
    removeTree(kRoot);
  }

  // Paths are below C:\ORV.
  static std::wstring makeFile(const std::wstring& relative) {
    const std::wstring path = kRoot + L"\\" + relative;
    makeFolderAt(path.substr(0, path.find_last_of(L'\\')));
    const FileHandle file(
        ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (!file || !::WriteFile(file.get(), "content", 7, &written, nullptr)) {
      throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), "makeFile");
    }
    return path;
  }
  static std::wstring makeFolder(const std::wstring& relative) {
    makeFolderAt(kRoot + L"\\" + relative);
    return kRoot + L"\\" + relative;
  }
  static void makeFolderAt(const std::wstring& path) { std::filesystem::create_directories(path); }

  static void registerPackage(const std::wstring& subkey, const std::wstring& path) {
    plantString(kMinimalInstaller + L"\\" + subkey, L"Package Path", path);
  }

  std::vector<std::string> run() {
    const CapturedLog log;
    RemovePreviousInstallers(PlanPreviousInstallers(FindPreviousInstallers()));
    return log.lines();
  }

  // All that is below C:\ORV, sorted; the root itself is no entry.
  static std::vector<std::wstring> left() {
    std::vector<std::wstring> paths;
    if (pathExists(kRoot)) {
      walkDirectory(kRoot,
                    [&paths](const DirectoryEntry& entry) { paths.push_back(entry.path.substr(kRoot.size() + 1)); });
    }
    std::sort(paths.begin(), paths.end());
    return paths;
  }

  static std::string fileLine(const std::wstring& path) { return "DEBUG Deleting file: " + narrow(path); }
  static std::string folderLine(const std::wstring& path) { return "DEBUG Deleting directory: " + narrow(path); }
  static std::string excludingLine(const std::wstring& path) { return "DEBUG Excluding " + narrow(path); }
  static std::string message(DWORD error) {
    wchar_t text[512] = L"";
    DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, text,
                                    ARRAYSIZE(text), nullptr);
    while (length > 0 && std::iswspace(text[length - 1])) {
      --length;
    }
    return narrow(std::wstring(text, length));
  }
  static std::string unableLine(const std::wstring& path, DWORD error) {
    return "DEBUG Unable to delete " + narrow(path) + ". " + message(error);
  }
  static std::string iteratingLine(const std::wstring& folder, DWORD error) {
    return "DEBUG Encountered error while iterating " + narrow(folder) + ". " + message(error);
  }
};
