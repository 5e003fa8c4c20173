#include "system/held_file.h"

#include <utility>

#include <sddl.h>

#include "system/file_content.h"
#include "system/long_path.h"

namespace {

// The system and administrators may do everything, users read.
constexpr wchar_t kRights[] = L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;BU)";

constexpr int kAttempts = 200;
constexpr DWORD kPauseMilliseconds = 10;

struct NewFile {
  FileHandle file;
  bool isHeldByAnother = false;  // there is no file, since another process has one of that name open
};

// Never through a link: with something of that name still there, whatever it is, the call fails.
NewFile createNew(const std::wstring& systemPath) {
  PSECURITY_DESCRIPTOR rights = nullptr;
  ::ConvertStringSecurityDescriptorToSecurityDescriptorW(kRights, SDDL_REVISION_1, &rights, nullptr);
  const LocalMemory owner(rights);
  SECURITY_ATTRIBUTES attributes = {sizeof(attributes), rights, FALSE};
  const bool deleted = ::DeleteFileW(systemPath.c_str());
  const DWORD deletion = deleted ? ERROR_SUCCESS : ::GetLastError();
  NewFile created;
  created.file.reset(::CreateFileW(systemPath.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, &attributes,
                                   CREATE_NEW, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  created.isHeldByAnother = !created.file &&
                            (deletion == ERROR_SHARING_VIOLATION || ::GetLastError() == ERROR_FILE_EXISTS) &&
                            deletion != ERROR_ACCESS_DENIED;
  return created;
}

}  // namespace

FileHandle writeHeldFile(const std::wstring& path, std::string_view bytes) {
  const std::wstring systemPath = toSystemPath(path);
  NewFile created = createNew(systemPath);
  for (int attempt = 1; created.isHeldByAnother && attempt < kAttempts; ++attempt) {
    ::Sleep(kPauseMilliseconds);
    created = createNew(systemPath);
  }
  FileHandle writer = std::move(created.file);
  DWORD written = 0;
  if (!writer || !::WriteFile(writer.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
    return FileHandle();
  }
  // Readers that share no writing, as the command interpreter may be one, can open the file only beside a handle that
  // does not write. It is exchanged for one by a third that overlaps with both, so that nobody can remove the file in
  // between, and what anybody may have written in between shows in its bytes.
  FileHandle bridge(::ReOpenFile(writer.get(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, 0));
  writer.reset();
  FileHandle held(bridge ? ::ReOpenFile(bridge.get(), GENERIC_READ, FILE_SHARE_READ, 0) : INVALID_HANDLE_VALUE);
  bridge.reset();
  return held && readWhole(held.get()) == bytes ? std::move(held) : FileHandle();
}

FileHandle holdFolder(const std::wstring& path) {
  const std::wstring systemPath = toSystemPath(path);
  FileHandle held(::CreateFileW(systemPath.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  const DWORD attributes = ::GetFileAttributesW(systemPath.c_str());
  const bool isFolder = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
                        (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
  return held && isFolder ? std::move(held) : FileHandle();
}
