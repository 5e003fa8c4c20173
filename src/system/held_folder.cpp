#include "system/held_folder.h"

#include <string_view>

#include <shlwapi.h>
#include <winternl.h>

#include "system/comparable_path.h"
#include "system/file_status.h"
#include "system/long_path.h"
#include "system/system_links.h"

namespace {

bool isSamePath(std::wstring_view one, std::wstring_view other) {
  while (one.ends_with(L'\\')) {
    one.remove_suffix(1);
  }
  while (other.ends_with(L'\\')) {
    other.remove_suffix(1);
  }
  return ::CompareStringOrdinal(one.data(), static_cast<int>(one.size()), other.data(), static_cast<int>(other.size()),
                                TRUE) == CSTR_EQUAL;
}

// The path with its drive or share replaced by what that refers to: a drive letter may be assigned to a folder on
// another drive, or to a share.
std::wstring withResolvedRoot(const std::wstring& path) {
  const wchar_t* const rest = ::PathSkipRootW(path.c_str());
  if (!rest) {
    return path;
  }
  const auto rootLength = static_cast<std::size_t>(rest - path.c_str());
  const FileHandle root = openTarget(path.substr(0, rootLength));
  std::wstring place = root ? finalPath(root.get()) : std::wstring();
  if (place.empty()) {
    return path;
  }
  if (!place.ends_with(L'\\')) {
    place += L'\\';
  }
  return place + path.substr(rootLength);
}

bool isWhereSpelled(const std::wstring& spelling, const std::wstring& place) {
  if (isSamePath(spelling, place)) {
    return true;
  }
  const std::wstring spelled = throughSystemLinks(longPath(spelling));
  return isSamePath(spelled, place) || isSamePath(withResolvedRoot(spelled), place);
}

bool hasLinkOnTheWay(std::wstring systemPath) {
  for (std::wstring above; (above = folderOf(systemPath)) != systemPath; systemPath = above) {
    const DWORD attributes = ::GetFileAttributesW(systemPath.c_str());
    // An entry that cannot be queried counts as a link.
    if (attributes == INVALID_FILE_ATTRIBUTES || isLinkAt(systemPath, attributes)) {
      return true;
    }
  }
  return false;
}

// Empty when the file system does not answer both queries.
std::optional<OpenEntry> askEntryOn(DWORD volume, HANDLE entry) {
  FILE_ATTRIBUTE_TAG_INFO tag = {};
  FILE_INTERNAL_INFORMATION number = {};
  IO_STATUS_BLOCK status = {};
  if (!::GetFileInformationByHandleEx(entry, FileAttributeTagInfo, &tag, sizeof(tag)) ||
      ::NtQueryInformationFile(entry, &status, &number, sizeof(number), FileInternalInformation) < 0) {
    return std::nullopt;
  }
  return OpenEntry{tag.FileAttributes,
                   isLinkTag(tag.FileAttributes, tag.ReparseTag),
                   {volume, static_cast<std::uint64_t>(number.IndexNumber.QuadPart)}};
}

}  // namespace

bool isLinkTag(DWORD attributes, DWORD reparseTag) {
  return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) && (reparseTag == 0 || IsReparseTagNameSurrogate(reparseTag));
}

bool isLinkHandle(HANDLE entry, DWORD attributes) {
  if (!(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    return false;
  }
  FILE_ATTRIBUTE_TAG_INFO tag = {};
  if (!::GetFileInformationByHandleEx(entry, FileAttributeTagInfo, &tag, sizeof(tag))) {
    tag.ReparseTag = 0;
  }
  return isLinkTag(attributes, tag.ReparseTag);
}

bool isLinkAt(const std::wstring& systemPath, DWORD attributes) {
  if (!(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    return false;
  }
  const FileHandle entry(::CreateFileW(systemPath.c_str(), FILE_READ_ATTRIBUTES,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  return !entry || isLinkHandle(entry.get(), attributes);
}

FileHandle openFolder(const std::wstring& systemPath, bool throughLink, bool* isPinned) {
  const DWORD flags = FILE_FLAG_BACKUP_SEMANTICS | (throughLink ? 0 : FILE_FLAG_OPEN_REPARSE_POINT);
  // Only a handle that may list the directory keeps others from renaming it.
  const auto open = [&](DWORD sharing) {
    return FileHandle(
        ::CreateFileW(systemPath.c_str(), FILE_LIST_DIRECTORY, sharing, nullptr, OPEN_EXISTING, flags, nullptr));
  };
  FileHandle folder = open(FILE_SHARE_READ | FILE_SHARE_WRITE);
  if (isPinned) {
    *isPinned = static_cast<bool>(folder);
  }
  if (!folder && ::GetLastError() == ERROR_SHARING_VIOLATION) {
    folder = open(FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
  }
  return folder;
}

std::optional<OpenEntry> askEntry(HANDLE entry, std::optional<DWORD> volume) {
  if (volume) {
    if (const auto answer = askEntryOn(*volume, entry)) {
      return answer;
    }
  }
  BY_HANDLE_FILE_INFORMATION found = {};
  if (!::GetFileInformationByHandle(entry, &found)) {
    return std::nullopt;
  }
  return OpenEntry{found.dwFileAttributes,
                   isLinkHandle(entry, found.dwFileAttributes),
                   {found.dwVolumeSerialNumber, (std::uint64_t{found.nFileIndexHigh} << 32) | found.nFileIndexLow}};
}

HeldFolder::HeldFolder(const std::wstring& systemPath) {
  if (!open(systemPath, true)) {
    return;
  }
  const std::wstring place = finalPath(handle_.get());
  // On a drive for which the system has no name, each folder on the way is checked for being a link.
  const bool isThere =
      place.empty() ? !hasLinkOnTheWay(systemPath) : isWhereSpelled(withoutExtendedPrefix(systemPath), place);
  settle(isThere ? State::Held : State::Elsewhere);
}

HeldFolder::HeldFolder(const ListedFolder& folder, const HeldFolder* parent) {
  if (!open(folder.systemPath, false)) {
    return;
  }
  if (const auto found = askEntry(handle_.get(), parent ? parent->volumeBelow() : std::nullopt)) {
    volume_ = found->id.volume;
    settle(found->id == folder.id && !found->isLink ? State::Held : State::Exchanged);
  } else {
    settle(State::Unknown, ::GetLastError());
  }
}

// Empty when it is not known.
std::optional<DWORD> HeldFolder::volumeBelow() const {
  return state_ == State::Held && isPinned_ ? volume_ : std::nullopt;
}

// False when nothing can be held; the state then says why.
bool HeldFolder::open(const std::wstring& systemPath, bool throughLink) {
  handle_ = openFolder(systemPath, throughLink, &isPinned_);
  if (!handle_ && (::GetLastError() == ERROR_ACCESS_DENIED || ::GetLastError() == ERROR_SHARING_VIOLATION)) {
    // It cannot be held, but it may still be possible to find out where it is.
    const DWORD flags = FILE_FLAG_BACKUP_SEMANTICS | (throughLink ? 0 : FILE_FLAG_OPEN_REPARSE_POINT);
    handle_.reset(::CreateFileW(systemPath.c_str(), FILE_READ_ATTRIBUTES,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, flags,
                                nullptr));
  }
  if (!handle_) {
    const DWORD error = ::GetLastError();
    settle(saysNotThere(error) ? State::NotThere : State::Unknown, error);
    return false;
  }
  return true;
}

void HeldFolder::settle(State state, DWORD error) {
  state_ = state;
  error_ = error;
  if (state != State::Held) {
    handle_.reset();
  }
}
