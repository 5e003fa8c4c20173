#include "applications/store_app_plan.h"

namespace {

constexpr wchar_t kPowerShell[] = L"%SYSTEMROOT%\\System32\\WindowsPowerShell\\v1.0\\powershell.exe ";
constexpr wchar_t kScriptStart[] = L"\"Get-AppxPackage -AllUsers \"";
constexpr wchar_t kScriptEnd[] = L"\" | Remove-AppxPackage -AllUsers\"";

// A pattern that begins with a wildcard, or that PowerShell does not see as an argument, would remove every store app
// of every user.
bool beginsWithoutAName(const std::wstring& pattern) {
  return pattern.find_first_not_of(L"*?[ \t\"") != 0;
}

// Formats the closing line as if it were a printf format without arguments: "%%" becomes one %, and the conversions in
// the pattern disappear. Really formatting it would be undefined behaviour.
std::wstring formatWithoutArguments(const std::wstring& format) {
  std::wstring result;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != L'%') {
      result.push_back(format[i]);
    } else if (i + 1 < format.size() && format[i + 1] == L'%') {
      result.push_back(L'%');
      ++i;
    } else {
      // Skips flags, width, precision and size up to the conversion letter.
      i = format.find_first_not_of(L"-+ #0123456789.*hlLwIjzt", i + 1);
      if (i == std::wstring::npos) {
        break;
      }
    }
  }
  return result;
}

}  // namespace

PlannedStoreApp PlanStoreAppRemoval(const std::wstring& packagePattern) {
  return {.isRefused = beginsWithoutAName(packagePattern),
          .commandLine = kPowerShell + (kScriptStart + packagePattern) + kScriptEnd,
          .closingLine = formatWithoutArguments(L"Finished uninstalling ORV UWP Application: " + packagePattern)};
}
