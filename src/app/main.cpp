// main - the program's entry point.

#include <windows.h>

#include "app/cleanup_session.h"
#include "system/log.h"
#include "system/trusted_surroundings.h"
#include "ui/localised_strings.h"

namespace {

// Tells the user that the tool is running already. Returns the exit code.
int refuseSecondInstance() {
  ::MessageBoxW(nullptr, userText(kCaptionOtherInstance, L"Another instance is running.").c_str(),
                userText(kCaptionTitle, kDefaultTitle).c_str(), MB_ICONINFORMATION);
  return 0;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE /*previousInstance*/, wchar_t* commandLine, int showCommand) {
  // The program is often started from a download folder with administrator rights, and must not load anything from
  // there.
  trustTheSystemFolderAlone();

  CleanupSession session(instance, commandLine, showCommand);
  LogDebug(L"Localization XML PATH\t:\t%s", session.workDirectory.c_str());
  session.workDirectory += L'\\';
  languageFilePath = buildLanguagePath(instance, session.workDirectory);
  LogDebug(L"Localization File\t\t:\t%s", languageFilePath.c_str());
  session.parseCommandLine();
  // A second silent instance may run: an installer must not fail because somebody has the tool open.
  if (session.instanceError == ERROR_ALREADY_EXISTS && !session.switches.silent) {
    return refuseSecondInstance();
  }
  return session.run();
}
