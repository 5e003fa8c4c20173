#include "system/module_path.h"

#include <windows.h>

namespace {

// The longest path that Windows supports, with its terminator.
constexpr DWORD kLongestPath = 32768;

}  // namespace

std::wstring programPath() {
  std::wstring path(kLongestPath, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), kLongestPath));
  return path;
}
