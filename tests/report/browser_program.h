// browser_program - creates a program with a given version resource, and the registry association that makes Windows
// open reports with it.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include "support/test_child.h"
#include "support/test_registry.h"

struct VersionText {
  WORD language;
  std::wstring productVersion;
};

namespace version_resource {

constexpr WORD kCodePage = 1200;

inline void padToFour(std::string& bytes) {
  bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
}

inline std::string bytesOf(const void* data, std::size_t size) {
  return {static_cast<const char*>(data), size};
}

// One block of the tree in a version resource. `valueLength` counts bytes of numbers and characters of text.
inline std::string block(const std::wstring& key, bool isText, std::size_t valueLength, const std::string& value,
                         const std::vector<std::string>& children) {
  std::string bytes(3 * sizeof(WORD), '\0');
  bytes += bytesOf(key.c_str(), (key.size() + 1) * sizeof(wchar_t));
  padToFour(bytes);
  bytes += value;
  for (const std::string& child : children) {
    padToFour(bytes);
    bytes += child;
  }
  const WORD head[] = {static_cast<WORD>(bytes.size()), static_cast<WORD>(valueLength), static_cast<WORD>(isText)};
  return bytes.replace(0, sizeof(head), bytesOf(head, sizeof(head)));
}

inline std::string build(const std::vector<VersionText>& texts) {
  std::vector<std::string> tables;
  std::string translations;
  for (const VersionText& text : texts) {
    wchar_t name[9] = {};
    ::_snwprintf(name, 8, L"%04x%04x", text.language, kCodePage);
    const std::size_t characters = text.productVersion.size() + 1;
    const std::string value = bytesOf(text.productVersion.c_str(), characters * sizeof(wchar_t));
    tables.push_back(block(name, true, 0, {}, {block(L"ProductVersion", true, characters, value, {})}));
    const WORD translation[] = {text.language, kCodePage};
    translations += bytesOf(translation, sizeof(translation));
  }
  VS_FIXEDFILEINFO fixed = {};
  fixed.dwSignature = VS_FFI_SIGNATURE;
  fixed.dwStrucVersion = VS_FFI_STRUCVERSION;
  return block(
      L"VS_VERSION_INFO", false, sizeof(fixed), bytesOf(&fixed, sizeof(fixed)),
      {block(L"StringFileInfo", true, 0, {}, tables),
       block(L"VarFileInfo", true, 0, {}, {block(L"Translation", false, translations.size(), translations, {})})});
}

}  // namespace version_resource

// Wine has a built-in browser of this name and reports its version instead of the file's unless told not to.
inline void preferFilesToTheBuiltInBrowser() {
  plantString(L"HKEY_CURRENT_USER\\Software\\Wine\\DllOverrides", L"iexplore.exe", L"native");
}

// Creates a program at `path` with these texts and no other resource; without texts, it has no version.
inline bool makeProgram(const std::wstring& path, const std::vector<VersionText>& texts) {
  preferFilesToTheBuiltInBrowser();
  if (!::CopyFileW(ownProgram().c_str(), path.c_str(), FALSE)) {
    return false;
  }
  const HANDLE update = ::BeginUpdateResourceW(path.c_str(), TRUE);
  if (!texts.empty()) {
    std::string resource = version_resource::build(texts);
    ::UpdateResourceW(update, RT_VERSION, MAKEINTRESOURCEW(VS_VERSION_INFO), 0, resource.data(),
                      static_cast<DWORD>(resource.size()));
  }
  return ::EndUpdateResourceW(update, FALSE) != FALSE;
}

// Makes the machine open .xml files with the program, or with none if the path is empty.
inline void associateReportsWith(const std::wstring& program) {
  removeKey(L"HKEY_CLASSES_ROOT\\.xml");
  if (!program.empty()) {
    plantString(L"HKEY_CLASSES_ROOT\\.xml", L"", L"BenchReport");
    plantString(L"HKEY_CLASSES_ROOT\\BenchReport\\shell\\open\\command", L"", L"\"" + program + L"\" \"%1\"");
  }
}
