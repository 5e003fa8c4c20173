#include "app/install_manager.h"

#include "manifest/path_expansion.h"

namespace {

constexpr wchar_t kUsualFolder[] = L"C:\\Program Files\\ORV\\PKM";

}  // namespace

std::wstring FindInstallManagerFolder() {
  std::wstring folder;
  return getInstallDirValue(folder) && !folder.empty() ? folder : kUsualFolder;
}

std::vector<std::wstring> PlanProtectedFolder(const std::wstring& folder) {
  std::vector<std::wstring> rows = {folder};
  if (const std::size_t end = folder.find_last_not_of(L'\\'); end + 1 < folder.size()) {
    rows.push_back(folder.substr(0, end + 1));
  }
  return rows;
}
