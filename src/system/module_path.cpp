#include "system/module_path.h"

#include <windows.h>

namespace {

// No path of Windows is longer, its end included.
constexpr DWORD kLongestPath = 32768;

}  // namespace

std::wstring programPath() {
  std::wstring path(kLongestPath, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), kLongestPath));
  return path;
}
