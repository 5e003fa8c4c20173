#include "applications/installer_products.h"

#include <windows.h>

#include <msi.h>

namespace {

constexpr DWORD kProductCodeCharacters = 39;  // with the terminator
constexpr DWORD kPropertyCharacters = 260;

}  // namespace

void forEachRelatedProduct(const std::wstring& upgradeCode, const std::function<void(const std::wstring&)>& visit) {
  wchar_t productCode[kProductCodeCharacters] = {};
  for (DWORD index = 0; ::MsiEnumRelatedProductsW(upgradeCode.c_str(), 0, index, productCode) == ERROR_SUCCESS;
       ++index) {
    visit(productCode);
  }
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
