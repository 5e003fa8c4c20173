// sfc - tells which files of the test machine are Windows' own. The answer is in the registry, in HKLM\SOFTWARE\Bench
// Protected Files: Files, their full paths, compared without case; Error, a number, with which every query fails
// instead; Asked, the paths that were queried. Without the key nothing is protected and nothing is recorded.

#include <algorithm>
#include <string>
#include <vector>

#include <windows.h>

#include "device_registry.h"
#include "not_covered.h"

using namespace bench;

namespace {

const std::wstring kFilesKey = L"SOFTWARE\\Bench Protected Files";

}  // namespace

extern "C" BOOL WINAPI SfcIsFileProtected(HANDLE server, const wchar_t* file) {
  if (server || !file) {
    notCovered("a server of SfcIsFileProtected, or no file");
  }
  DWORD error = ERROR_FILE_NOT_FOUND;  // Windows' answer for a file that is not its own
  bool isProtected = false;
  if (keyExists(kFilesKey)) {
    std::vector<std::wstring> asked = readTexts(kFilesKey, L"Asked");
    asked.emplace_back(file);
    writeTexts(kFilesKey, L"Asked", asked);
    const std::vector<std::wstring> files = readTexts(kFilesKey, L"Files");
    error = readNumber(kFilesKey, L"Error", error);
    isProtected = error == ERROR_FILE_NOT_FOUND &&
                  std::any_of(files.begin(), files.end(),
                              [file](const std::wstring& candidate) { return equalsNoCase(candidate, file); });
  }
  ::SetLastError(isProtected ? ERROR_SUCCESS : error);
  return isProtected;
}
