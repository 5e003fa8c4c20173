// main - the program's entry point.

#include <windows.h>

#include "app/cleanup_session.h"
#include "system/log.h"
#include "ui/localised_strings.h"

namespace {

// The refusal of a second interactive instance.
int refuseSecondInstance() {
  ::MessageBoxW(nullptr, userText(kCaptionOtherInstance, L"Another instance is running.").c_str(),
                userText(kCaptionTitle, kDefaultTitle).c_str(), MB_ICONINFORMATION);
  return 0;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE /*previousInstance*/, wchar_t* commandLine, int showCommand) {
  // Libraries that the system loads by name during the run come from the system folder alone: the program is often
  // started from a download folder, with administrator rights.
  ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);

  CleanupSession session(instance, commandLine, showCommand);
  LogDebug(L"Localization XML PATH\t:\t%s", session.workDirectory.c_str());
  session.workDirectory += L'\\';
  languageFilePath = buildLanguagePath(instance, session.workDirectory);
  LogDebug(L"Localization File\t\t:\t%s", languageFilePath.c_str());
  session.parseCommandLine();
  // A silent second instance is not refused: an installer must not fail because a person has the tool open.
  if (session.instanceError == ERROR_ALREADY_EXISTS && !session.silent) {
    return refuseSecondInstance();
  }
  return session.run();
}
