#include "system/update_cache.h"

#include <algorithm>
#include <iterator>

#include <windows.h>

#include "system/file_status.h"
#include "system/handles.h"
#include "system/long_path.h"

namespace {

constexpr wchar_t kCacheFolder[] = L"\\SoftwareDistribution\\Download\\";
// Only a full graphics driver package is larger, so that the slow listing runs for very few files.
constexpr LONGLONG kSmallFileBytes = 250'000'000;
constexpr const char* kDriverNames[] = {"ktlgpukg", "orvgpukg"};

bool isLargeFile(const std::wstring& systemPath) {
  const FileHandle file(::CreateFileW(systemPath.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  LARGE_INTEGER size = {};
  return file && ::GetFileSizeEx(file.get(), &size) && size.QuadPart > kSmallFileBytes;
}

}  // namespace

void FindLargeCachedFiles(const EntryVisitor& visit) {
  wchar_t windows[MAX_PATH] = {};
  ::GetWindowsDirectoryW(windows, MAX_PATH);
  const std::wstring cache = std::wstring(windows) + kCacheFolder;
  if (!fileExists(cache)) {
    return;
  }
  // A cache that was moved to another drive has a link in its place.
  visitEntries(
      cache,
      [&visit](const DirectoryEntry& entry) {
        // A name that `expand` would read as another one is passed over: its listing would be that of another file.
        if (!entry.isDirectory() && isNormalised(entry.path) && isLargeFile(entry.systemPath)) {
          visit(entry);
        }
      },
      LinkInPlace::IsFollowed);
}

bool PlansRemovalOfCachedFile(const std::string& listing) {
  return std::any_of(std::begin(kDriverNames), std::end(kDriverNames),
                     [&listing](const char* name) { return listing.find(name) != std::string::npos; });
}
