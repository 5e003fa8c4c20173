#include "system/action_dispatcher.h"

#include <algorithm>
#include <array>
#include <utility>

#include <windows.h>

#include "system/depth_order.h"
#include "system/file_operations.h"
#include "system/handles.h"
#include "system/log.h"
#include "system/process_launch.h"
#include "system/registry.h"
#include "system/row_folders.h"
#include "system/services.h"
#include "system/shortcut_removal.h"
#include "system/tree_removal.h"
#include "system/trusted_surroundings.h"
#include "system/windows_files.h"

namespace {

enum class Outcome {
  Done,
  DoneAtSecondTry,  // makes the result of the whole list true again
  Failed,
};

Outcome outcomeOf(bool succeeded) {
  return succeeded ? Outcome::Done : Outcome::Failed;
}

// The system's tools take * and ? in a name for wildcards: one bad row would end every process or delete every task.
bool isPattern(const std::wstring& name) {
  return name.find_first_of(L"*?") != std::wstring::npos;
}

Outcome refusePattern(const std::wstring& item) {
  LogError(L"ExecuteActions - Item[%s] is a pattern and no name, not carried out", item.c_str());
  return Outcome::Failed;
}

void logKept(const std::wstring& item, const WindowsVerdict& verdict) {
  if (verdict.answer == WindowsVerdict::Answer::Protected) {
    LogError(L"ExecuteActions - File[%s] is protected by Windows and is not deleted", item.c_str());
  } else {
    LogError(
        L"ExecuteActions - File[%s] may be protected by Windows, which does not say, and is not deleted, Error "
        L"Code[%d]",
        item.c_str(), verdict.error);
  }
}

// Rows may come in turn from several folders, as the order by depth has it.
constexpr std::size_t kMostFolders = 64;

// Keeps the key of the last deleted value open: the values of a key are together in a list, and opening the key costs
// more than deleting a value.
class ValueKey {
 public:
  bool deleteValue(HKEY root, const std::wstring& subkey, const std::wstring& valueName) {
    if (key_ && root == root_ && subkey == subkey_) {
      const LSTATUS status = ::RegDeleteKeyValueW(key_.get(), nullptr, valueName.c_str());
      if (status != ERROR_KEY_DELETED) {
        return status == ERROR_SUCCESS;
      }
      // Somebody has deleted the key meanwhile, and may have created it again.
    }
    root_ = root;
    subkey_ = subkey;
    return ::RegOpenKeyExW(root, subkey.c_str(), 0, KEY_SET_VALUE, key_.put()) == ERROR_SUCCESS &&
           ::RegDeleteKeyValueW(key_.get(), nullptr, valueName.c_str()) == ERROR_SUCCESS;
  }

 private:
  HKEY root_ = nullptr;
  std::wstring subkey_;
  RegistryKey key_;
};

// The state of one list while it is carried out.
struct Execution {
  bool factoryResetMode = false;
  RowFolders folders = RowFolders(kMostFolders);
  std::size_t depth = 0;  // of the last row
  ValueKey valueKey;
  ServiceManager serviceManager;
};

Outcome deleteScheduledTask(const std::wstring& item, Execution&) {
  LogDebug(L"%s", item.c_str());
  if (isPattern(item)) {
    return refusePattern(item);
  }
  std::wstring command = L"schtasks /delete /TN \"" + item + L"\" /F";
  // The launcher does not wait and reads this variable for the result. As the command is still running then, a deletion
  // that could be started counts as done; the exit code of schtasks is ignored.
  const DWORD exitCode = STILL_ACTIVE;
  if (LaunchExeByCreateProcess(command.data(), false, &exitCode) == 0) {
    LogDebug(L"Deleting Scheduled Task\t:\t%s\tSUCCESSFULL...", item.c_str());
    return Outcome::Done;
  }
  LogDebug(L"Deleting Scheduled Task\t:\t%s\tFAILED!!! Error : %d", item.c_str(), exitCode);
  return Outcome::Failed;
}

Outcome stopService(const std::wstring& item, Execution& execution) {
  LogDebug(L"Stopping Service\t:\t%s", item.c_str());
  return outcomeOf(StopService(item, execution.serviceManager));
}

Outcome killProcess(const std::wstring& item, Execution&) {
  LogDebug(L"Killing Process\t:\t%s", item.c_str());
  return isPattern(item) ? refusePattern(item) : outcomeOf(KillProcess(item));
}

Outcome deleteFile(const std::wstring& item, Execution& execution) {
  LogDebug(L"%s", item.c_str());
  switch (execution.folders.hold(item)) {
    case RowFolders::Answer::Held:
      return outcomeOf(FileOperation::Delete(item, !execution.factoryResetMode));
    case RowFolders::Answer::NotThere:
      return Outcome::Done;
    default:
      return Outcome::Failed;
  }
}

Outcome deleteRegistryKey(const std::wstring& item, Execution&) {
  LogDebug(L"%s", item.c_str());
  const auto [rootName, subkey] = splitRegistryPath(item);
  return outcomeOf(::RegDeleteKeyW(ParseRootKey(rootName), subkey.c_str()) == ERROR_SUCCESS);
}

Outcome deleteRegistryValue(const std::wstring& item, Execution& execution) {
  LogDebug(L"%s", item.c_str());
  const auto [rootName, rest] = splitRegistryPath(item);
  const std::size_t backslash = rest.rfind(L'\\');
  const bool split = backslash != std::wstring::npos;
  const std::wstring subkey = split ? rest.substr(0, backslash) : rest;
  const std::wstring valueName = split ? rest.substr(backslash + 1) : rest;
  return outcomeOf(execution.valueKey.deleteValue(ParseRootKey(rootName), subkey, valueName));
}

// A folder that is held cannot be removed. Rows of one depth do not lie in each other, but for a row that is spelled
// with doubled backslashes, which has another depth than its place.
bool removeDirectory(const std::wstring& item, const std::wstring& systemPath, RowFolders& folders) {
  if (removeSingleEntry(systemPath)) {
    return true;
  }
  if (::GetLastError() != ERROR_SHARING_VIOLATION) {
    return false;
  }
  folders.release();
  return folders.hold(item) != RowFolders::Answer::Refused && removeSingleEntry(systemPath);
}

Outcome deleteDirectory(const std::wstring& item, Execution& execution) {
  LogDebug(L"%s", item.c_str());
  if (const std::size_t depth = CountBackslashes(item); execution.depth != depth) {
    execution.folders.release();
    execution.depth = depth;
  }
  if (execution.folders.hold(item) == RowFolders::Answer::Refused) {
    return Outcome::Failed;
  }
  const std::wstring systemPath = systemPathOf(item);
  if (removeDirectory(item, systemPath, execution.folders)) {
    return Outcome::Done;
  }
  const DWORD attributes = ::GetFileAttributesW(systemPath.c_str());
  if (::SetFileAttributesW(systemPath.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)) &&
      removeSingleEntry(systemPath)) {
    return Outcome::DoneAtSecondTry;
  }
  // A directory that is marked for the next restart does not ask for one: fileRebootPending is left alone.
  return ::MoveFileExW(systemPath.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT) ? Outcome::DoneAtSecondTry
                                                                                 : Outcome::Failed;
}

Outcome deleteShortcut(const std::wstring& item, Execution&) {
  LogDebug(L"%s", item.c_str());
  return outcomeOf(DeleteShortcut(item));
}

struct Operation {
  ActionKind kind = {};
  Outcome (*run)(const std::wstring& item, Execution& execution) = nullptr;
  bool takesFiles = false;
};

constexpr std::array<Operation, 9> kOperations = {{
    {ActionKind::ScheduledTask, deleteScheduledTask},
    {ActionKind::ServiceStop, stopService},
    {ActionKind::ProcessKill, killProcess},
    {ActionKind::FileDelete, deleteFile, true},
    {ActionKind::RegistryKeyDelete, deleteRegistryKey},
    {ActionKind::RegistryKeyEmptyDelete, deleteRegistryKey},
    {ActionKind::RegistryValueDelete, deleteRegistryValue},
    {ActionKind::DirectoryDelete, deleteDirectory, true},  // a file in the place of one
    {ActionKind::ShortcutDelete, deleteShortcut},
}};

}  // namespace

bool ExecuteActions(ActionKind kind, const std::vector<std::wstring>& items, std::vector<std::wstring>& failures,
                    bool factoryResetMode, AskWindows about) {
  const auto operation = std::find_if(kOperations.begin(), kOperations.end(),
                                      [kind](const Operation& candidate) { return candidate.kind == kind; });
  if (operation == kOperations.end()) {
    return true;
  }
  WindowsFiles windowsFiles(about);
  bool result = true;
  Execution execution;
  execution.factoryResetMode = factoryResetMode;
  for (const std::wstring& item : items) {
    const WindowsVerdict verdict = operation->takesFiles ? windowsFiles.ask(item) : WindowsVerdict();
    const bool isKept = verdict.answer != WindowsVerdict::Answer::MayGo;
    if (isKept) {
      logKept(item, verdict);
    }
    switch (isKept ? Outcome::Failed : operation->run(item, execution)) {
      case Outcome::Done:
        break;
      case Outcome::DoneAtSecondTry:
        result = true;
        break;
      case Outcome::Failed:
        result = false;
        failures.push_back(item);
        break;
    }
  }
  return result;
}

bool KillProcess(const std::wstring& imageName) {
  RunShellExecuteOnThread(systemProgram(L"taskkill.exe"), L" /IM \"" + imageName + L"\" /F");
  return true;
}
