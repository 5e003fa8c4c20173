#include "system/directory_walk.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "system/file_status.h"
#include "system/handles.h"
#include "system/long_path.h"

namespace {

// What a failure is called, by the kind of walk and by where it happened.
struct FailureTexts {
  const char* open;
  const char* advance;
};
constexpr FailureTexts kFlatWalk = {"directory_iterator::directory_iterator", "directory_iterator::operator++"};
constexpr FailureTexts kDeepWalk = {"recursive_directory_iterator::recursive_directory_iterator",
                                    "recursive_directory_iterator::operator++"};
// A folder below the walked one: opening it is advancing the walk.
constexpr FailureTexts kDeepWalkBelow = {kDeepWalk.advance, kDeepWalk.advance};
constexpr char kRemoveFailed[] = "remove_all";

[[noreturn]] void raise(const char* text, const std::wstring& path, DWORD error) {
  throw std::filesystem::filesystem_error(text, path, std::error_code(static_cast<int>(error), std::system_category()));
}

bool isNotFound(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

// A bare drive is its current directory, whose entries follow the colon without a backslash.
std::wstring join(const std::wstring& directory, const wchar_t* name) {
  const bool separated = !directory.empty() && std::wstring_view(L"\\/:").find(directory.back()) != std::wstring::npos;
  return separated ? directory + name : directory + L'\\' + name;
}

// Reads one directory, entry by entry, without `.` and `..`.
class DirectoryReader {
 public:
  DirectoryReader(std::wstring directory, const FailureTexts& texts)
      : directory_(std::move(directory)), texts_(&texts) {
    find_.reset(::FindFirstFileExW(toSystemPath(join(directory_, L"*")).c_str(), FindExInfoBasic, &data_,
                                   FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH));
    if (!find_) {
      const DWORD error = ::GetLastError();
      if (error != ERROR_FILE_NOT_FOUND) {  // the root of an empty drive has not even a `.`
        raise(texts_->open, directory_, error);
      }
    }
    pending_ = static_cast<bool>(find_);
  }

  // False at the end.
  bool next(DirectoryEntry* entry) {
    while (find_) {
      if (!pending_ && !::FindNextFileW(find_.get(), &data_)) {
        const DWORD error = ::GetLastError();
        if (error != ERROR_NO_MORE_FILES) {
          raise(texts_->advance, directory_, error);
        }
        return false;
      }
      pending_ = false;
      const std::wstring_view name = data_.cFileName;
      if (name != L"." && name != L"..") {
        entry->path = join(directory_, data_.cFileName);
        entry->attributes = data_.dwFileAttributes;
        return true;
      }
    }
    return false;
  }

 private:
  std::wstring directory_;
  const FailureTexts* texts_;
  FindHandle find_;
  WIN32_FIND_DATAW data_ = {};
  bool pending_ = false;  // data_ holds an entry that next() has not looked at
};

// The attributes of the entry itself, whatever it leads to.
DWORD entryAttributes(const std::wstring& path) {
  return ::GetFileAttributesW(toSystemPath(withoutEnd(path)).c_str());
}

// Throws when the system does not know the directory.
bool hasNoEntries(const std::wstring& directory, LinkInPlace link, const FailureTexts& texts) {
  const DWORD attributes = entryAttributes(directory);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    raise(texts.open, directory, ::GetLastError());
  }
  return link == LinkInPlace::HasNoEntries && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
}

bool removeEntry(const std::wstring& systemPath, DWORD attributes) {
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) ? ::RemoveDirectoryW(systemPath.c_str())
                                                 : ::DeleteFileW(systemPath.c_str());
}

// Removes one entry of a tree, whose read-only attribute is no obstacle. An entry that has gone meanwhile is no
// failure.
void removeTreeEntry(const std::wstring& path, DWORD attributes) {
  const std::wstring systemPath = toSystemPath(path);
  if (removeEntry(systemPath, attributes)) {
    return;
  }
  DWORD error = ::GetLastError();
  if (error == ERROR_ACCESS_DENIED && (attributes & FILE_ATTRIBUTE_READONLY) &&
      ::SetFileAttributesW(systemPath.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY))) {
    if (removeEntry(systemPath, attributes)) {
      return;
    }
    error = ::GetLastError();
  }
  if (!isNotFound(error)) {
    raise(kRemoveFailed, path, error);
  }
}

}  // namespace

void visitEntries(const std::wstring& directory, const EntryVisitor& visit, LinkInPlace link) {
  if (hasNoEntries(directory, link, kFlatWalk)) {
    return;
  }
  DirectoryReader reader(directory, kFlatWalk);
  for (DirectoryEntry entry; reader.next(&entry);) {
    visit(entry);
  }
}

void walkDirectory(const std::wstring& directory, const EntryVisitor& visit, LinkInPlace link,
                   const std::function<void(const std::error_code&)>& passOver) {
  if (hasNoEntries(directory, link, kDeepWalk)) {
    return;
  }
  std::vector<DirectoryReader> way;
  way.emplace_back(directory, kDeepWalk);
  // Runs one step of the way. False when it failed and was passed over.
  const auto step = [&passOver](const auto& action) {
    try {
      action();
      return true;
    } catch (const std::filesystem::filesystem_error& failure) {
      if (!passOver) {
        throw;
      }
      passOver(failure.code());
      return false;
    }
  };
  while (!way.empty()) {
    DirectoryEntry entry;
    bool found = false;
    if (!step([&] { found = way.back().next(&entry); }) || !found) {
      way.pop_back();
      continue;
    }
    visit(entry);
    if (entry.isDirectory() && !entry.isReparsePoint()) {
      step([&] { way.emplace_back(entry.path, kDeepWalkBelow); });
    }
  }
}

bool isExistingDirectory(const std::wstring& path) {
  const DWORD attributes = targetAttributes(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool isLink(const std::wstring& path) {
  const DWORD attributes = entryAttributes(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
}

std::wstring withoutEnd(const std::wstring& path) {
  const std::size_t end = path.find_last_not_of(L"\\/");
  return end == std::wstring::npos || path[end] == L':' ? path : path.substr(0, end + 1);
}

bool removeSingleEntry(const std::wstring& path) {
  const std::wstring systemPath = toSystemPath(path);
  const DWORD attributes = ::GetFileAttributesW(systemPath.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && removeEntry(systemPath, attributes);
}

void removeTree(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(toSystemPath(path).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const DWORD error = ::GetLastError();
    if (!isNotFound(error)) {
      raise(kRemoveFailed, path, error);
    }
    return;
  }
  // Everything is listed before anything goes, so that no directory is open when its turn comes.
  std::vector<DirectoryEntry> entries;
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) {
    try {
      walkDirectory(path, [&entries](const DirectoryEntry& entry) { entries.push_back(entry); });
    } catch (const std::filesystem::filesystem_error& failure) {
      throw std::filesystem::filesystem_error(kRemoveFailed, failure.path1(), failure.code());
    }
  }
  // A directory was listed before what lies in it, so it comes after it from the end.
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    removeTreeEntry(entry->path, entry->attributes);
  }
  removeTreeEntry(path, attributes);
}
