// update_cache_removal - deletes the driver packages of the maker from the download cache of Windows Update. Which
// files these are is decided in update_cache.
#pragma once

// Lists each large file of the cache with the system's `expand` and deletes those with a display driver of the maker. A
// file that cannot be deleted stays without a word. Throws what FindLargeCachedFiles throws. DeleteFileW.
void DeleteCachedWindowsUpdateDrivers();
