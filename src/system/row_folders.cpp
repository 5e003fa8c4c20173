#include "system/row_folders.h"

#include <string_view>
#include <utility>

#include <windows.h>

#include "system/log.h"
#include "system/long_path.h"

namespace {

std::unordered_map<std::wstring, ListedFolder> listedFolders;  // by their plain spelling
std::unordered_map<std::wstring, std::wstring> listedEntries;  // system paths by rows

std::wstring_view nameOf(const std::wstring& row) {
  return std::wstring_view(row).substr(row.find_last_of(L'\\') + 1);
}

// No directory contains such a name, so somebody has written it.
bool isWritten(std::wstring_view name) {
  return name.empty() || name == L"." || name == L".." || name.find_first_of(L"/:") != std::wstring_view::npos;
}

// The listed directory that the row lies in; null for a row that somebody wrote.
const ListedFolder* listedFolderOf(const std::wstring& row) {
  const std::size_t backslash = row.find_last_of(L'\\');
  if (backslash == std::wstring::npos || isWritten(nameOf(row))) {
    return nullptr;
  }
  const auto folder = listedFolders.find(row.substr(0, backslash));
  return folder == listedFolders.end() ? nullptr : &folder->second;
}

// The system path of what the row names in its folder.
std::wstring entryOf(const ListedFolder& folder, const std::wstring& row) {
  const std::wstring& path = folder.systemPath;
  return std::wstring(path).append(path.ends_with(L'\\') ? L"" : L"\\").append(nameOf(row));
}

// The line for a row that is not carried out.
void logRefusal(const std::wstring& row, const HeldFolder& folder) {
  switch (folder.state()) {
    case HeldFolder::State::Elsewhere:
      LogError(L"Row[%s] leads to another place through a link and is not carried out", row.c_str());
      break;
    case HeldFolder::State::Exchanged:
      LogError(L"Row[%s] lies in a folder that was exchanged since it was listed and is not carried out", row.c_str());
      break;
    default:
      LogError(L"Row[%s] lies in a folder whose place is not known, Error Code[%d], and is not carried out",
               row.c_str(), folder.error());
      break;
  }
}

}  // namespace

void rememberListedFolder(const std::wstring& path, const ListedFolder& folder) {
  const std::size_t end = path.find_last_not_of(L'\\');
  listedFolders.insert_or_assign(path.substr(0, end + 1), folder);
}

void rememberListedEntry(const std::wstring& row, const std::wstring& systemPath) {
  listedEntries.insert_or_assign(row, systemPath);
}

std::wstring listedParentOf(const std::wstring& directory) {
  const auto listed = listedFolders.find(directory);
  const ListedFolder* const parent = listedFolderOf(directory);
  return listed != listedFolders.end() && parent && listed->second.systemPath == entryOf(*parent, directory)
             ? directory.substr(0, directory.find_last_of(L'\\'))
             : std::wstring();
}

std::wstring systemPathOf(const std::wstring& row) {
  if (const auto entry = listedEntries.find(row); entry != listedEntries.end()) {
    return entry->second;
  }
  if (const ListedFolder* folder = listedFolderOf(row)) {
    return entryOf(*folder, row);
  }
  return toSystemPath(row);
}

RowFolders::Answer RowFolders::hold(const std::wstring& row) {
  const ListedFolder* const listed = listedFolderOf(row);
  const std::wstring path = listed ? listed->systemPath : folderOf(toExtendedPath(row));
  if (path == lastPath_ || held_.contains(path)) {
    return Answer::Held;
  }
  HeldFolder folder = listed ? holdListed(row, *listed) : HeldFolder(path);
  switch (folder.state()) {
    case HeldFolder::State::Held:
      break;
    case HeldFolder::State::NotThere:
      return Answer::NotThere;
    default:
      logRefusal(row, folder);
      return Answer::Refused;
  }
  if (held_.size() == most_) {
    held_.clear();
  }
  held_.emplace(path, std::move(folder));
  lastPath_ = path;
  return Answer::Held;
}

void RowFolders::release() {
  held_.clear();
  lastPath_.clear();
  parentPath_.clear();
  parent_ = HeldFolder();
}

HeldFolder RowFolders::holdListed(const std::wstring& row, const ListedFolder& folder) {
  const ListedFolder* const parent = listedFolderOf(row.substr(0, row.find_last_of(L'\\')));
  if (!parent || folderOf(folder.systemPath) != parent->systemPath) {
    // Its folder may be the next row.
    parentPath_.clear();
    parent_ = HeldFolder();
    return HeldFolder(folder);
  }
  if (parentPath_ != parent->systemPath) {
    parent_ = HeldFolder(*parent);
    parentPath_ = parent->systemPath;
  }
  return HeldFolder(folder, &parent_);
}
