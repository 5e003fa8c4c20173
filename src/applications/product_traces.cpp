#include "applications/product_traces.h"

#include <algorithm>
#include <stdexcept>

#include "system/registry.h"
#include "system/text_case.h"

std::wstring ExtractBracedGuid(const std::wstring& text) {
  const std::size_t open = text.find(L'{');
  const std::size_t close = text.find(L'}');
  if (open == std::wstring::npos || close < open) {
    throw std::out_of_range("no product code");
  }
  std::wstring code = text.substr(open, close == std::wstring::npos ? close : close - open + 1);
  if (code.size() < 2 || code.find_first_of(L"\\/:") != std::wstring::npos) {
    throw std::out_of_range("no product code");
  }
  return code;
}

std::wstring FindIconFolder(const std::wstring& productCode) {
  wchar_t windows[MAX_PATH] = {};
  ::GetWindowsDirectoryW(windows, MAX_PATH);
  std::wstring folder = windows;
  if (folder.ends_with(L'\\')) {
    folder.pop_back();
  }
  return folder + L"\\Installer\\" + productCode;
}

std::vector<std::wstring> FindFolderValues(HKEY folders, const std::wstring& folder) {
  std::vector<std::wstring> names = ListValueNames(folders);
  std::erase_if(names, [&folder](const std::wstring& name) { return !ContainsNoCase(name, folder); });
  return names;
}

bool bearsName(HKEY key, const wchar_t* subkey, const wchar_t* valueName, const std::wstring& productName) {
  return equalsNoCase(GetRegistryString(key, subkey, valueName), productName);
}

ListedAs FindInProductList(HKEY list, const std::wstring& product) {
  const std::vector<std::wstring> products = ListValueNames(list);
  if (std::find(products.begin(), products.end(), product) == products.end()) {
    return ListedAs::NotAtAll;
  }
  return products.size() > 1 ? ListedAs::OneOfSeveral : ListedAs::OnlyOne;
}
