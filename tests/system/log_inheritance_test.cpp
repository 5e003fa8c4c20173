// log_inheritance_test - a program that the run has started and that outlives it does not keep the next run from
// writing its log.
#include <string>

#include <windows.h>

#include "support/test_child.h"
#include "support/test_folder.h"
#include "support/text.h"
#include "system/log_file.h"

namespace {

// Another run of the program, with the given temporary folder. It inherits nothing.
KernelHandle startRun(const std::wstring& temporaryFolder, const std::wstring& arguments) {
  ::SetEnvironmentVariableW(L"TMP", temporaryFolder.c_str());
  ::SetEnvironmentVariableW(L"TEMP", temporaryFolder.c_str());
  std::wstring commandLine = L"\"" + ownProgram() + L"\" " + arguments;
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION information = {};
  if (::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &information)) {
    ::CloseHandle(information.hThread);
  }
  return KernelHandle(information.hProcess);
}

bool hasEnded(const KernelHandle& process) {
  return ::WaitForSingleObject(process.get(), NamedEvent::kLimitMilliseconds) == WAIT_OBJECT_0;
}

// What a run does: it starts a program that gets every handle that can be inherited, and is ended while that one is at
// work.
int runWithAChild(const std::wstring& ready, const std::wstring& go) {
  LogDebug(L"first run");
  std::wstring commandLine = L"\"" + ownProgram() + L"\" --wait " + ready + L" " + go;
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION information = {};
  ::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &information);
  const KernelHandle child(::OpenEventW(EVENT_ALL_ACCESS, FALSE, ready.c_str()));
  ::WaitForSingleObject(child.get(), NamedEvent::kLimitMilliseconds);
  ::TerminateProcess(::GetCurrentProcess(), 0);
  return 0;
}

std::wstring wide(const std::string& text) {
  return {text.begin(), text.end()};
}

}  // namespace

TEST(LogOfTheNextRun, IsWrittenWhileAChildOfTheLastRunIsAtWork) {
  const TestFolder temporary;
  const NamedEvent ready;
  const NamedEvent go;
  ASSERT_TRUE(hasEnded(startRun(temporary.path(), L"--run-with-a-child " + ready.name() + L" " + go.name())));
  ASSERT_TRUE(ready.isSet());
  const std::wstring log = temporary / L"CleanUp\\ORVCleanup.log";
  ASSERT_NE(readFile(log).find("first run"), std::string::npos);
  ASSERT_TRUE(hasEnded(startRun(temporary.path(), L"--log second")));
  go.set();
  EXPECT_NE(readFile(log).find("second run"), std::string::npos) << readFile(log);
}

int main(int argumentCount, char** arguments) {
  const std::string mode = argumentCount > 1 ? arguments[1] : "";
  if (mode == "--run-with-a-child" && argumentCount > 3) {
    return runWithAChild(wide(arguments[2]), wide(arguments[3]));
  }
  if (mode == "--log") {
    LogDebug(L"second run");
    return 0;
  }
  if (const auto exitCode = runAsChild(argumentCount, arguments)) {
    return *exitCode;
  }
  testing::InitGoogleTest(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
