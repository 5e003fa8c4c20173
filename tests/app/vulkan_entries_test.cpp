// vulkan_entries_test - taking the maker's entries out of the Vulkan loader's registration.
#include "app/vulkan_entries.h"

#include <map>
#include <set>
#include <string>
#include <vector>

#include <windows.h>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/link_seam.h"
#include "support/test_folder.h"
#include "support/test_registry.h"
#include "support/text.h"
#include "system/file_operations.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::wstring kPath = L"SOFTWARE\\OrvTest\\Vulkan";
const std::wstring kKey = L"HKEY_LOCAL_MACHINE\\" + kPath;
const std::wstring kFile = L"orv-vulkan64.json";

std::map<std::wstring, REGSAM> openedWith;
std::set<std::wstring> undeletableValues;
std::set<std::wstring> unmarkableFiles;
std::set<DWORD> unreadableIndices;

class VulkanEntries : public ::testing::Test {
 protected:
  void SetUp() override {
    openedWith.clear();
    undeletableValues.clear();
    unmarkableFiles.clear();
    unreadableIndices.clear();
    fileRebootPending = false;
    removeKey(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\OrvTest");
    plantKey(kKey);
  }
  void TearDown() override { removeKey(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\OrvTest"); }

  // One pass; returns what it has printed to standard output.
  static std::string pass(const std::vector<std::wstring>& files = {}) {
    ::testing::internal::CaptureStdout();
    removeVulkanEntries({{kPath, kFile}}, files);
    return ::testing::internal::GetCapturedStdout();
  }
  static void plant(const std::wstring& valueName) { plantDword(kKey, valueName, 0); }
  static bool stands(const std::wstring& valueName) { return valueExists(kKey, valueName); }

  CapturedLog log;
};

}  // namespace

LINK_SEAM(LSTATUS, RegOpenKeyExW, (HKEY root, const wchar_t* path, DWORD options, REGSAM access, HKEY* key)) {
  openedWith[path ? path : L""] = access;
  return realFunction<decltype(&::RegOpenKeyExW)>(L"advapi32.dll", "RegOpenKeyExW")(root, path, options, access, key);
}

LINK_SEAM(LSTATUS, RegDeleteValueW, (HKEY key, const wchar_t* name)) {
  return undeletableValues.contains(name)
             ? ERROR_ACCESS_DENIED
             : realFunction<decltype(&::RegDeleteValueW)>(L"advapi32.dll", "RegDeleteValueW")(key, name);
}

LINK_SEAM(LSTATUS, RegEnumValueW,
          (HKEY key, DWORD index, wchar_t* name, DWORD* length, DWORD* reserved, DWORD* type, BYTE* data,
           DWORD* size)) {
  return unreadableIndices.contains(index) ? ERROR_NO_SYSTEM_RESOURCES
                                           : realFunction<decltype(&::RegEnumValueW)>(L"advapi32.dll", "RegEnumValueW")(
                                                 key, index, name, length, reserved, type, data, size);
}

LINK_SEAM(BOOL, MoveFileExW, (const wchar_t* path, const wchar_t* target, DWORD flags)) {
  if (unmarkableFiles.contains(path)) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  const BOOL moved = realFunction<decltype(&::MoveFileExW)>(L"kernel32.dll", "MoveFileExW")(path, target, flags);
  if (moved) {
    ::SetLastError(ERROR_IO_PENDING);  // a call that works leaves what it likes, which the log tells all the same
  }
  return moved;
}

TEST_F(VulkanEntries, EntryOfTheMakerGoesAndOthersStay) {
  plant(L"C:\\maker\\orv-vulkan64.json");
  plant(L"D:\\other\\vk-other64.json");
  EXPECT_EQ(pass(), "");
  EXPECT_EQ(openedWith[kPath], static_cast<REGSAM>(KEY_ALL_ACCESS));
  EXPECT_FALSE(stands(L"C:\\maker\\orv-vulkan64.json"));
  EXPECT_TRUE(stands(L"D:\\other\\vk-other64.json"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(VulkanEntries, FileNameDecides) {
  const struct {
    const wchar_t* valueName;
    bool goes;
  } rows[] = {
      {L"C:\\maker\\orv-vulkan64.json", true},
      {L"C:\\maker\\orv-vulkan64.json.bak", true},  // begins with the name
      {L"\\orv-vulkan64.json", true},
      {L"C:\\deep\\er\\still\\orv-vulkan64.json", true},
      {L"C:\\with blanks\\100%\\orv-vulkan64.json", true},
      {L"C:\\\u00C4\u6E05\U0001F5D1\\orv-vulkan64.json", true},
      {L"orv-vulkan64.json", false},  // no path
      {L"C:/maker/orv-vulkan64.json", false},
      {L"C:\\maker\\ORV-vulkan64.json", false},
      {L"C:\\maker\\orv-Vulkan64.json", false},
      {L"C:\\maker\\xorv-vulkan64.json", false},
      {L"C:\\maker\\orv-vulkan64.jso", false},
      {L"C:\\maker\\orv-vulkan32.json", false},
      {L"C:\\orv-vulkan64.json\\", false},
      {L"C:\\orv-vulkan64.json\\other.json", false},
      {L"C:\\maker\\", false},
      {L"", false},
  };
  for (const auto& row : rows) {
    SetUp();
    plant(row.valueName);
    pass();
    EXPECT_EQ(stands(row.valueName), !row.goes) << narrow(row.valueName);
  }
}

TEST_F(VulkanEntries, ValueBehindADeletedOneIsLeftToTheNextPass) {
  plant(L"C:\\a\\orv-vulkan64.json");
  plant(L"C:\\b\\orv-vulkan64.json");
  pass();
  EXPECT_NE(stands(L"C:\\a\\orv-vulkan64.json"), stands(L"C:\\b\\orv-vulkan64.json")) << "one of the two stays";
  pass();
  EXPECT_FALSE(stands(L"C:\\a\\orv-vulkan64.json"));
  EXPECT_FALSE(stands(L"C:\\b\\orv-vulkan64.json"));
}

TEST_F(VulkanEntries, EachPassTakesEverySecondOfARow) {
  const auto standing = [] {
    int count = 0;
    for (const wchar_t drive : std::wstring(L"abcdefgh")) {
      count += stands(drive + std::wstring(L":\\orv-vulkan64.json")) ? 1 : 0;
    }
    return count;
  };
  for (const wchar_t drive : std::wstring(L"abcdefgh")) {
    plant(drive + std::wstring(L":\\orv-vulkan64.json"));
  }
  for (const int left : {4, 2, 1, 0}) {
    pass();
    EXPECT_EQ(standing(), left);
  }
}

TEST_F(VulkanEntries, IndexThatCannotBeReadIsPassedOver) {
  plant(L"C:\\a\\orv-vulkan64.json");
  plant(L"C:\\b\\orv-vulkan64.json");
  unreadableIndices = {0};
  EXPECT_EQ(pass(), "");
  EXPECT_NE(stands(L"C:\\a\\orv-vulkan64.json"), stands(L"C:\\b\\orv-vulkan64.json"));
}

TEST_F(VulkanEntries, FailedDeletionIsPrintedAndTheNextEntryGoes) {
  plant(L"C:\\a\\orv-vulkan64.json");
  plant(L"C:\\b\\orv-vulkan64.json");
  undeletableValues = {L"C:\\a\\orv-vulkan64.json"};
  EXPECT_EQ(pass() + pass(), "RegDeleteKey error\nRegDeleteKey error\n");
  EXPECT_TRUE(stands(L"C:\\a\\orv-vulkan64.json"));
  EXPECT_FALSE(stands(L"C:\\b\\orv-vulkan64.json"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(VulkanEntries, MissingKeyIsPassedOver) {
  plant(L"C:\\a\\orv-vulkan64.json");
  removeVulkanEntries({{L"SOFTWARE\\OrvTest\\Missing", kFile}, {kPath, kFile}}, {});
  EXPECT_FALSE(stands(L"C:\\a\\orv-vulkan64.json"));
  EXPECT_FALSE(keyExists(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\OrvTest\\Missing"));
}

TEST_F(VulkanEntries, EachPathHasItsOwnFileName) {
  const std::wstring path32 = L"SOFTWARE\\OrvTest\\Vulkan32";
  for (const std::wstring& key : {kKey, L"HKEY_LOCAL_MACHINE\\" + path32}) {
    plantDword(key, L"C:\\a\\orv-vulkan64.json", 0);
    plantDword(key, L"C:\\b\\orv-vulkan32.json", 0);
  }
  removeVulkanEntries({{kPath, kFile}, {path32, L"orv-vulkan32.json"}}, {});
  EXPECT_FALSE(stands(L"C:\\a\\orv-vulkan64.json"));
  EXPECT_TRUE(stands(L"C:\\b\\orv-vulkan32.json"));
  EXPECT_TRUE(valueExists(L"HKEY_LOCAL_MACHINE\\" + path32, L"C:\\a\\orv-vulkan64.json"));
  EXPECT_FALSE(valueExists(L"HKEY_LOCAL_MACHINE\\" + path32, L"C:\\b\\orv-vulkan32.json"));
}

TEST_F(VulkanEntries, LongValueNameIsRead) {
  const std::wstring name = L"C:\\" + std::wstring(10'000, L'x') + L"\\orv-vulkan64.json";
  plant(name);
  pass();
  EXPECT_FALSE(stands(name));
}

TEST_F(VulkanEntries, KeyAndItsSubkeysStay) {
  plant(L"C:\\a\\orv-vulkan64.json");
  plantDword(kKey + L"\\Sub", L"C:\\a\\orv-vulkan64.json", 0);
  pass();
  EXPECT_TRUE(keyExists(kKey));
  EXPECT_TRUE(valueExists(kKey + L"\\Sub", L"C:\\a\\orv-vulkan64.json"));
}

TEST_F(VulkanEntries, FilesAreDeleted) {
  const TestFolder folder;
  const std::wstring first = folder.makeFile(L"orv-vulkan64.json");
  const std::wstring second = folder.makeFile(L"orvvlk64.dll");
  pass({first, folder / L"missing.dll", second});
  EXPECT_FALSE(pathExists(first));
  EXPECT_FALSE(pathExists(second));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(VulkanEntries, LockedFileIsMarkedWithoutAskingForARestart) {
  const TestFolder folder;
  const std::wstring locked = folder.makeFile(L"orvvlk64.dll");
  const FileHandle lock = lockFile(locked);
  pass({locked});
  EXPECT_THAT(pendingDeletions(), Contains(locked));
  EXPECT_FALSE(fileRebootPending);
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG FileOperation::Delete - Mark File[" + narrow(locked) +
                                       "] as deleted until reboot, Error Code[997]"));
}

TEST_F(VulkanEntries, FileThatStaysIsLoggedAndTheNextOneGoes) {
  const TestFolder folder;
  const std::wstring locked = folder.makeFile(L"orvvlk64.dll");
  const std::wstring next = folder.makeFile(L"orvvlk32.dll");
  const FileHandle lock = lockFile(locked);
  unmarkableFiles = {locked};
  pass({locked, next});
  EXPECT_FALSE(pathExists(next));
  EXPECT_THAT(log.lines(),
              ElementsAre("ERROR FileOperation::Delete - File[" + narrow(locked) + "] not Deleted, Error Code[5]",
                          "DEBUG Deleting File failed: " + narrow(locked)));
}

TEST_F(VulkanEntries, NothingToDo) {
  ::testing::internal::CaptureStdout();
  removeVulkanEntries({}, {});
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(VulkanTablesOfARun, NameTheMakersFilesOfBothWidths) {
  const VulkanTables tables;
  using Names = std::map<std::wstring, std::wstring>;
  using Paths = std::vector<std::wstring>;
  EXPECT_EQ(tables.vulkanRegistryValues,
            (Names{{L"SOFTWARE\\Khronos\\Vulkan\\Drivers", L"orv-vulkan64.json"},
                   {L"SOFTWARE\\Khronos\\Vulkan\\ImplicitLayers", L"orv-vulkan64.json"},
                   {L"SOFTWARE\\WOW6432Node\\Khronos\\Vulkan\\Drivers", L"orv-vulkan32.json"},
                   {L"SOFTWARE\\WOW6432Node\\Khronos\\Vulkan\\ImplicitLayers", L"orv-vulkan32.json"}}));
  EXPECT_EQ(tables.vulkanFiles,
            (Paths{L"C:\\Windows\\System32\\orv-vulkan64.json", L"C:\\Windows\\System32\\orvvlk64.dll",
                   L"C:\\Windows\\SysWOW64\\orv-vulkan32.json", L"C:\\Windows\\SysWOW64\\orvvlk32.dll"}));
  EXPECT_EQ(tables.vulkanRegistryValues32,
            (Names{{L"SOFTWARE\\Khronos\\Vulkan\\Drivers", L"orv-vulkan32.json"},
                   {L"SOFTWARE\\Khronos\\Vulkan\\ImplicitLayers", L"orv-vulkan32.json"}}));
  EXPECT_EQ(tables.vulkanFiles32,
            (Paths{L"C:\\Windows\\System32\\orv-vulkan32.json", L"C:\\Windows\\System32\\orvvlk32.dll"}));
}
