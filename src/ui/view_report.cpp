#include "ui/view_report.h"

#include <windows.h>

#include <shellapi.h>

#include "system/handles.h"
#include "system/log.h"

namespace {

constexpr wchar_t kBrowserKey[] = L"HTTP\\shell\\open\\ddeexec\\Application";
constexpr DWORD kBrowserBytes = 520;

}  // namespace

void onViewReport() {
  try {
    wchar_t folder[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, folder);
    const std::wstring report = std::wstring(L"\"") + folder + L"CleanUp\\report.xml\"";
    const std::wstring browser = GetDefaultBrowser();
    if (browser.empty()) {
      ::ShellExecuteW(nullptr, L"open", report.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    } else {
      ::ShellExecuteW(nullptr, L"open", browser.c_str(), report.c_str(), nullptr, SW_SHOWNORMAL);
    }
  } catch (...) {
    LogError(L"onViewReport - Inside Catch");
  }
}

std::wstring GetDefaultBrowser() {
  try {
    RegistryKey key;
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, kBrowserKey, 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
      return {};
    }
    wchar_t browser[kBrowserBytes / sizeof(wchar_t) + 1] = {};  // one more, in case the value has no terminator
    DWORD size = kBrowserBytes;
    return ::RegQueryValueExW(key.get(), nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(browser), &size) ==
                   ERROR_SUCCESS
               ? browser
               : L"";
  } catch (...) {
    LogError(L"GetDefaultBrowser - Inside Catch");
    return {};
  }
}
