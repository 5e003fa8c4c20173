#include "system/directory_walk.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "system/file_status.h"
#include "system/handles.h"
#include "system/long_path.h"

namespace {

// The text of a failure, by the kind of walk and the place where it happened.
struct FailureTexts {
  const char* open;
  const char* advance;
};
constexpr FailureTexts kFlatWalk = {"directory_iterator::directory_iterator", "directory_iterator::operator++"};
constexpr FailureTexts kDeepWalk = {"recursive_directory_iterator::recursive_directory_iterator",
                                    "recursive_directory_iterator::operator++"};
// For a folder below the walked one: opening it is part of advancing the walk.
constexpr FailureTexts kDeepWalkBelow = {kDeepWalk.advance, kDeepWalk.advance};

constexpr DWORD kBufferBytes = 32 * 1024;

[[noreturn]] void raise(const char* text, const std::wstring& path, DWORD error) {
  throw std::filesystem::filesystem_error(text, path, std::error_code(static_cast<int>(error), std::system_category()));
}

// "C:" alone is the current directory of the drive, whose entries follow the colon without a backslash.
std::wstring join(const std::wstring& directory, std::wstring_view name) {
  const bool separated = !directory.empty() && std::wstring_view(L"\\/:").find(directory.back()) != std::wstring::npos;
  return std::wstring(directory).append(separated ? L"" : L"\\").append(name);
}

// In extended paths only the root of a drive ends in a backslash.
std::wstring joinSystemPath(const std::wstring& directory, std::wstring_view name) {
  return std::wstring(directory).append(directory.ends_with(L'\\') ? L"" : L"\\").append(name);
}

// These values mean that the file system has no number for the entry.
bool isNoNumber(std::uint64_t number) {
  return number == 0 || number == static_cast<std::uint64_t>(-1);
}

// Reads one directory, entry by entry, without `.` and `..`. It is kept open and read through its handle, so that the
// entries are its own even if its path leads elsewhere meanwhile.
class DirectoryReader {
 public:
  // `listed` is what the folder above, which is held, has told of the directory: its own volume, and the number of the
  // entry. Throws when the directory cannot be opened.
  DirectoryReader(WalkedPath directory, LinkInPlace link, const FailureTexts& texts,
                  std::optional<DirectoryId> listed = std::nullopt)
      : directory_(std::move(directory)), texts_(&texts) {
    if (listed && isNoNumber(listed->number)) {
      listed.reset();
    }
    handle_ = openFolder(directory_.systemPath, link == LinkInPlace::IsFollowed);
    if (!handle_) {
      raise(texts_->open, directory_.path, ::GetLastError());
    }
    // What its own entry tells makes a question about the handle needless. Only a link, which is not followed, leads to
    // another volume; and a directory that was made into a link since it was listed has no other entries.
    const bool filled = fill();
    const DWORD error = filled ? ERROR_SUCCESS : ::GetLastError();
    if (listed && filled && ownNumber() == listed->number) {
      folder_ = {directory_.systemPath, *listed};
    } else if (!askWhatItIs(listed)) {
      handle_.reset();
    } else if (!filled && error != ERROR_NO_MORE_FILES && error != ERROR_FILE_NOT_FOUND) {
      raise(texts_->open, directory_.path, error);  // the root of an empty drive has not even a `.`
    }
  }

  // False when the directory is a link or another one than was listed: it has no entries then.
  bool isOpen() const { return static_cast<bool>(handle_); }
  const std::wstring& path() const { return directory_.path; }
  const ListedFolder& folder() const { return folder_; }

  // False at the end.
  bool next(DirectoryEntry* entry) {
    while (handle_) {
      if (!next_ && !fill()) {
        const DWORD error = ::GetLastError();
        if (error != ERROR_NO_MORE_FILES && error != ERROR_FILE_NOT_FOUND) {
          raise(texts_->advance, directory_.path, error);
        }
        return false;
      }
      const FILE_ID_BOTH_DIR_INFO& found = *next_;
      next_ = found.NextEntryOffset == 0 ? nullptr
                                         : reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(
                                               reinterpret_cast<const std::byte*>(next_) + found.NextEntryOffset);
      const wchar_t* const text =
          numbered_ ? found.FileName : reinterpret_cast<const FILE_FULL_DIR_INFO&>(found).FileName;
      const std::wstring_view name(text, found.FileNameLength / sizeof(wchar_t));
      if (name != L"." && name != L"..") {
        entry->path = join(directory_.path, name);
        entry->systemPath = joinSystemPath(directory_.systemPath, name);
        entry->attributes = found.FileAttributes;
        // EaSize holds the tag of a reparse point, which has no extended attributes.
        entry->reparseTag = (found.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) ? found.EaSize : 0;
        entry->fileNumber = numbered_ ? static_cast<std::uint64_t>(found.FileId.QuadPart) : 0;
        return true;
      }
    }
    return false;
  }

 private:
  // The number that the directory has in its entry `.`, which comes first. Empty where that is not so.
  std::optional<std::uint64_t> ownNumber() const {
    const bool isItself = numbered_ && next_->FileNameLength == sizeof(wchar_t) && next_->FileName[0] == L'.';
    return isItself ? std::optional(static_cast<std::uint64_t>(next_->FileId.QuadPart)) : std::nullopt;
  }

  // False when it is not to be read: a link, or not what was listed.
  bool askWhatItIs(const std::optional<DirectoryId>& listed) {
    const auto found = askEntry(handle_.get(), listed ? std::optional(listed->volume) : std::nullopt);
    if (!found) {
      raise(texts_->open, directory_.path, ::GetLastError());
    }
    if (!(found->attributes & FILE_ATTRIBUTE_DIRECTORY)) {
      raise(texts_->open, directory_.path, ERROR_DIRECTORY);
    }
    folder_ = {directory_.systemPath, found->id};
    return !found->isLink && (!listed || found->id == *listed);
  }

  // False at the end, and when the directory cannot be read, with the reason in GetLastError.
  bool fill() {
    bool filled = read(numbered_ ? FileIdBothDirectoryInfo : FileFullDirectoryInfo);
    if (!filled && numbered_ && ::GetLastError() == ERROR_INVALID_PARAMETER) {
      numbered_ = false;  // not every file system has numbers
      filled = read(FileFullDirectoryInfo);
    }
    next_ = filled ? reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(buffer_.get()) : nullptr;
    return filled;
  }

  bool read(FILE_INFO_BY_HANDLE_CLASS kind) {
    return ::GetFileInformationByHandleEx(handle_.get(), kind, buffer_.get(), kBufferBytes);
  }

  WalkedPath directory_;
  const FailureTexts* texts_;
  FileHandle handle_;
  ListedFolder folder_;
  std::unique_ptr<std::uint64_t[]> buffer_ =
      std::make_unique_for_overwrite<std::uint64_t[]>(kBufferBytes / sizeof(std::uint64_t));
  bool numbered_ = true;  // else the entries are FILE_FULL_DIR_INFO, which begins like the other and has no numbers
  const FILE_ID_BOTH_DIR_INFO* next_ = nullptr;  // in the buffer; null when that has been read to its end
};

DWORD attributesOf(const std::wstring& systemPath) {
  return ::GetFileAttributesW(systemPath.c_str());
}

// Holds the folder that contains the directory, so that the path to it cannot change. The root of a drive is in none.
HeldFolder holdParent(const WalkedPath& directory) {
  return HeldFolder(folderOf(directory.systemPath));
}

// Throws when the system does not know the directory. `parent` is held unless links are followed.
bool hasNoEntries(const WalkedPath& directory, LinkInPlace link, const FailureTexts& texts, HeldFolder& parent) {
  const DWORD attributes = attributesOf(directory.systemPath);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    raise(texts.open, directory.path, ::GetLastError());
  }
  if (link == LinkInPlace::IsFollowed) {
    return false;
  }
  parent = holdParent(directory);
  return parent.state() != HeldFolder::State::Held || isLinkAt(directory.systemPath, attributes);
}

}  // namespace

WalkedPath::WalkedPath(const std::wstring& written) : path(written), systemPath(toExtendedPath(written)) {}

void visitEntries(const WalkedPath& directory, const EntryVisitor& visit, LinkInPlace link) {
  HeldFolder parent;
  if (hasNoEntries(directory, link, kFlatWalk, parent)) {
    return;
  }
  DirectoryReader reader(directory, link, kFlatWalk);
  for (DirectoryEntry entry; reader.next(&entry);) {
    visit(entry);
  }
}

void walkDirectory(const WalkedPath& directory, const EntryVisitor& visit, LinkInPlace link,
                   const std::function<void(const std::error_code&)>& passOver, const FolderVisitor& begin) {
  HeldFolder parent;
  if (hasNoEntries(directory, link, kDeepWalk, parent)) {
    return;
  }
  std::vector<DirectoryReader> way;
  std::size_t begun = 0;  // of the directories on the way; at most the last has not
  const auto enter = [&way](DirectoryReader reader) {
    if (reader.isOpen()) {
      way.push_back(std::move(reader));
    }
  };
  enter(DirectoryReader(directory, link, kDeepWalk));
  // Runs one step of the way. False when it failed and was passed over.
  const auto step = [&passOver](const auto& action) {
    try {
      action();
      return true;
    } catch (const std::filesystem::filesystem_error& failure) {
      if (passOver) {
        passOver(failure.code());
      } else if (!isNotFound(static_cast<DWORD>(failure.code().value()))) {
        throw;
      }
      return false;
    }
  };
  while (!way.empty()) {
    DirectoryEntry entry;
    bool found = false;
    if (!step([&] { found = way.back().next(&entry); }) || !found) {
      way.pop_back();
      begun = std::min(begun, way.size());
      continue;
    }
    if (begin && begun < way.size()) {
      begin(way.back().path(), way.back().folder());
      begun = way.size();
    }
    visit(entry);
    if (entry.isDirectory() && !entry.isLink()) {
      const DirectoryId listed = {way.back().folder().id.volume, entry.fileNumber};
      step([&] { enter(DirectoryReader(entry, LinkInPlace::HasNoEntries, kDeepWalkBelow, listed)); });
    }
  }
}

bool isExistingDirectory(const std::wstring& path) {
  const DWORD attributes = targetAttributes(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool isLink(const std::wstring& path) {
  const std::wstring systemPath = toSystemPath(withoutEnd(path));
  const DWORD attributes = attributesOf(systemPath);
  return attributes != INVALID_FILE_ATTRIBUTES && isLinkAt(systemPath, attributes);
}
