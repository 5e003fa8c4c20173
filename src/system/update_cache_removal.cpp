#include "system/update_cache_removal.h"

#include <string>

#include <windows.h>

#include "system/log.h"
#include "system/process_launch.h"
#include "system/update_cache.h"

void DeleteCachedWindowsUpdateDrivers() {
  // File by file: when the reading of the cache breaks off, the drivers that were found before are gone already.
  FindLargeCachedFiles([](const DirectoryEntry& entry) {
    // What `expand` cannot list prints no driver's name.
    if (PlansRemovalOfCachedFile(RunCommandCaptureOutput(L"expand " + entry.path + L" -d"))) {
      LogDebug(L"Found an ORV driver in the Windows Update Cache: %s", entry.path.c_str());
      ::DeleteFileW(entry.systemPath.c_str());
    }
  });
}
