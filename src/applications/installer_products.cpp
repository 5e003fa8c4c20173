#include "applications/installer_products.h"

#include <msi.h>

namespace {

constexpr DWORD kProductCodeCharacters = 39;  // with the terminator
constexpr DWORD kPropertyCharacters = 260;

}  // namespace

std::optional<std::wstring> FindRelatedProduct(const std::wstring& upgradeCode, DWORD index) {
  wchar_t productCode[kProductCodeCharacters] = {};
  if (::MsiEnumRelatedProductsW(upgradeCode.c_str(), 0, index, productCode) != ERROR_SUCCESS) {
    return {};
  }
  return productCode;
}

std::wstring GetProductProperty(const std::wstring& productCode, const wchar_t* property) {
  wchar_t value[kPropertyCharacters] = {};
  DWORD characters = kPropertyCharacters;
  const UINT result = ::MsiGetProductInfoW(productCode.c_str(), property, value, &characters);
  return result == ERROR_SUCCESS ? std::wstring(value) : std::wstring();
}

void collectProductName(const std::wstring& productCode, std::set<std::wstring>& names) {
  const std::wstring name = GetProductProperty(productCode, L"ProductName");
  if (!name.empty()) {
    names.insert(name);
  }
}

std::set<std::wstring> FindProductNames(const std::wstring& upgradeCode) {
  std::set<std::wstring> names;
  for (DWORD index = 0; const auto product = FindRelatedProduct(upgradeCode, index); ++index) {
    collectProductName(*product, names);
  }
  return names;
}
