// action_dispatcher_shortcuts_test - deleting Start Menu shortcuts from a work list.
#include <filesystem>
#include <string>
#include <vector>

#include <windows.h>

#include <shlobj.h>

#include <gmock/gmock.h>

#include "support/captured_log.h"
#include "support/test_folder.h"
#include "system/action_dispatcher.h"
#include "system/handles.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

using Items = std::vector<std::wstring>;

// Product folders in the common Start Menu.
class ShortcutAction : public ::testing::Test {
 protected:
  ShortcutAction() {
    wchar_t path[MAX_PATH] = L"";
    ::SHGetFolderPathW(nullptr, CSIDL_COMMON_PROGRAMS, nullptr, 0, path);
    programs_ = path;
  }
  ~ShortcutAction() override {
    for (const std::wstring& product : products_) {
      std::filesystem::remove_all(programs_ + L"\\" + product);
    }
  }

  // Creates Programs\<product>\<name>; returns its path.
  std::wstring plant(const std::wstring& product, const std::wstring& name) {
    products_.push_back(product);
    const std::wstring path = programs_ + L"\\" + product + L"\\" + name;
    std::filesystem::create_directories(programs_ + L"\\" + product);
    const FileHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    EXPECT_TRUE(file);
    return path;
  }
  std::wstring productFolder(const std::wstring& product) const { return programs_ + L"\\" + product; }

  bool execute(const Items& items) { return ExecuteActions(ActionKind::ShortcutDelete, items, failures, false); }

  CapturedLog log;
  Items failures;

 private:
  std::wstring programs_;
  Items products_;
};

}  // namespace

TEST_F(ShortcutAction, ShortcutGoesWithItsProductFolder) {
  plant(L"Orv Test A", L"Tool.lnk");
  plant(L"Orv Test A", L"Readme.txt");
  plant(L"Orv Test Stays", L"Tool.lnk");
  EXPECT_TRUE(execute({L"Orv Test A\\Tool.lnk"}));
  EXPECT_FALSE(pathExists(productFolder(L"Orv Test A")));
  EXPECT_TRUE(pathExists(productFolder(L"Orv Test Stays")));
  EXPECT_THAT(failures, IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Orv Test A\\Tool.lnk"));
}

TEST_F(ShortcutAction, MissingShortcutIsAFailure) {
  plant(L"Orv Test A", L"Tool.lnk");
  EXPECT_FALSE(execute({L"Orv Test Missing\\Tool.lnk", L"Orv Test A\\Tool.lnk"}));
  EXPECT_FALSE(pathExists(productFolder(L"Orv Test A")));
  EXPECT_THAT(failures, ElementsAre(L"Orv Test Missing\\Tool.lnk"));
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG Orv Test Missing\\Tool.lnk", "DEBUG Orv Test A\\Tool.lnk"));
}

TEST_F(ShortcutAction, FolderThatCannotGoLeavesTheRestOfTheListUndone) {
  const std::wstring shortcut = plant(L"Orv Test A", L"Tool.lnk");
  const FileHandle lock = lockFile(plant(L"Orv Test A", L"locked.txt"));
  plant(L"Orv Test B", L"Tool.lnk");
  try {
    execute({L"Orv Test Missing\\Tool.lnk", L"Orv Test A\\Tool.lnk", L"Orv Test B\\Tool.lnk"});
    FAIL() << "nothing was raised";
  } catch (const std::filesystem::filesystem_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("remove_all"));
  }
  EXPECT_FALSE(pathExists(shortcut));
  EXPECT_TRUE(pathExists(productFolder(L"Orv Test B")));
  EXPECT_THAT(failures, ElementsAre(L"Orv Test Missing\\Tool.lnk")) << "what failed before stays on the list";
}
