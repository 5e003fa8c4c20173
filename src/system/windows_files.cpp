#include "system/windows_files.h"

#include <utility>
#include <vector>

#include <windows.h>

#include "system/comparable_path.h"
#include "system/log.h"
#include "system/long_path.h"
#include "system/row_folders.h"
#include "system/text_case.h"

namespace {

using IsFileProtected = BOOL(WINAPI*)(HANDLE server, const wchar_t* file);

std::wstring windowsFolder() {
  wchar_t folder[MAX_PATH] = {};
  ::GetSystemWindowsDirectoryW(folder, MAX_PATH);
  return comparablePath(folder);
}

// A file, or a link to one. What is not there needs no protection, and a folder goes only when it is empty.
bool isFile(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(toSystemPath(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// A file or one of its folders has a name that begins with the maker's letters; no file of Windows has.
bool bearsMakersLetters(const std::wstring& path) {
  const std::wstring lowerCase = toLower(path);
  return contains(lowerCase, L"\\orv") || contains(lowerCase, L"\\ktl");
}

}  // namespace

WindowsFiles::WindowsFiles(AskWindows about) : about_(about) {}

bool WindowsFiles::keep(const std::wstring& path) {
  const auto [folderOfPath, name] = splitEntry(path);
  const Folder& folder = lookUp(folderOfPath);
  if (!folder.isAskedAbout || !isFile(path)) {
    return false;
  }
  const std::wstring file = comparableEntry(folder.comparable, name);
  DWORD error = ERROR_SUCCESS;
  if (isProtected(file, &error)) {
    LogError(L"ExecuteActions - File[%s] is protected by Windows and is not deleted", path.c_str());
    return true;
  }
  const bool isBelowWindows = isSameOrInside(file, windows_);
  if (error != ERROR_SUCCESS && !bearsMakersLetters(isBelowWindows ? file.substr(windows_.size()) : file)) {
    LogError(
        L"ExecuteActions - File[%s] may be protected by Windows, which does not say, and is not deleted, Error "
        L"Code[%d]",
        path.c_str(), error);
    return true;
  }
  return false;
}

// A directory that a walk has read from another lies in it under its own name, unless that is an 8.3 name: where it
// lies need not be asked, only where the topmost of the walk lies.
const WindowsFiles::Folder& WindowsFiles::lookUp(const std::wstring& folder) {
  std::vector<std::wstring> below;
  std::wstring top = withoutEnd(folder);
  auto known = folders_.find(top);
  while (known == folders_.end()) {
    std::wstring parent = listedParentOf(top);
    if (parent.empty() || top.find(L'~', parent.size()) != std::wstring::npos) {
      known = add(top, comparablePath(top));
      break;
    }
    below.push_back(std::exchange(top, std::move(parent)));
    known = folders_.find(top);
  }
  for (; !below.empty(); below.pop_back()) {
    const std::wstring& directory = below.back();
    known = add(directory, known->second.comparable + directory.substr(directory.find_last_of(L'\\')));
  }
  return known->second;
}

WindowsFiles::Folders::iterator WindowsFiles::add(const std::wstring& folder, const std::wstring& comparable) {
  if (windows_.empty()) {
    windows_ = windowsFolder();
  }
  const bool isAskedAbout = about_ == AskWindows::AboutEachFile || isSameOrInside(comparable, windows_);
  return folders_.emplace(folder, Folder{comparable, isAskedAbout}).first;
}

// False with an error when Windows cannot be asked.
bool WindowsFiles::isProtected(const std::wstring& file, DWORD* error) {
  if (!library_) {
    // From the system folder alone: a library of that name beside the program would decide what is deleted.
    library_.reset(::LoadLibraryExW(L"sfc.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
  }
  const auto ask = library_ ? reinterpret_cast<IsFileProtected>(
                                  reinterpret_cast<void*>(::GetProcAddress(library_.get(), "SfcIsFileProtected")))
                            : nullptr;
  if (!ask) {
    *error = ::GetLastError();
    return false;
  }
  ::SetLastError(ERROR_SUCCESS);
  if (ask(nullptr, file.c_str())) {
    return true;
  }
  // "No" comes with this error, or with none; any other tells that there is no answer.
  *error = ::GetLastError();
  if (*error == ERROR_FILE_NOT_FOUND) {
    *error = ERROR_SUCCESS;
  }
  return false;
}
