#include "applications/store_apps.h"

#include <windows.h>

#include "system/log.h"
#include "system/process_launch.h"

namespace {

constexpr wchar_t kPowerShell[] = L"%SYSTEMROOT%\\System32\\WindowsPowerShell\\v1.0\\powershell.exe ";
constexpr wchar_t kScriptStart[] = L"\"Get-AppxPackage -AllUsers \"";
constexpr wchar_t kScriptEnd[] = L"\" | Remove-AppxPackage -AllUsers\"";

constexpr wchar_t kSupportTypeUpdate[] = L"schtasks /Run /TN \"ORVScoSupportTypeUpdate\"";

// A closing line goes to the log as its format, so a % in the pattern is taken up as a conversion. No argument stands
// behind it: what a conversion would read there is undefined, so each one is taken out beforehand and prints nothing.
// "%%" stays and prints one %.
std::wstring withoutConversions(const std::wstring& format) {
  std::wstring result;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != L'%') {
      result.push_back(format[i]);
    } else if (i + 1 < format.size() && format[i + 1] == L'%') {
      result += L"%%";
      ++i;
    } else {
      // Flags, width, precision and size, up to the letter of the conversion.
      i = format.find_first_not_of(L"-+ #0123456789.*hlLwIjzt", i + 1);
      if (i == std::wstring::npos) {
        break;
      }
    }
  }
  return result;
}

// What matches from its first character on, or is no argument at all, would take every store app off the machine, from
// every user.
bool beginsWithoutAName(const std::wstring& pattern) {
  return pattern.find_first_not_of(L"*?[ \t\"") != 0;
}

}  // namespace

void RemoveStoreApp(const std::wstring& packagePattern) {
  if (beginsWithoutAName(packagePattern)) {
    LogError(L"RemoveStoreApp - Pattern[%s] begins without a name, not carried out", packagePattern.c_str());
    return;
  }
  LogDebug(L"Attempting to uninstall ORV UWP Application");
  // The command interpreter expands %SYSTEMROOT%.
  RunCommand(kPowerShell + (kScriptStart + packagePattern) + kScriptEnd, L"C:\\", true);
  LogDebug(withoutConversions(L"Finished uninstalling ORV UWP Application: " + packagePattern).c_str());
}

void RunSupportTypeUpdateTask() {
  // Nothing expands the working directory; the task is only asked for, and what becomes of it does not matter.
  const DWORD code = RunCommand(kSupportTypeUpdate, L"%SYSTEMROOT%\\System32", false);
  // A process that still runs has the code STILL_ACTIVE, and a failed start that of its error: both count as able.
  LogDebug(code != 0 ? L"Able to run ORVScoSupportTypeUpdate  : %s " : L"Not able to run ORVScoSupportTypeUpdate : %s ",
           kSupportTypeUpdate);
}
