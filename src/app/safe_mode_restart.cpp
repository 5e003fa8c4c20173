#include "app/safe_mode_restart.h"

#include <windows.h>

#include <shellapi.h>

#include "applications/support_type_task.h"
#include "system/action_dispatcher.h"
#include "system/held_file.h"
#include "system/log.h"
#include "system/module_path.h"
#include "system/process_launch.h"
#include "system/registry.h"
#include "system/temporary_folder.h"

namespace {

constexpr wchar_t kBatchFile[] = L"safemode.bat";
constexpr wchar_t kRunOnceKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
// Windows documents this limit for a command in RunOnce.
constexpr std::size_t kRunOnceCharacters = 260;
// The asterisk makes Windows run the entry in safe mode too.
constexpr wchar_t kRunOnceValue[] = L"*ORV CLEANUP UTILITY";

std::wstring batchPath() {
  const std::wstring folder = temporaryFolder();
  return folder.empty() ? folder : folder + kBatchFile;
}

constexpr char kBatch[] =
    "@echo off\r\n"
    "bcdedit /set {current} safeboot network\r\n"
    "shutdown -r -f -t 0\r\n";

// This program with the arguments of this run. Quotation marks in the arguments are lost, which the switches do not
// mind.
std::wstring runOnceCommandLine() {
  // The full path, however long: a truncated one would not start anything, and the machine would be left in safe mode.
  std::wstring commandLine = L"\"" + programPath() + L"\"";
  int count = 0;
  wchar_t** arguments = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  const LocalMemory owner(arguments);
  for (int index = 1; arguments && index < count; ++index) {
    commandLine += L' ';
    commandLine += arguments[index];
  }
  return commandLine;
}

// If this fails the machine restarts all the same, but the program is not started again.
void writeRunOnceEntry() {
  const std::wstring commandLine = runOnceCommandLine();
  LogDebug(
      L"-----------Creating Runonce registry to launch cleanup after safe boot-----------Buffer value: "
      L"%s-------------",
      commandLine.c_str());
  if (commandLine.size() > kRunOnceCharacters) {
    // The restart goes on: Windows may well run a longer command, and a truncated one would not start anything.
    LogError(
        L"Runonce command has %d characters, Windows may carry out no more than %d: start the program by hand then",
        static_cast<int>(commandLine.size()), static_cast<int>(kRunOnceCharacters));
  }
  RegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kRunOnceKey, 0, KEY_WRITE, key.put()) == ERROR_SUCCESS) {
    LogDebug(L"-----------Runonce Key opened successfully-------------");
  } else {
    LogDebug(L"-----------Creating Runonce Key -------------");
    if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kRunOnceKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.put(),
                          nullptr) != ERROR_SUCCESS) {
      return;
    }
  }
  const LSTATUS status =
      ::RegSetValueExW(key.get(), kRunOnceValue, 0, REG_SZ, reinterpret_cast<const BYTE*>(commandLine.c_str()),
                       static_cast<DWORD>((commandLine.size() + 1) * sizeof(wchar_t)));
  LogDebug(L"-----------Setting value::Result: %d-------------", status);
}

}  // namespace

void rebootIntoSafeMode(const std::vector<std::wstring>& scheduledTasks) {
  // The maker's tasks would start its programs in safe mode too.
  RunSupportTypeUpdateTask();
  if (!scheduledTasks.empty()) {
    LogDebug(L"-----------Deletions of Scheduled Tasks Started-------------");
    std::vector<std::wstring> failures;  // not reported: the run in safe mode tries again
    ExecuteActions(ActionKind::ScheduledTask, scheduledTasks, failures, false);
    LogDebug(L"-----------Deletions of Scheduled Tasks Ended-------------");
  }
  const std::wstring batch = batchPath();
  // Kept open until it has run, because cmd.exe reads it line by line. If it cannot be written, whatever file is there
  // must not be run: there is no restart then.
  const FileHandle held = batch.empty() ? FileHandle() : writeHeldFile(batch, kBatch);
  writeRunOnceEntry();
  if (!held || !RunInSystemShell(batch)) {
    LogDebug(L"Couldn't set to safemode");
  }
}

void leaveSafeMode() {
  if (!RunInSystemShell(L"bcdedit /deletevalue {current} safeboot")) {
    LogDebug(L"Couldn't delete safemode");
  }
}
