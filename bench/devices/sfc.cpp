// sfc - the bench machine's word on which files are Windows' own. It is kept in the registry, below
// HKLM\SOFTWARE\Bench Protected Files: Files, their full paths, compared as they are spelled but for case; Error, a
// number, with which every question fails instead; Asked, what has been asked about. Where the key is missing nothing
// is protected and nothing is noted.

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
  DWORD error = ERROR_FILE_NOT_FOUND;  // what Windows says of a file that is not its own
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
