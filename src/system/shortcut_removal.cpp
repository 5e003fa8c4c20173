#include "system/shortcut_removal.h"

#include <windows.h>

#include <shellapi.h>

#include "system/log.h"
#include "system/row_folders.h"
#include "system/shortcuts.h"
#include "system/tree_removal.h"

namespace {

// The shell would follow a link in the place of the product's folder or above it. The folder is held only for this
// question, since it will be deleted itself.
bool liesInItsFolder(const std::wstring& path) {
  RowFolders folders(1);
  return folders.hold(path) != RowFolders::Answer::Refused;
}

}  // namespace

bool DeleteShortcut(const std::wstring& relativePath) {
  if (!namesProductFolder(relativePath)) {
    LogError(L"DeleteShortcut - Shortcut[%s] names no folder of its own, not deleted", relativePath.c_str());
    return false;
  }
  const std::wstring path = FindShortcut(relativePath);
  if (path.empty() || !liesInItsFolder(path)) {
    return false;
  }
  return ShellDeleteAndRemoveFolder(path, path.substr(0, path.rfind(L'\\')));
}

bool ShellDeleteAndRemoveFolder(const std::wstring& path, const std::wstring& folder) {
  std::wstring from = path;
  from.push_back(L'\0');  // the shell takes a list that ends with an empty text
  SHFILEOPSTRUCTW operation = {};
  operation.wFunc = FO_DELETE;
  operation.pFrom = from.c_str();
  operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOCONFIRMMKDIR | FOF_NOERRORUI;
  if (::SHFileOperationW(&operation) != 0) {
    return false;
  }
  removeTree(folder);
  return true;
}
