// load - plants a number of things of one kind on a test machine, which the benchmark then removes.
//
//   load files PATH COUNT           a hundred per folder
//   load directories PATH COUNT     empty, ten per folder
//   load values KEY COUNT           ten per key
//   load keys KEY COUNT             without values, ten per key
//   load cache PATH COUNT           small files in one folder
//
// PATH and KEY themselves are created too and do not count. Names are as long as in real products.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <windows.h>

#include "bench_list.h"
#include "system/handles.h"

namespace {

constexpr std::size_t kFilesInFolder = 100;
constexpr std::size_t kValuesInKey = 10;
constexpr std::size_t kBranches = 10;

[[noreturn]] void fail(const std::wstring& thing, DWORD code) {
  std::fprintf(stderr, "load: %ls cannot be made (%lu)\n", thing.c_str(), code);
  std::exit(1);
}

void makeFolder(const std::wstring& path) {
  if (!::CreateDirectoryW(path.c_str(), nullptr) && ::GetLastError() != ERROR_ALREADY_EXISTS) {
    fail(path, ::GetLastError());
  }
}

void makeFolders(const std::wstring& path) {
  for (std::size_t end = path.find(L'\\', 3); end != std::wstring::npos; end = path.find(L'\\', end + 1)) {
    makeFolder(path.substr(0, end));
  }
  makeFolder(path);
}

void makeFile(const std::wstring& path) {
  const FileHandle file(
      ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  const char content[200] = {};
  DWORD written = 0;
  if (!file || !::WriteFile(file.get(), content, sizeof(content), &written, nullptr)) {
    fail(path, ::GetLastError());
  }
}

RegistryKey makeKey(HKEY parent, const std::wstring& name) {
  RegistryKey key;
  const LSTATUS status =
      ::RegCreateKeyExW(parent, name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.put(), nullptr);
  if (status != ERROR_SUCCESS) {
    fail(name, static_cast<DWORD>(status));
  }
  return key;
}

// A tree of `count` nodes below the top, each with at most ten children. Nodes are numbered level by level, so that the
// parent of node i is node (i - 1) / 10.
std::vector<std::wstring> treePaths(const std::wstring& top, const std::wstring& name, std::size_t count) {
  std::vector<std::wstring> paths;
  for (std::size_t i = 0; i < count; ++i) {
    const std::wstring& parent = i < kBranches ? top : paths[i / kBranches - 1];
    paths.push_back(parent + L'\\' + name + std::to_wstring(i));
  }
  return paths;
}

void loadFiles(const std::wstring& top, std::size_t count) {
  makeFolders(top);
  for (std::size_t i = 0; i < count; ++i) {
    const std::wstring folder = top + L"\\Component folder " + std::to_wstring(i / kFilesInFolder);
    if (i % kFilesInFolder == 0) {
      makeFolder(folder);
    }
    makeFile(folder + L"\\orvcomponent" + std::to_wstring(i) + L".dll");
  }
}

void loadDirectories(const std::wstring& top, std::size_t count) {
  makeFolders(top);
  for (const std::wstring& path : treePaths(top, L"folder", count)) {
    makeFolder(path);
  }
}

void loadValues(const std::wstring& top, std::size_t count) {
  std::wstring subkey;
  const HKEY root = splitKeyPath({0, {L"key", top}}, top, subkey);
  const RegistryKey topKey = makeKey(root, subkey);
  for (std::size_t i = 0; i < count; i += kValuesInKey) {
    const RegistryKey key = makeKey(topKey.get(), L"Profile settings " + std::to_wstring(i / kValuesInKey));
    for (std::size_t j = i; j < std::min(count, i + kValuesInKey); ++j) {
      const std::wstring name = L"SettingOfTheProfile" + std::to_wstring(j);
      const DWORD data = 1;
      if (::RegSetValueExW(key.get(), name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&data), sizeof(data)) !=
          ERROR_SUCCESS) {
        fail(name, ERROR_WRITE_FAULT);
      }
    }
  }
}

void loadKeys(const std::wstring& top, std::size_t count) {
  std::wstring subkey;
  const HKEY root = splitKeyPath({0, {L"key", top}}, top, subkey);
  makeKey(root, subkey);
  for (const std::wstring& path : treePaths(subkey, L"Profile", count)) {
    makeKey(root, path);
  }
}

void loadCache(const std::wstring& top, std::size_t count) {
  makeFolders(top);
  for (std::size_t i = 0; i < count; ++i) {
    makeFile(top + L"\\update" + std::to_wstring(i) + L".cab");
  }
}

}  // namespace

int wmain(int argumentCount, wchar_t** arguments) {
  if (argumentCount == 4) {
    const std::wstring kind = arguments[1];
    const std::size_t count = std::wcstoul(arguments[3], nullptr, 10);
    struct Kind {
      const wchar_t* name;
      void (*load)(const std::wstring& top, std::size_t count);
    };
    for (const Kind& known : {Kind{L"files", loadFiles}, Kind{L"directories", loadDirectories},
                              Kind{L"values", loadValues}, Kind{L"keys", loadKeys}, Kind{L"cache", loadCache}}) {
      if (kind == known.name) {
        known.load(arguments[2], count);
        return 0;
      }
    }
  }
  std::fprintf(stderr, "usage: load files|directories|values|keys|cache PLACE COUNT\n");
  return 2;
}
