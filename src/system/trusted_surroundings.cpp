#include "system/trusted_surroundings.h"

#include <windows.h>

namespace {

std::wstring systemFolder() {
  wchar_t folder[MAX_PATH] = {};
  ::GetSystemDirectoryW(folder, MAX_PATH);
  return folder;
}

std::wstring windowsFolder() {
  wchar_t folder[MAX_PATH] = {};
  ::GetSystemWindowsDirectoryW(folder, MAX_PATH);
  return folder;
}

}  // namespace

void trustTheSystemFolderAlone() {
  ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  const std::wstring system = systemFolder();
  const std::wstring windows = windowsFolder();
  ::SetCurrentDirectoryW(system.c_str());

  // The variables by which the command interpreter searches. Any program of the user may have changed them. PATH gets
  // the folders that Windows itself puts there.
  const struct {
    const wchar_t* name;
    std::wstring value;
  } variables[] = {
      {L"SystemRoot", windows},
      {L"windir", windows},
      {L"ComSpec", systemProgram(L"cmd.exe")},
      {L"Path", system + L';' + windows + L';' + system + L"\\Wbem;" + system + L"\\WindowsPowerShell\\v1.0"},
      {L"PATHEXT", L".COM;.EXE;.BAT;.CMD"},
      {L"NoDefaultCurrentDirectoryInExePath", L"1"},
  };
  for (const auto& variable : variables) {
    ::SetEnvironmentVariableW(variable.name, variable.value.c_str());
  }
}

std::wstring systemProgram(const std::wstring& fileName) {
  return systemFolder() + L'\\' + fileName;
}
