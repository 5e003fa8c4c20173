#include "system/binary_resource.h"

#include <string_view>
#include <utility>

#include "system/held_file.h"

namespace {

constexpr wchar_t kResourceType[] = L"BINARY";

}  // namespace

bool extractBinaryResource(HMODULE module, int resourceId, const std::wstring& path, FileHandle* held) {
  const HRSRC resource = ::FindResourceW(module, MAKEINTRESOURCEW(resourceId), kResourceType);
  const HGLOBAL loaded = resource ? ::LoadResource(module, resource) : nullptr;
  const void* bytes = loaded ? ::LockResource(loaded) : nullptr;
  const DWORD size = bytes ? ::SizeofResource(module, resource) : 0;

  // Failures are not reported: whoever wants the file finds none in `held`.
  const FileHandle folder = holdFolder(path.substr(0, path.find_last_not_of(L'\\', path.rfind(L'\\')) + 1));
  FileHandle file;
  if (folder) {
    file = writeHeldFile(path, std::string_view(static_cast<const char*>(bytes), size));
  }
  if (held) {
    *held = std::move(file);
  }
  return false;
}
