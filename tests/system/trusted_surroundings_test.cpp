// trusted_surroundings_test - programs and libraries named without a path are found in the system folder, whatever is
// next to the program, in the current directory or on the PATH.
#include "system/trusted_surroundings.h"

#include <string>
#include <vector>

#include <windows.h>

#include "support/test_child.h"
#include "support/test_folder.h"
#include "system/process_launch.h"

namespace {

std::wstring variable(const wchar_t* name) {
  wchar_t value[4096] = L"";
  ::GetEnvironmentVariableW(name, value, 4096);
  return value;
}

// Saves the environment and the current directory and restores them at the end.
class Surroundings : public testing::Test {
 protected:
  Surroundings() {
    for (const wchar_t* name : kNames) {
      before_.push_back(variable(name));
    }
    ::GetCurrentDirectoryW(MAX_PATH, directory_);
  }
  ~Surroundings() override {
    for (std::size_t index = 0; index < before_.size(); ++index) {
      ::SetEnvironmentVariableW(kNames[index], before_[index].empty() ? nullptr : before_[index].c_str());
    }
    ::SetCurrentDirectoryW(directory_);
    ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  }

  static constexpr const wchar_t* kNames[] = {L"SystemRoot", L"windir",  L"ComSpec",
                                              L"Path",       L"PATHEXT", L"NoDefaultCurrentDirectoryInExePath"};

  // Copies this program into the folder under the name.
  static void plant(const std::wstring& path) { ASSERT_TRUE(::CopyFileW(ownProgram().c_str(), path.c_str(), FALSE)); }

 private:
  std::vector<std::wstring> before_;
  wchar_t directory_[MAX_PATH] = {};
};

}  // namespace

TEST_F(Surroundings, AreTheSystems) {
  for (const wchar_t* name : kNames) {
    ::SetEnvironmentVariableW(name, L"C:\\bench");
  }
  trustTheSystemFolderAlone();
  wchar_t directory[MAX_PATH] = {};
  ::GetCurrentDirectoryW(MAX_PATH, directory);
  EXPECT_STREQ(directory, L"C:\\windows\\system32");
  EXPECT_EQ(variable(L"SystemRoot"), L"C:\\windows");
  EXPECT_EQ(variable(L"windir"), L"C:\\windows");
  EXPECT_EQ(variable(L"ComSpec"), L"C:\\windows\\system32\\cmd.exe");
  EXPECT_EQ(variable(L"Path"),
            L"C:\\windows\\system32;C:\\windows;C:\\windows\\system32\\Wbem;"
            L"C:\\windows\\system32\\WindowsPowerShell\\v1.0");
  EXPECT_EQ(variable(L"PATHEXT"), L".COM;.EXE;.BAT;.CMD");
  EXPECT_EQ(variable(L"NoDefaultCurrentDirectoryInExePath"), L"1");
}

TEST_F(Surroundings, CommandIsFoundNeitherInTheFormerDirectoryNorAlongThePath) {
  const TestFolder folder;
  plant(folder / L"onlyhere.exe");
  ::SetEnvironmentVariableW(L"Path", folder.path().c_str());
  for (const std::wstring& start : {folder.path(), std::wstring(L"C:\\")}) {
    ::SetCurrentDirectoryW(start.c_str());
    // Without protection, the planted command is found.
    ::SetEnvironmentVariableW(L"Path", folder.path().c_str());
    EXPECT_EQ(RunCommand(L"onlyhere.exe --exit 7", start, true), 7u);
    trustTheSystemFolderAlone();
    EXPECT_NE(RunCommand(L"onlyhere.exe --exit 7", L"C:\\", true), 7u);
  }
}

TEST_F(Surroundings, LibraryBesideTheProgramIsNotLoadedByItsName) {
  const std::wstring own = ownProgram();
  const std::wstring beside = own.substr(0, own.rfind(L'\\') + 1) + L"beside.dll";
  ASSERT_TRUE(::CopyFileW(L"C:\\windows\\system32\\version.dll", beside.c_str(), FALSE));
  const HMODULE found = ::LoadLibraryW(L"beside.dll");
  EXPECT_NE(found, nullptr);
  ::FreeLibrary(found);
  trustTheSystemFolderAlone();
  EXPECT_EQ(::LoadLibraryW(L"beside.dll"), nullptr);
  ::DeleteFileW(beside.c_str());
}

TEST(SystemProgram, LiesInTheSystemFolder) {
  EXPECT_EQ(systemProgram(L"taskkill.exe"), L"C:\\windows\\system32\\taskkill.exe");
}

int main(int argumentCount, char** arguments) {
  if (const auto exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  testing::InitGoogleTest(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
