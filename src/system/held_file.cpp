#include "system/held_file.h"

#include <utility>

#include <sddl.h>

#include "system/file_content.h"
#include "system/long_path.h"

namespace {

// Full access for the system and administrators, read access for users.
constexpr wchar_t kRights[] = L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;BU)";

constexpr int kAttempts = 200;
constexpr DWORD kPauseMilliseconds = 10;

struct NewFile {
  FileHandle file;
  bool isHeldByAnother = false;  // there is no file, since another process has one of that name open
};

// CREATE_NEW never goes through a link: it fails as long as anything has that name.
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
  // A reader that does not share writing, such as the command interpreter, cannot open the file while a handle for
  // writing is open. So the handle is exchanged for one that only reads. A third one bridges the gap, so that nobody
  // can remove the file meanwhile, and comparing the bytes shows whether somebody has written to it.
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
