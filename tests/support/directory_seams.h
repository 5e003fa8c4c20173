// directory_seams - simulates folders that cannot be read, listings that fail half-way, and Windows' way of removing
// links. Replaces Windows functions, so include it in one source file of a program only.
#pragma once

#include <string>
#include <string_view>

#include <windows.h>

#include "support/link_seam.h"
#include "support/test_folder.h"

inline std::wstring unreadableFolder;  // reading its entries fails with ERROR_ACCESS_DENIED
inline int readsUntilFailure = -1;     // entries that can be read until reading fails with ERROR_CRC
inline std::wstring entryShownAsLink;  // an entry of this name is listed as a link
inline DWORD shownReparseTag = 0;      // with this tag; Wine's own links have none
inline bool numbersUnknown = false;    // the file system returns no file numbers with its entries

inline void forgetDirectorySeams() {
  unreadableFolder.clear();
  readsUntilFailure = -1;
  entryShownAsLink.clear();
  shownReparseTag = 0;
  numbersUnknown = false;
}

// Truncates a list of entries where reading should fail, and turns an entry into a link.
template <class Entry>
void changeEntries(void* buffer) {
  for (auto* entry = static_cast<Entry*>(buffer);;
       entry = reinterpret_cast<Entry*>(reinterpret_cast<char*>(entry) + entry->NextEntryOffset)) {
    if (entryShownAsLink == std::wstring_view(entry->FileName, entry->FileNameLength / sizeof(wchar_t))) {
      entry->FileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
      entry->EaSize = shownReparseTag;
    }
    if (readsUntilFailure == 0) {
      entry->NextEntryOffset = 0;
    } else if (readsUntilFailure > 0) {
      --readsUntilFailure;
    }
    if (entry->NextEntryOffset == 0) {
      return;
    }
  }
}

LINK_SEAM(BOOL, GetFileInformationByHandleEx,
          (HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID buffer, DWORD size)) {
  const auto read =
      realFunction<decltype(&::GetFileInformationByHandleEx)>(L"kernel32.dll", "GetFileInformationByHandleEx");
  if (kind != FileIdBothDirectoryInfo && kind != FileFullDirectoryInfo) {
    const BOOL answered = read(file, kind, buffer, size);
    if (kind == FileAttributeTagInfo && shownReparseTag != 0) {
      static_cast<FILE_ATTRIBUTE_TAG_INFO*>(buffer)->ReparseTag = shownReparseTag;
    }
    return answered;
  }
  wchar_t folder[1024] = L"";
  ::GetFinalPathNameByHandleW(file, folder, ARRAYSIZE(folder), VOLUME_NAME_DOS);
  const DWORD error = !unreadableFolder.empty() && folder == LR"(\\?\)" + unreadableFolder ? ERROR_ACCESS_DENIED
                      : numbersUnknown && kind == FileIdBothDirectoryInfo                  ? ERROR_INVALID_PARAMETER
                      : readsUntilFailure == 0                                             ? ERROR_CRC
                                                                                           : ERROR_SUCCESS;
  if (error != ERROR_SUCCESS) {
    if (error == ERROR_CRC) {
      readsUntilFailure = -1;
    }
    ::SetLastError(error);
    return FALSE;
  }
  if (!read(file, kind, buffer, size)) {
    return FALSE;
  }
  if (kind == FileIdBothDirectoryInfo) {
    changeEntries<FILE_ID_BOTH_DIR_INFO>(buffer);
  } else {
    changeEntries<FILE_FULL_DIR_INFO>(buffer);
  }
  return TRUE;
}

// Wine's call reaches through a link to the directory behind it. Windows removes the link.
LINK_SEAM(BOOL, RemoveDirectoryW, (LPCWSTR path)) {
  const DWORD attributes = ::GetFileAttributesW(path);
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    removeDirectoryLink(path);
    return TRUE;
  }
  return realFunction<decltype(&::RemoveDirectoryW)>(L"kernel32.dll", "RemoveDirectoryW")(path);
}
