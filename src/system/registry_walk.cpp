#include "system/registry_walk.h"

#include "system/handles.h"
#include "system/log.h"
#include "system/registry.h"
#include "system/unique_rows.h"

namespace {

constexpr DWORD kKeyNameCharacters = 256;
constexpr DWORD kValueNameCharacters = 16384;

// One key on the way down.
struct OpenKey {
  HKEY key = nullptr;
  RegistryKey owner;    // empty for the key that the caller has opened
  std::wstring subkey;  // its path below the root
  DWORD subkeyCount = 0;
  DWORD valueCount = 0;
  DWORD nextSubkey = 0;
};

// Walks keys into two lists. The way down is kept in a list, not on the stack: the depth of a registry tree is no
// matter.
class Walk {
 public:
  Walk(std::vector<std::wstring>& keys, std::vector<std::wstring>& values)
      : keys_(keys), values_(values), valueName_(kValueNameCharacters, L'\0') {}

  void collect(HKEY key, HKEY root, const std::wstring& subkeyPath) {
    prefix_ = RootKeyName(root);
    if (!prefix_.empty()) {
      prefix_ += L'\\';
    }
    std::vector<OpenKey> way;
    way.push_back(describe(key, RegistryKey(), subkeyPath));
    while (!way.empty()) {
      OpenKey& current = way.back();
      if (current.nextSubkey == current.subkeyCount) {
        collectValues(current);
        way.pop_back();
        continue;
      }
      std::wstring below;
      if (!takeNextSubkey(current, &below)) {
        continue;
      }
      if (root == nullptr) {
        LogDebug(L"QueryKey: %s---------hkey is NULL---------------%s", prefix_.c_str(), below.c_str());
        continue;
      }
      // A child of a hive's root has a relative path with a leading backslash, which cannot be opened: a walk from the
      // root stops at the first level, and the list of user profiles depends on it.
      RegistryKey child;
      if (::RegOpenKeyExW(root, below.c_str(), 0, KEY_READ, child.put()) == ERROR_SUCCESS) {
        const HKEY handle = child.get();
        way.push_back(describe(handle, std::move(child), below));
      }
    }
  }

 private:
  static OpenKey describe(HKEY key, RegistryKey owner, const std::wstring& subkey) {
    OpenKey result;
    result.key = key;
    result.owner = std::move(owner);
    result.subkey = subkey;
    wchar_t className[MAX_PATH] = {};
    DWORD classLength = MAX_PATH;
    // A failure leaves both counts at zero: the key then looks empty.
    ::RegQueryInfoKeyW(key, className, &classLength, nullptr, &result.subkeyCount, nullptr, nullptr, &result.valueCount,
                       nullptr, nullptr, nullptr, nullptr);
    return result;
  }

  std::wstring keyName(const OpenKey& parent, const std::wstring& name) const {
    return parent.subkey.empty() ? prefix_ + name : prefix_ + parent.subkey + L'\\' + name;
  }

  // Puts the next subkey on the list. True when it is to be walked; then `below` is its path below the root.
  bool takeNextSubkey(OpenKey& current, std::wstring* below) {
    wchar_t name[kKeyNameCharacters] = {};
    DWORD length = kKeyNameCharacters - 1;
    if (::RegEnumKeyExW(current.key, current.nextSubkey++, name, &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return false;
    }
    *below = current.subkey + L'\\' + name;
    return keys_.append(keyName(current, name));
  }

  void collectValues(const OpenKey& current) {
    for (DWORD index = 0; index < current.valueCount; ++index) {
      DWORD length = kValueNameCharacters - 1;
      valueName_[0] = L'\0';
      if (::RegEnumValueW(current.key, index, valueName_.data(), &length, nullptr, nullptr, nullptr, nullptr) ==
          ERROR_SUCCESS) {
        // Also below a root, whose values then have two backslashes: the deletion splits at the last one.
        values_.append(prefix_ + current.subkey + L'\\' + valueName_.c_str());
      }
    }
  }

  UniqueRows keys_;
  UniqueRows values_;
  std::wstring prefix_;
  std::wstring valueName_;
};

}  // namespace

void QueryKey(HKEY key, HKEY root, const std::wstring& subkeyPath, std::vector<std::wstring>& keys,
              std::vector<std::wstring>& values) {
  Walk(keys, values).collect(key, root, subkeyPath);
}

void getRegistryKeysValuesRecursively(std::vector<std::wstring>& keys, std::vector<std::wstring>& values) {
  Walk walk(keys, values);
  for (std::size_t i = 0; i < keys.size(); ++i) {  // the walk appends to the list
    const auto [rootName, subkey] = splitRegistryPath(keys[i]);
    const HKEY root = ParseRootKey(rootName);
    if (root == nullptr) {
      LogDebug(L"getRegistryKeysValuesRecursively: %s---------hkey is NULL---------------%s", rootName.c_str(),
               subkey.c_str());
      continue;
    }
    RegistryKey key;
    if (::RegOpenKeyExW(root, subkey.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS) {
      walk.collect(key.get(), root, subkey);
    }
  }
}

void SkipKeysWithChildren(std::vector<std::wstring>& keys) {
  std::erase_if(keys, [](const std::wstring& row) {
    std::vector<std::wstring> collected = {row};
    std::vector<std::wstring> values;
    getRegistryKeysValuesRecursively(collected, values);
    if (collected.size() == 1) {
      return false;
    }
    LogDebug(L"-----------Skipping Registry key -- %s -- as it contains other registries-------------", row.c_str());
    return true;
  });
}
