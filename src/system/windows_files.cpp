#include "system/windows_files.h"

#include <utility>
#include <vector>

#include <windows.h>

#include "system/comparable_path.h"
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

// A file or a link to one. Nothing else needs protection: a folder is deleted only when it is empty.
bool isFile(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(toSystemPath(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// True when the name of a file or of one of its folders begins with the maker's letters, which no file of Windows does.
bool bearsMakersLetters(const std::wstring& path) {
  const std::wstring lowerCase = toLower(path);
  return contains(lowerCase, L"\\orv") || contains(lowerCase, L"\\ktl");
}

}  // namespace

WindowsFiles::WindowsFiles(AskWindows about) : about_(about) {}

WindowsVerdict WindowsFiles::ask(const std::wstring& path) {
  const auto [folderOfPath, name] = splitEntry(path);
  const Folder& folder = lookUp(folderOfPath);
  if (!folder.isAskedAbout || !isFile(path)) {
    return {};
  }
  const std::wstring file = comparableEntry(folder.comparable, name);
  const WindowsVerdict verdict = askAbout(file);
  const bool isBelowWindows = isSameOrInside(file, windows_);
  return verdict.answer == WindowsVerdict::Answer::Unknown &&
                 bearsMakersLetters(isBelowWindows ? file.substr(windows_.size()) : file)
             ? WindowsVerdict()
             : verdict;
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

WindowsVerdict WindowsFiles::askAbout(const std::wstring& file) {
  if (!library_) {
    // From the system folder only: a library of that name beside the program would decide what is deleted.
    library_.reset(::LoadLibraryExW(L"sfc.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
  }
  const auto isProtected = library_ ? reinterpret_cast<IsFileProtected>(reinterpret_cast<void*>(
                                          ::GetProcAddress(library_.get(), "SfcIsFileProtected")))
                                    : nullptr;
  if (!isProtected) {
    return {WindowsVerdict::Answer::Unknown, ::GetLastError()};
  }
  ::SetLastError(ERROR_SUCCESS);
  if (isProtected(nullptr, file.c_str())) {
    return {WindowsVerdict::Answer::Protected};
  }
  // With either of these codes the answer is no; any other means that there is no answer.
  const DWORD error = ::GetLastError();
  if (error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND) {
    return {};
  }
  return {WindowsVerdict::Answer::Unknown, error};
}
